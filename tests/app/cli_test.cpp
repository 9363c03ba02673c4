// End-to-end runs of the built krv-mspc on small tables written to a temporary folder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
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
  run.Report("Principal Components Analysis Eigenvalues");
  run.Report("Distance to model");
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

// Thirty cases of y = 1 + 2 x1 - x2 plus a little noise; x3 carries nothing, x4 = x1 + x2.
std::string LinearCsv() {
  std::string text = "x1,x2,x3,x4,y\n";
  for (int row = 0; row < 30; ++row) {
    const double x1 = std::sin(0.9 * row) * 2.0;
    const double x2 = std::cos(0.4 * row) + 0.05 * row;
    const double x3 = ((row * 5) % 7) - 3.0;
    const double noise = 0.01 * (((row * 3) % 5) - 2.0);
    char line[160];
    std::snprintf(line,
                  sizeof line,
                  "%.17g,%.17g,%.17g,%.17g,%.17g\n",
                  x1,
                  x2,
                  x3,
                  x1 + x2,
                  1.0 + 2.0 * x1 - x2 + noise);
    text += line;
  }
  return text;
}

TEST(CommandLineFitPLS, FixedComponentsWriteTheSummaryCoefficientsAndPredictions) {
  TempFolder folder;
  const std::string data = folder.Write("linear.csv", LinearCsv());
  const CliRun run =
      RunCli(folder, "fit pls --data " + Quoted(data) + " --y y --x x1,x2,x3,x4 --components 2");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  const json& summary = run.Report("Partial Least Squares Summary");
  ASSERT_EQ(summary["rows"].size(), 2u);
  EXPECT_GT(summary["rows"][1]["cells"][3].get<double>(), 0.999);
  // Along x1 and x2 (x4 shares both) the coefficients are the generating ones.
  const json& units = run.Report("Regression coefficients (data units)")["rows"];
  ASSERT_EQ(units.size(), 5u);
  const auto b = [&](std::size_t j) { return units[j]["cells"][0].get<double>(); };
  EXPECT_NEAR(b(0) + b(3), 2.0, 0.02);
  EXPECT_NEAR(b(1) + b(3), -1.0, 0.02);
  EXPECT_NEAR(b(4), 1.0, 0.05);
  EXPECT_EQ(run.Report("Predictions")["rows"].size(), 30u);
  EXPECT_EQ(run.Report("Variable importance")["rows"].size(), 4u);
}

TEST(CommandLineFitPLS, AVariableInBothRolesStopsWithItsMessage) {
  TempFolder folder;
  const std::string data = folder.Write("linear.csv", LinearCsv());
  const CliRun run =
      RunCli(folder, "fit pls --data " + Quoted(data) + " --y x1 --x x1,x2 --components 1");
  EXPECT_NE(run.status, 0);
  EXPECT_TRUE(run.HasMessage(
      "The variable x1 is selected both as a dependent and as a predictor variable. A variable "
      "can take only one role in the partial least squares analysis."));
}

TEST(CommandLineFitPLS, GasolineOctaneFromTheSpectraIsCrossValidatedAndDeterministic) {
  const std::string data = std::string(MSPC_SOURCE_DIR) + "/examples/data/gasoline/gasoline.csv";
  const std::string header = ReadText(data).substr(0, ReadText(data).find('\n'));
  std::string predictors;
  for (std::size_t start = 0; start < header.size();) {
    std::size_t end = header.find(',', start);
    if (end == std::string::npos) end = header.size();
    const std::string name = header.substr(start, end - start);
    if (name.rfind("NIR_", 0) == 0) predictors += (predictors.empty() ? "" : ",") + name;
    start = end + 1;
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

// Eight batches of three variables at four times: x1 and x2 follow one course per batch, x3
// is its own; batch 18 runs hot.
std::string BatchCsv() {
  std::string text = "batch,time,x1,x2,x3\n";
  for (int batch = 11; batch <= 18; ++batch) {
    for (int time = 1; time <= 4; ++time) {
      const double level = 0.1 * (batch % 5) + (batch == 18 ? 2.0 : 0.0);
      char row[160];
      std::snprintf(row,
                    sizeof row,
                    "%d,%d,%.6f,%.6f,%.6f\n",
                    batch,
                    10 * time,
                    time + level,
                    2.0 * time + 1.5 * level + 0.01 * (batch % 3),
                    0.3 * ((batch * 7 + time * 3) % 5));
      text += row;
    }
  }
  return text;
}

TEST(CommandLineFitTMPCA, WritesScoresAndTheTrajectoryPerBatch) {
  TempFolder folder;
  const std::string data = folder.Write("batches.csv", BatchCsv());
  const CliRun run = RunCli(folder,
                            "fit tmpca --data " + Quoted(data) +
                                " --batch batch --time time --components 1 --trajectory x2");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  // One row per batch, named by its code; the trajectory of the variable asked for.
  const json& scores = run.Report("Score spreadsheet");
  ASSERT_EQ(scores["rows"].size(), 8u);
  EXPECT_EQ(scores["rows"][7]["label"], "18");
  const json& trajectory = run.Report("Trajectory spreadsheet of variable: x2");
  EXPECT_EQ(trajectory["columns"], json::array({"10", "20", "30", "40"}));
  EXPECT_EQ(trajectory["rows"].size(), 4u + 8u);
}

TEST(CommandLineFitBatchPLS, TimeIsPredictedByBatchAndDependentsPerTimeByTimeWise) {
  TempFolder folder;
  const std::string data = folder.Write("batches.csv", BatchCsv());
  // Batch-wise: x1 rises with the time, so the time is predicted in time order.
  CliRun run = RunCli(folder,
                      "fit bmpls --data " + Quoted(data) +
                          " --batch batch --time time --vars x1,x2 --components 1");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  const json& predictions = run.Report("Predictions");
  EXPECT_EQ(predictions["columns"][1], "Time predicted");
  ASSERT_EQ(predictions["rows"].size(), 8u * 4u);
  for (std::size_t row = 0; row + 1 < 4; ++row) {
    EXPECT_LT(predictions["rows"][row]["cells"][1].get<double>(),
              predictions["rows"][row + 1]["cells"][1].get<double>());
  }
  const json& scores_by_time = run.Report("Trajectory spreadsheet of t1");
  EXPECT_EQ(scores_by_time["columns"], json::array({"10", "20", "30", "40"}));

  // Time-wise: x2 at each time is an affine function of x1 at that time.
  run = RunCli(folder,
               "fit tmpls --data " + Quoted(data) +
                   " --batch batch --time time --vars x1,x3 --y x2 --components 1");
  ASSERT_EQ(run.status, 0) << run.stderr_text;
  const json& summary = run.Report("Partial Least Squares Summary");
  EXPECT_GT(summary["rows"][0]["cells"][3].get<double>(), 0.95);
  EXPECT_EQ(run.Report("Predictions")["columns"].size(), 4u * 3u);
  run.Report("Trajectory spreadsheet of variable: x1");
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
  const json& summary = run.Report("Principal Components Analysis Summary");
  EXPECT_EQ(summary["rows"].size(), 3u);
  const json& t2 = run.Report("Hotelling T² Control Chart", "graph");
  EXPECT_EQ(t2["series"][0]["y"].size(), 57u);
  const json& trajectory = run.Report("Trajectory spreadsheet of variable: Tag05");
  EXPECT_EQ(trajectory["columns"].size(), 100u);
  EXPECT_EQ(trajectory["rows"].size(), 6u + 57u);
  const json& plot = run.Report("Trajectory plot of variable: Tag05", "graph");
  EXPECT_EQ(plot["series"].back()["name"], "2");
}

}  // namespace
}  // namespace mspc
