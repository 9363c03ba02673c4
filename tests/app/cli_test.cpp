// End-to-end runs of the built krv-mspc on small tables written to a temporary folder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "pca/pca_test_support.hpp"
#include "platform/temp_folder.hpp"
#include "support/cli_run.hpp"

namespace mspc {
namespace {

using json = nlohmann::json;
using platform::testing::ReadText;
using platform::testing::TempFolder;
using ::testing::HasSubstr;
using testing::Quoted;

// The first report with this title and kind.
const json& Report(const json& reports,
                   const std::string& title,
                   const std::string& kind = "spreadsheet") {
  for (const json& report : reports["reports"]) {
    if (report["title"] == title && report["kind"] == kind) return report;
  }
  ADD_FAILURE() << "no " << kind << " titled " << title;
  static const json kNone = json::object();
  return kNone;
}

struct CliRun {
  int status = -1;
  json reports;
  json messages;
  std::string stderr_text;

  const json& Report(const std::string& title, const std::string& kind = "spreadsheet") const {
    return mspc::Report(reports, title, kind);
  }
  bool HasMessage(const std::string& text) const {
    const json& list = messages["messages"];
    return std::any_of(
        list.begin(), list.end(), [&](const json& message) { return message["text"] == text; });
  }
};

// Run the command line with `arguments`, writing into `folder`'s "out" subfolder.
CliRun RunCli(const TempFolder& folder, const std::string& arguments) {
  const std::string out = folder.File("out");
  std::filesystem::remove_all(out);
  CliRun run;
  run.status =
      testing::RunCommandLine(arguments + " --out " + Quoted(out), folder.File("stderr.txt"));
  run.stderr_text = ReadText(folder.File("stderr.txt"));
  run.reports = testing::ReadJson(out + "/reports.json");
  run.messages = testing::ReadJson(out + "/messages.json");
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
  return testing::CsvOf(testing::ManufacturedData(rows, cols, sd, 0.15, 7));
}

// Twelve cases of x1, x2, x3 with structure, and c constant.
constexpr char kConstantColumnCsv[] =
    "x1,x2,x3,c\n1,2,3,5\n2,1,4,5\n3,5,1,5\n4,3,3,5\n5,6,2,5\n6,4,6,5\n7,8,4,5\n8,6,7,5\n"
    "9,9,5,5\n10,7,9,5\n11,12,8,5\n12,10,11,5\n";

TEST(CommandLineFit, OptionsChooseTheVariablesComponentsCrossValidationAndLimits) {
  TempFolder folder;
  const std::string data = folder.Write("rank2.csv", ManufacturedCsv(30, 6, {4.0, 3.0}));
  // Every continuous variable of the table is used when none is named; cross-validation
  // judges each component.
  CliRun run = RunCli(folder, "fit pca --data " + Quoted(data) + " --cv vfold --folds 7");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  EXPECT_EQ(run.Report("Loading spreadsheet")["rows"].size(), 6u);
  EXPECT_NE(run.Report("Principal Components Analysis Summary")["rows"][0]["cells"][7], "UNKNOWN");

  run = RunCli(folder,
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

TEST(CommandLineDemo, ReportsTheWorstCaseAndMonitorsAFaultRunWithTheModelItSaved) {
  TempFolder folder;
  const CliRun run = RunCli(folder, "demo");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  EXPECT_GE(run.Report("Principal Components Analysis Summary")["rows"].size(), 1u);
  const json& chart = run.Report("Hotelling T² Control Chart", "graph");
  EXPECT_EQ(chart["lines"].size(), 2u);

  // The contributions are those of the case with the largest T² on the chart.
  const json& series = chart["series"][0];
  const std::vector<double> t2 = series["y"].get<std::vector<double>>();
  const std::size_t worst =
      static_cast<std::size_t>(std::max_element(t2.begin(), t2.end()) - t2.begin());
  const std::string obs = std::to_string(series["x"][worst].get<int>());
  run.Report("T² Contribution (Obs  " + obs + ")", "graph");
  run.Report("SPE(Q) Contribution (Obs  " + obs + ")");

  // The demo saves its model and monitors a fault run with it: the run leaves the
  // normal-operation model, a good share of its samples lying above the 99 % line, far more than
  // the 1 % of a run in control.
  EXPECT_TRUE(std::filesystem::exists(folder.File("out/model.pmml")));
  const json monitored = testing::ReadJson(folder.File("out/monitor/reports.json"));
  for (const std::string title : {"Hotelling T² Control Chart", "SPE(Q) Chart"}) {
    const json& monitor = Report(monitored, title, "graph");
    const auto y = monitor["series"][0]["y"].get<std::vector<double>>();
    const double line = monitor["lines"][0]["value"].get<double>();
    EXPECT_EQ(y.size(), 960u);
    EXPECT_GT(std::count_if(y.begin(), y.end(), [line](double v) { return v > line; }), 96)
        << title;
  }
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

TEST(CommandLineFitPLS, OptionsChooseTheRolesAndComponents) {
  TempFolder folder;
  const std::string data = folder.Write("plant.csv", ManufacturedCsv(30, 5, {3.0, 2.0}));
  CliRun run =
      RunCli(folder, "fit pls --data " + Quoted(data) + " --y x5 --x x1,x2,x3,x4 --components 2");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  EXPECT_EQ(run.Report("Partial Least Squares Summary")["rows"].size(), 2u);
  EXPECT_EQ(run.Report("Regression coefficients (data units)")["rows"].size(), 5u);
  EXPECT_EQ(run.Report("Predictions")["rows"].size(), 30u);
  EXPECT_EQ(run.Report("Variable importance")["rows"].size(), 4u);

  run = RunCli(folder, "fit pls --data " + Quoted(data) + " --y x1 --x x1,x2 --components 1");
  EXPECT_EQ(run.status, 2);
  EXPECT_TRUE(run.HasMessage(
      "The variable x1 is selected both as a dependent and as a predictor variable. A variable "
      "can take only one role in the partial least squares analysis."));
}

TEST(CommandLineFitPLS, GasolineOctaneFromTheSpectraIsCrossValidatedAndDeterministic) {
  const std::string data = std::string(MSPC_SOURCE_DIR) + "/examples/data/gasoline/gasoline.csv";
  std::istringstream header(ReadText(data).substr(0, ReadText(data).find('\n')));
  std::string predictors;
  for (std::string name; std::getline(header, name, ',');) {
    if (name.rfind("NIR_", 0) == 0) predictors += (predictors.empty() ? "" : ",") + name;
  }
  ASSERT_EQ(std::count(predictors.begin(), predictors.end(), ',') + 1, 401);
  const std::string arguments = "fit pls --data " + Quoted(data) + " --y octane --x " + predictors +
                                " --cv vfold --folds 10 --scaling none";
  TempFolder folder;
  const CliRun first = RunCli(folder, arguments);
  ASSERT_EQ(first.status, 0) << first.stderr_text;
  const json& rows = first.Report("Partial Least Squares Summary")["rows"];
  ASSERT_GE(rows.size(), 2u);
  // The spectra predict octane well in cross-validation.
  EXPECT_GT(rows[rows.size() - 1]["cells"][3].get<double>(), 0.95);
  EXPECT_GT(rows[1]["cells"][5].get<double>(), 0.8);
  EXPECT_EQ(first.Report("Variable importance")["rows"].size(), 401u);
  EXPECT_EQ(first.Report("Regression coefficients (data units)")["rows"].size(), 402u);
  EXPECT_EQ(first.Report("Predictions")["rows"].size(), 60u);
  const CliRun second = RunCli(folder, arguments);
  EXPECT_EQ(first.reports, second.reports);
}

// Eight batches of three variables at the times 10 to 40.
std::string BatchCsv() {
  return testing::CsvOf(testing::ManufacturedData(32, 3, {2.0, 1.0}, 0.2, 5), /*batches=*/true);
}

TEST(CommandLineFitBatches, OptionsNameTheBatchTimeAndVariablesOfEachKind) {
  TempFolder folder;
  const std::string data = folder.Write("batches.csv", BatchCsv());
  const std::string batch = " --data " + Quoted(data) + " --batch batch --time time";
  CliRun run = RunCli(folder, "fit tmpca" + batch + " --components 1 --trajectory x2");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  // One row per batch, named by its code; the trajectory of the variable asked for.
  const json& scores = run.Report("Score spreadsheet");
  ASSERT_EQ(scores["rows"].size(), 8u);
  EXPECT_EQ(scores["rows"][7]["label"], "8");
  const json& trajectory = run.Report("Trajectory spreadsheet of variable: x2");
  EXPECT_EQ(trajectory["columns"], json::array({"10", "20", "30", "40"}));

  run = RunCli(folder, "fit bmpls" + batch + " --vars x1,x2 --components 1");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  EXPECT_EQ(run.Report("Predictions")["columns"][1], "Time predicted");
  EXPECT_EQ(run.Report("Predictions")["rows"].size(), 8u * 4u);

  run = RunCli(folder, "fit tmpls" + batch + " --vars x1,x3 --y x2 --components 1");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  EXPECT_EQ(run.Report("Predictions")["columns"].size(), 4u * 3u);
}

TEST(CommandLineFitTMPCA, NylonBatchesOfUnequalLengthNeedTheRawDataOption) {
  const std::string data = std::string(MSPC_SOURCE_DIR) + "/examples/data/nylon/nylon.csv";
  TempFolder folder;
  CliRun run =
      RunCli(folder,
             "fit tmpca --data " + Quoted(data) + " --batch batch_id --time sample --components 2");
  EXPECT_EQ(run.status, 2);
  EXPECT_TRUE(run.HasMessage(
      "The batch process requires equal number of time intervals for each batch. Non-equal time "
      "intervals have been found and the analysis stops."));

  // The example script bins each batch's samples into 100 intervals.
  const std::string script = std::string(MSPC_SOURCE_DIR) + "/examples/batch-tmpca.json";
  run = RunCli(folder, "run " + Quoted(script) + " --data " + Quoted(data));
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  EXPECT_EQ(run.Report("Principal Components Analysis Summary")["rows"].size(), 3u);
  const json& trajectory = run.Report("Trajectory spreadsheet of variable: Tag05");
  EXPECT_EQ(trajectory["columns"].size(), 100u);
  EXPECT_EQ(trajectory["rows"].size(), 6u + 57u);
}

}  // namespace
}  // namespace mspc
