// End-to-end runs of the built krv-mspc on small tables written to a temporary folder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "pca/pca_test_support.hpp"
#include "platform/temp_folder.hpp"

namespace mspc {
namespace {

using json = nlohmann::json;
using platform::testing::ReadText;
using platform::testing::TempFolder;
using ::testing::HasSubstr;

struct CliRun {
  int status = -1;
  json reports;
  json messages;
  std::string stderr_text;

  // The first report with this title and kind.
  const json& Report(const std::string& title, const std::string& kind = "spreadsheet") const {
    for (const json& report : reports["reports"]) {
      if (report["title"] == title && report["kind"] == kind) return report;
    }
    ADD_FAILURE() << "no " << kind << " titled " << title;
    static const json kNone = json::object();
    return kNone;
  }
  bool HasMessage(const std::string& text) const {
    const json& list = messages["messages"];
    return std::any_of(
        list.begin(), list.end(), [&](const json& message) { return message["text"] == text; });
  }
};

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

// Run the command line with `arguments`, writing into `folder`'s "out" subfolder.
CliRun RunCli(const TempFolder& folder, const std::string& arguments) {
  const std::string out = folder.File("out");
  std::filesystem::remove_all(out);
  const std::string command = Quoted(MSPC_CLI_PATH) + " " + arguments + " --out " + Quoted(out) +
                              " > /dev/null 2> " + Quoted(folder.File("stderr.txt"));
  CliRun run;
  const int raw = std::system(command.c_str());
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  run.stderr_text = ReadText(folder.File("stderr.txt"));
  const auto load = [&](const std::string& name) {
    const std::string text = ReadText(out + "/" + name);
    return text.empty() ? json::object() : json::parse(text);
  };
  run.reports = load("reports.json");
  run.messages = load("messages.json");
  return run;
}

std::string ScriptWith(const std::string& data,
                       const std::string& startup_settings,
                       const std::string& results_commands = "") {
  std::string script = R"({"data": ")" + data + R"(", "steps": [
    {"dialog": "MSPCStartup", "set": {"SelectedKind": 1}, "do": ["OK"]},
    {"dialog": "PCAStartup", "set": {)" +
                       startup_settings + R"(}, "do": ["OK"]})";
  if (!results_commands.empty()) {
    script += R"(, {"dialog": "PCAResults", "do": [)" + results_commands + "]}";
  }
  return script + "]}";
}

// A table of `rows` cases and `cols` variables x1.. of known rank (see ManufacturedData).
std::string ManufacturedCsv(std::size_t rows, std::size_t cols, const std::vector<double>& sd) {
  const DMatrix x = testing::ManufacturedData(rows, cols, sd, 0.15, 7);
  std::string text;
  for (std::size_t col = 0; col < cols; ++col) text += (col ? ",x" : "x") + std::to_string(col + 1);
  text += "\n";
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t col = 0; col < cols; ++col) {
      char cell[40];
      std::snprintf(cell, sizeof cell, "%s%.17g", col ? "," : "", x(row, col));
      text += cell;
    }
    text += "\n";
  }
  return text;
}

// Twelve cases of x1, x2, x3 with structure, and c constant.
constexpr char kConstantColumnCsv[] =
    "x1,x2,x3,c\n1,2,3,5\n2,1,4,5\n3,5,1,5\n4,3,3,5\n5,6,2,5\n6,4,6,5\n7,8,4,5\n8,6,7,5\n"
    "9,9,5,5\n10,7,9,5\n11,12,8,5\n12,10,11,5\n";

TEST(CommandLineFit, CrossValidationKeepsThePlantedRankOfAManufacturedTable) {
  TempFolder folder;
  const std::string data = folder.Write("rank2.csv", ManufacturedCsv(60, 8, {4.0, 3.0}));
  const CliRun run = RunCli(folder, "fit pca --data " + Quoted(data) + " --cv vfold --folds 7");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  const json& summary = run.Report("Principal Components Analysis Summary");
  const json& rows = summary["rows"];
  // The two planted components; at most one noise-level component may follow them.
  ASSERT_GE(rows.size(), 2u);
  ASSERT_LE(rows.size(), 3u);
  EXPECT_GT(rows[0]["cells"][2].get<double>(), 0.5);
  EXPECT_GT(rows[1]["cells"][2].get<double>(), 0.5);
  EXPECT_GT(rows[1]["cells"][1].get<double>(), 0.95);
  if (rows.size() == 3) {
    EXPECT_LT(rows[2]["cells"][2].get<double>(), 0.1);
  }
  // Every continuous variable of the table is used when none is named.
  EXPECT_EQ(run.Report("Loading spreadsheet")["rows"].size(), 8u);
}

TEST(CommandLineFit, FixedComponentsOnNamedVariablesWithTheirLimits) {
  TempFolder folder;
  const std::string data = folder.Write("rank2.csv", ManufacturedCsv(30, 6, {4.0, 3.0}));
  const CliRun run = RunCli(folder,
                            "fit pca --data " + Quoted(data) +
                                " --vars x1,x2,x4 --components 2 --control 97.5 --warning 0");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  const json& summary = run.Report("Principal Components Analysis Summary");
  ASSERT_EQ(summary["rows"].size(), 2u);
  EXPECT_EQ(summary["rows"][1]["cells"][7], "UNKNOWN");
  EXPECT_EQ(run.Report("Loading spreadsheet")["rows"].size(), 3u);
  const json& lines = run.Report("Hotelling T² Control Chart", "graph")["lines"];
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_THAT(lines[0]["label"].get<std::string>(), HasSubstr("(97.50% Control limit)"));
}

TEST(CommandLineDemo, WritesTheReportsAndTheContributionsOfTheMostOutOfControlCase) {
  TempFolder folder;
  const CliRun run = RunCli(folder, "demo");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  const json& summary = run.Report("Principal Components Analysis Summary");
  EXPECT_EQ(summary["rowHeader"], "Comp.");
  EXPECT_EQ(summary["columns"],
            json::array({"R²X",
                         "R²X(Cumul.)",
                         "Eigenvalues",
                         "Q²",
                         "Q²(Cumul.)",
                         "Limit",
                         "Iterations",
                         "Significance"}));
  EXPECT_GE(summary["rows"].size(), 1u);

  const json& chart = run.Report("Hotelling T² Control Chart", "graph");
  EXPECT_EQ(chart["type"], "control");
  ASSERT_EQ(chart["lines"].size(), 2u);
  EXPECT_THAT(chart["lines"][0]["label"].get<std::string>(),
              ::testing::MatchesRegex("Critical value = [0-9]+\\.[0-9]{4} \\(99\\.00% Control "
                                      "limit\\)"));
  EXPECT_THAT(chart["lines"][1]["label"].get<std::string>(),
              ::testing::MatchesRegex("Critical value = [0-9]+\\.[0-9]{4} \\(95\\.00% Warning "
                                      "limit\\)"));

  // The contributions are those of the case with the largest T² on the chart.
  const json& series = chart["series"][0];
  const std::vector<double> t2 = series["y"].get<std::vector<double>>();
  const std::size_t worst =
      static_cast<std::size_t>(std::max_element(t2.begin(), t2.end()) - t2.begin());
  const std::string obs = std::to_string(series["x"][worst].get<int>());
  run.Report("T² Contribution (Obs  " + obs + ")", "graph");
  run.Report("SPE(Q) Contribution (Obs  " + obs + ")");
  for (const char* title : {"Principal Components Analysis Eigenvalues", "Distance to model"}) {
    run.Report(title);
  }
  run.Report("Eigenvalues scree plot", "graph");
  run.Report("SPE(Q) Chart", "graph");
  EXPECT_EQ(run.Report("Eigenvalues scree plot", "graph")["series"][0]["y"].size(), 20u);
}

TEST(CommandLineRun, StartupRefusalsAndCorrectionsReachTheMessagesAndTheRecord) {
  TempFolder folder;
  const std::string data = folder.Write("data.csv", kConstantColumnCsv);
  const std::string iterations =
      folder.Write("iterations.json", ScriptWith(data, R"("Variables": ["x1", "x2", "x3"],
                                                          "MaxIterations": 0)"));
  CliRun run = RunCli(folder, "run " + Quoted(iterations));
  EXPECT_EQ(run.status, 2);
  EXPECT_TRUE(run.HasMessage("The maximum number of iterations must be between 1 and 1000."));

  // A built script names its command and entry where a file would name its path and line.
  run = RunCli(folder, "fit pca --data " + Quoted(data) + " --vars x1,zz");
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.stderr_text,
              HasSubstr("fit pca:2: PCAStartup.Variables: The property Variables names \"zz\""));

  const std::string memory =
      folder.Write("memory.json", ScriptWith(data, R"("Variables": ["x1", "x2"],
      "ApplyMemoryLimit": true, "MemoryLimitInMB": 40000)"));
  const std::string record = folder.File("recorded.json");
  run = RunCli(folder, "run " + Quoted(memory) + " --record " + Quoted(record));
  EXPECT_EQ(run.status, 0) << run.stderr_text;
  EXPECT_TRUE(run.HasMessage(
      "The maximum data size in MB is inappropriate and will be set to the default value 80."));
  const json recorded = json::parse(ReadText(record));
  EXPECT_EQ(recorded["steps"][1]["set"]["MemoryLimitInMB"], 80);
}

TEST(CommandLineRun, AConstantColumnIsRemovedOnlyWhenAutomaticRemovalIsOn) {
  TempFolder folder;
  const std::string data = folder.Write("data.csv", kConstantColumnCsv);
  const std::string variables = R"("Variables": ["x1", "x2", "x3", "c"])";
  CliRun run = RunCli(
      folder,
      "run " +
          Quoted(folder.Write(
              "auto.json",
              ScriptWith(data, variables + R"(, "AutoRemoveVariables": true)", R"("Summary")"))));
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  const json& removed = run.Report("Removed variables and causes.");
  ASSERT_EQ(removed["rows"].size(), 1u);
  const json& cells = removed["rows"][0]["cells"];
  EXPECT_NE(std::find(cells.begin(),
                      cells.end(),
                      json("The variable has been deleted because it has no variance.")),
            cells.end());
  run.Report("Principal Components Analysis Summary");

  run = RunCli(folder, "run " + Quoted(folder.Write("strict.json", ScriptWith(data, variables))));
  EXPECT_EQ(run.status, 2);
  EXPECT_TRUE(run.HasMessage(
      "Variable c has no variance. To perform meaningful analysis, all variables selected must "
      "have variability."));
}

TEST(CommandLineRun, ScreeningThatLeavesThreeCasesStops) {
  TempFolder folder;
  const std::string data =
      folder.Write("sparse.csv", "a,b,c\n1,2,3\n2,1,5\n4,4,1\n5,,\n,6,\n,,7\n");
  const CliRun run = RunCli(
      folder,
      "run " + Quoted(folder.Write("cases.json", ScriptWith(data, R"("Variables": ["a", "b", "c"],
          "AutoRemoveCases": true)"))));
  EXPECT_EQ(run.status, 2);
  EXPECT_TRUE(run.HasMessage(
      "There are fewer than four cases in the analysis due to missing data exclusion. At least "
      "four cases should be included for the analysis."));
}

TEST(CommandLineRun, UnreadableInputsEndWithStatusOneAndAClearMessage) {
  TempFolder folder;
  const std::string missing = folder.File("nowhere.csv");
  CliRun run = RunCli(folder, "fit pca --data " + Quoted(missing));
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.stderr_text, HasSubstr("nowhere.csv: cannot open the file"));

  const std::string ragged = folder.Write("ragged.csv", "a,b\n1,2\n3\n");
  run = RunCli(folder, "fit pca --data " + Quoted(ragged));
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.stderr_text, HasSubstr("ragged.csv:3: the row has 1 fields; the header has 2."));

  const std::string malformed = folder.Write("bad.json", "{\"steps\": [\n{\"dialog\": }]}");
  run = RunCli(folder, "run " + Quoted(malformed));
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.stderr_text, HasSubstr("bad.json:2: the script is not valid JSON"));
  ASSERT_TRUE(run.messages.contains("messages"));
  EXPECT_EQ(run.messages["messages"].size(), 1u);
}

}  // namespace
}  // namespace mspc
