#include "platform/commands.hpp"

#include <algorithm>
#include <utility>

namespace mspc::platform {
namespace {

using json = nlohmann::ordered_json;
using Settings = std::vector<std::pair<std::string, json>>;

constexpr char kStartupDialog[] = "PCAStartup";
constexpr char kVariablesProperty[] = "Variables";
constexpr int kDemoFolds = 7;
constexpr int kPLSRow = 2;  // the row of PLS in the MSPC Startup list
constexpr int kDemoEigenvalues = 20;
// Rows of the batch kinds in the MSPC Startup list.
constexpr int kBMPLSRow = 3;
constexpr int kTMPCARow = 4;
constexpr int kTMPLSRow = 5;

ScriptEntry Entry(std::string dialog, Settings set, std::vector<std::string> commands) {
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
Settings StartupBasics(const std::vector<std::string>& variables) {
  Settings set;
  if (!variables.empty()) set.emplace_back(kVariablesProperty, variables);
  set.emplace_back("AutoRemoveVariables", true);
  set.emplace_back("AutoRemoveCases", true);
  return set;
}

// The component mode, cross-validation, scaling and iteration options every `fit` shares; the
// argument structs of the kinds name them alike.
template <typename Arguments>
void AddFitOptions(const Arguments& arguments, Settings& startup) {
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
}

// The T² and SPE(Q) limits of the Results dialog; a warning limit of 0 asks for no warning line.
template <typename Arguments>
Settings ChartLimitSettings(const Arguments& arguments) {
  Settings results;
  if (arguments.control) results.emplace_back("TSquareControlLimit", *arguments.control);
  if (arguments.warning) {
    const bool warning = *arguments.warning != 0.0;
    results.emplace_back("TSquareWarning", warning);
    if (warning) results.emplace_back("TSquareWarningLimit", *arguments.warning);
  }
  return results;
}

// The Results entry of a fit: its settings and reports and, when the model is to be saved, the
// export of its document under that name.
template <typename Arguments>
ScriptEntry ResultsEntry(std::string dialog,
                         const Arguments& arguments,
                         Settings results,
                         std::vector<std::string> reports) {
  if (!arguments.save.empty()) {
    results.emplace_back("ExportFileName", arguments.save);
    reports.push_back("CodeGeneratorPMML");
  }
  return Entry(std::move(dialog), std::move(results), std::move(reports));
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
  Settings startup = StartupBasics(arguments.variables);
  AddFitOptions(arguments, startup);
  Script script;
  script.data = arguments.data;
  script.steps = {
      ChoosePCA(),
      Entry(kStartupDialog, std::move(startup), {"OK"}),
      ResultsEntry("PCAResults", arguments, ChartLimitSettings(arguments), CommonPCAReports())};
  NumberEntries(script);
  return script;
}

const std::vector<std::string>& CommonPLSReports() {
  static const std::vector<std::string> reports = {"Summary",
                                                   "DescriptiveStatistics",
                                                   "XWeightSpreadsheet",
                                                   "LoadingSpreadsheet",
                                                   "Coefficients",
                                                   "Predictions",
                                                   "SpreadsheetOfImportanceOfPredictors",
                                                   "TSquareChart",
                                                   "TSquareSpreadsheet",
                                                   "SPEQChart",
                                                   "SPEQSpreadsheet",
                                                   "DToModelSpreadsheet",
                                                   "ScoreControlSpreadsheet",
                                                   "ContributionSpreadsheet"};
  return reports;
}

Script BuildFitPLSScript(const FitPLSArguments& arguments) {
  Settings startup;
  startup.emplace_back("DependentVariables", arguments.dependents);
  startup.emplace_back("PredictorVariables", arguments.predictors);
  if (!arguments.categorical.empty()) {
    startup.emplace_back("CategoricalVariables", arguments.categorical);
  }
  startup.emplace_back("AutoRemoveVariables", true);
  startup.emplace_back("AutoRemoveCases", true);
  AddFitOptions(arguments, startup);
  Script script;
  script.data = arguments.data;
  script.steps = {
      Entry("MSPCStartup", {{"SelectedKind", kPLSRow}}, {"OK"}),
      Entry("PLSStartup", std::move(startup), {"OK"}),
      ResultsEntry("PLSResults", arguments, ChartLimitSettings(arguments), CommonPLSReports())};
  NumberEntries(script);
  return script;
}

const std::vector<std::string>& CommonTMPCAReports() {
  static const std::vector<std::string> reports = {"Summary",
                                                   "Eigenvalues",
                                                   "XScoreSpreadsheet",
                                                   "LineplotsOfLoadings",
                                                   "TSquareChart",
                                                   "TSquareSpreadsheet",
                                                   "SPEQChart",
                                                   "SPEQSpreadsheet",
                                                   "DToModelSpreadsheet",
                                                   "SpreadsheetOfImportanceOfPredictors",
                                                   "VariableTrajectorySpreadsheet",
                                                   "ContributionPlot"};
  return reports;
}

const std::vector<std::string>& CommonBatchReports(BatchKind kind) {
  if (kind == BatchKind::kTMPCA) return CommonTMPCAReports();
  // The batch PLS kinds add the trajectory of a process variable and the scores over time.
  static const std::vector<std::string> batch_pls = [] {
    std::vector<std::string> reports = CommonPLSReports();
    reports.insert(reports.end(), {"VariableTrajectorySpreadsheet", "ScoreControlChartSheet"});
    return reports;
  }();
  return batch_pls;
}

namespace {

struct BatchKindNames {
  int row;
  const char* startup;
  const char* results;
  const char* variables;  // the property of the process variables
};

BatchKindNames NamesOf(BatchKind kind) {
  switch (kind) {
    case BatchKind::kTMPLS:
      return {kTMPLSRow, "TMPLSStartup", "TMPLSResults", "PredictorVariables"};
    case BatchKind::kBMPLS:
      return {kBMPLSRow, "BMPLSStartup", "BMPLSResults", kVariablesProperty};
    case BatchKind::kTMPCA:
      break;
  }
  return {kTMPCARow, "TMPCAStartup", "TMPCAResults", kVariablesProperty};
}

bool IsBatchStartup(const std::string& dialog) {
  return dialog == "TMPCAStartup" || dialog == "TMPLSStartup" || dialog == "BMPLSStartup";
}

}  // namespace

Script BuildFitBatchScript(const FitBatchArguments& arguments) {
  const BatchKindNames names = NamesOf(arguments.kind);
  Settings startup;
  startup.emplace_back("BatchVariable", arguments.batch);
  if (!arguments.time.empty()) startup.emplace_back("TimeVariable", arguments.time);
  if (arguments.stacked) {
    // Aggregated data: the process variable names the variables, the measurement holds the
    // values; anything else than a pair reaches the Startup dialog's own check.
    startup.emplace_back("StackedData", true);
    if (arguments.variables.size() == 2) {
      startup.emplace_back("ProcessVariable", arguments.variables[0]);
      startup.emplace_back("MeasurementVariable", arguments.variables[1]);
    } else if (!arguments.variables.empty()) {
      startup.emplace_back(names.variables, arguments.variables);
    }
  } else if (!arguments.variables.empty()) {
    startup.emplace_back(names.variables, arguments.variables);
  }
  if (!arguments.dependents.empty()) {
    startup.emplace_back("DependentVariables", arguments.dependents);
  }
  if (!arguments.categorical.empty()) {
    startup.emplace_back("CategoricalVariables", arguments.categorical);
  }
  if (arguments.raw) {
    startup.emplace_back("IsRawData", true);
    if (arguments.intervals) startup.emplace_back("NumberOfTimeIntervals", *arguments.intervals);
  }
  if (arguments.min_batches) {
    startup.emplace_back("MinimumNumberOfBatches", *arguments.min_batches);
  }
  startup.emplace_back("AutoRemoveVariables", true);
  startup.emplace_back("AutoRemoveCases", true);
  AddFitOptions(arguments, startup);

  Settings results = ChartLimitSettings(arguments);
  if (!arguments.trajectory.empty()) {
    results.emplace_back("VariableForTrajectory", arguments.trajectory);
  }

  Script script;
  script.data = arguments.data;
  script.steps = {
      Entry("MSPCStartup", {{"SelectedKind", names.row}}, {"OK"}),
      Entry(names.startup, std::move(startup), {"OK"}),
      ResultsEntry(
          names.results, arguments, std::move(results), CommonBatchReports(arguments.kind))};
  NumberEntries(script);
  return script;
}

void SelectBatchProcessVariables(Script& script, const DataTable& table) {
  for (ScriptEntry& entry : script.steps) {
    if (!IsBatchStartup(entry.dialog)) continue;
    std::vector<std::string> taken;
    bool named = false;
    for (const auto& [property, value] : entry.set) {
      if (property == kVariablesProperty || property == "PredictorVariables" ||
          property == "StackedData") {
        named = true;
      } else if (property == "BatchVariable" || property == "TimeVariable") {
        taken.push_back(value.get<std::string>());
      } else if (property == "DependentVariables") {
        for (const auto& name : value) taken.push_back(name.get<std::string>());
      }
    }
    if (named) continue;
    std::vector<std::string> variables;
    for (std::size_t variable = 0; variable < table.NumVariables(); ++variable) {
      const std::string name = table.VariableName(variable);
      if (table.IsCategorical(variable)) continue;
      if (std::find(taken.begin(), taken.end(), name) != taken.end()) continue;
      variables.push_back(name);
    }
    const char* property =
        entry.dialog == "TMPLSStartup" ? "PredictorVariables" : kVariablesProperty;
    entry.set.insert(entry.set.begin() + 1, {property, variables});
  }
}

Script BuildDemoScript(const std::string& data) {
  Settings startup = StartupBasics({});
  startup.emplace_back("AutoFitByCrossValidation", true);
  startup.emplace_back("VFoldCrossValidation", true);
  startup.emplace_back("NumberOfCrossValidationFolds", kDemoFolds);

  std::vector<std::string> reports = CommonPCAReports();
  reports.insert(reports.begin() + 1, "SummaryView");
  reports.insert(
      reports.end(),
      {"ScatterplotsOfScores", "SpreadsheetOfImportanceOfPredictors", "CodeGeneratorPMML"});

  Script script;
  script.data = data;
  script.steps = {
      ChoosePCA(),
      Entry(kStartupDialog, std::move(startup), {"OK"}),
      Entry("PCAResults", {{"NumberOfEigenvaluesToPlot", kDemoEigenvalues}}, std::move(reports))};
  NumberEntries(script);
  return script;
}

Script BuildMonitorScript(const MonitorArguments& arguments) {
  Settings deployment = {{"ModelFiles", arguments.models}};
  if (!arguments.variables.empty())
    deployment.emplace_back(kVariablesProperty, arguments.variables);
  Script script;
  script.data = arguments.data;
  script.steps = {Entry("MSPCStartup", {{"SelectedKind", 0}}, {"OK"}),
                  Entry("MSPCDeployment", std::move(deployment), {"OK"})};
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
