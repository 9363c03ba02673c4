#include "platform/commands.hpp"

#include <algorithm>
#include <utility>

namespace mspc::platform {
namespace {

using json = nlohmann::ordered_json;

constexpr char kStartupDialog[] = "PCAStartup";
constexpr char kVariablesProperty[] = "Variables";
constexpr int kDemoFolds = 7;
constexpr int kDemoEigenvalues = 20;

ScriptEntry Entry(std::string dialog,
                  std::vector<std::pair<std::string, json>> set,
                  std::vector<std::string> commands) {
  ScriptEntry entry;
  entry.dialog = std::move(dialog);
  entry.set = std::move(set);
  entry.commands = std::move(commands);
  return entry;
}

// Entries of a built script are numbered 1, 2, 3 in place of lines, for the messages.
void NumberEntries(Script& script) {
  for (std::size_t index = 0; index < script.steps.size(); ++index) {
    script.steps[index].line = static_cast<int>(index) + 1;
  }
}

ScriptEntry ChoosePCA() { return Entry("MSPCStartup", {{"SelectedKind", 1}}, {"OK"}); }

// Automatic removal keeps a command-line fit going past a constant or sparse column; the notes
// say what was removed.
std::vector<std::pair<std::string, json>> StartupBasics(const std::vector<std::string>& variables) {
  std::vector<std::pair<std::string, json>> set;
  if (!variables.empty()) set.emplace_back(kVariablesProperty, variables);
  set.emplace_back("AutoRemoveVariables", true);
  set.emplace_back("AutoRemoveCases", true);
  return set;
}

}  // namespace

const std::vector<std::string>& CommonPCAReports() {
  static const std::vector<std::string> reports = {"Summary",
                                                   "Eigenvalues",
                                                   "ScreePlotOfEigenvalues",
                                                   "LoadingSpreadsheet",
                                                   "XScoreSpreadsheet",
                                                   "TSquareChart",
                                                   "TSquareSpreadsheet",
                                                   "SPEQChart",
                                                   "SPEQSpreadsheet",
                                                   "DToModelSpreadsheet",
                                                   "ContributionSpreadsheet",
                                                   "ContributionPlot"};
  return reports;
}

Script BuildFitPCAScript(const FitPCAArguments& arguments) {
  std::vector<std::pair<std::string, json>> startup = StartupBasics(arguments.variables);
  if (arguments.components) {
    startup.emplace_back("FixedNumberOfComponents", true);
    startup.emplace_back("NumberOfComponents", *arguments.components);
  } else {
    startup.emplace_back("AutoFitByCrossValidation", true);
    startup.emplace_back(arguments.cross_validation == "krzanowski" ? "KrzanowskiCrossValidation"
                                                                    : "VFoldCrossValidation",
                         true);
  }
  if (arguments.folds) startup.emplace_back("NumberOfCrossValidationFolds", *arguments.folds);
  if (arguments.seed) {
    startup.emplace_back("RandomFoldAssignment", true);
    startup.emplace_back("RandomSeedOfCrossValidation", *arguments.seed);
  }
  startup.emplace_back(
      arguments.scaling == "none" ? "DoNotScaleVariables" : "UnitStandardDeviations", true);
  if (arguments.max_iterations) startup.emplace_back("MaxIterations", *arguments.max_iterations);
  if (arguments.epsilon) startup.emplace_back("EpsilonOfConvergence", *arguments.epsilon);

  std::vector<std::pair<std::string, json>> results;
  if (arguments.control) results.emplace_back("TSquareControlLimit", *arguments.control);
  if (arguments.warning) {
    // A warning limit of 0 asks for no warning line.
    const bool warning = *arguments.warning != 0.0;
    results.emplace_back("TSquareWarning", warning);
    if (warning) results.emplace_back("TSquareWarningLimit", *arguments.warning);
  }

  Script script;
  script.data = arguments.data;
  script.steps = {ChoosePCA(),
                  Entry(kStartupDialog, std::move(startup), {"OK"}),
                  Entry("PCAResults", std::move(results), CommonPCAReports())};
  NumberEntries(script);
  return script;
}

Script BuildDemoScript(const std::string& data) {
  std::vector<std::pair<std::string, json>> startup = StartupBasics({});
  startup.emplace_back("AutoFitByCrossValidation", true);
  startup.emplace_back("VFoldCrossValidation", true);
  startup.emplace_back("NumberOfCrossValidationFolds", kDemoFolds);

  std::vector<std::string> reports = CommonPCAReports();
  reports.insert(reports.begin() + 1, "SummaryView");
  reports.insert(reports.end(), {"ScatterplotsOfScores", "SpreadsheetOfImportanceOfPredictors"});

  Script script;
  script.data = data;
  script.steps = {
      ChoosePCA(),
      Entry(kStartupDialog, std::move(startup), {"OK"}),
      Entry("PCAResults", {{"NumberOfEigenvaluesToPlot", kDemoEigenvalues}}, std::move(reports))};
  NumberEntries(script);
  return script;
}

void SelectAllContinuousVariables(Script& script, const DataTable& table) {
  for (ScriptEntry& entry : script.steps) {
    if (entry.dialog != kStartupDialog) continue;
    const bool named = std::any_of(entry.set.begin(), entry.set.end(), [](const auto& property) {
      return property.first == kVariablesProperty;
    });
    if (named) continue;
    std::vector<std::string> variables;
    for (std::size_t variable = 0; variable < table.NumVariables(); ++variable) {
      if (!table.IsCategorical(variable)) variables.push_back(table.VariableName(variable));
    }
    entry.set.insert(entry.set.begin(), {kVariablesProperty, variables});
  }
}

}  // namespace mspc::platform
