// The command line's monitor: a model saved by a fit scores the table it was fitted to again.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

using testing::Quoted;

int RunCli(const TempFolder& folder, const std::string& arguments) {
  return testing::RunCommandLine(arguments, folder.File("stderr.txt"));
}

json Reports(const std::string& folder) { return testing::ReadJson(folder + "/reports.json"); }

// The series values and line values of the graphs titled `title`, in order.
std::vector<const json*> Graphs(const json& reports, const std::string& title) {
  std::vector<const json*> found;
  for (const json& report : reports["reports"]) {
    if (report["kind"] == "graph" && report["title"] == title) found.push_back(&report);
  }
  return found;
}

// The graphs titled `title` in `after` have the series values and the number of lines of their
// namesakes in `before`.
void ExpectSameGraphs(const json& before, const json& after, const std::string& title) {
  const auto fitted = Graphs(before, title);
  const auto deployed = Graphs(after, title);
  ASSERT_FALSE(fitted.empty()) << title;
  ASSERT_EQ(fitted.size(), deployed.size()) << title;
  for (std::size_t g = 0; g < fitted.size(); ++g) {
    EXPECT_EQ((*deployed[g])["lines"].size(), (*fitted[g])["lines"].size()) << title;
    const json& series0 = (*fitted[g])["series"];
    const json& series1 = (*deployed[g])["series"];
    ASSERT_EQ(series0.size(), series1.size()) << title;
    for (std::size_t s = 0; s < series0.size(); ++s) {
      const json& y0 = series0[s]["y"];
      const json& y1 = series1[s]["y"];
      ASSERT_EQ(y0.size(), y1.size()) << title;
      for (std::size_t i = 0; i < y0.size(); ++i) {
        if (y0[i].is_null()) {
          EXPECT_TRUE(y1[i].is_null()) << title << " " << s << " " << i;
          continue;
        }
        const double v0 = y0[i].get<double>();
        EXPECT_NEAR(y1[i].get<double>(), v0, 1e-10 * std::max(1.0, std::fabs(v0)))
            << title << " series " << series0[s]["name"] << " point " << i;
      }
    }
  }
}

// The T² and SPE(Q) charts of `monitored` carry the values and lines of those of `fitted`.
void ExpectSameCharts(const json& fitted, const json& monitored) {
  for (const std::string title : {"Hotelling T² Control Chart", "SPE(Q) Chart"}) {
    ExpectSameGraphs(fitted, monitored, title);
  }
}

// Fit by `steps` (a script's steps that end in the Results dialog's T² and SPE(Q) charts and
// the export of "plant.pmml"), then monitor the same table with the saved model: the charts
// come back with the same values and lines; so do the graphs titled `same_graphs`. The PCA and
// PLS charts are compared in the deployment dialog's tests and by AFitSavesItsModel below.
void ExpectMonitorReproducesTheFit(const std::string& steps,
                                   bool batches = false,
                                   const std::vector<std::string>& same_graphs = {}) {
  TempFolder folder;
  const std::string data = folder.Write(
      "plant.csv", testing::CsvOf(testing::ManufacturedData(40, 5, {3.0, 2.0}, 0.2, 19), batches));
  const std::string script =
      folder.Write("fit.json", R"({"data": ")" + data + R"(", "steps": [)" + steps + "]}");
  const std::string fit_out = folder.File("fit");
  ASSERT_EQ(RunCli(folder, "run " + Quoted(script) + " --out " + Quoted(fit_out)), 0)
      << ReadText(folder.File("stderr.txt"));
  const std::string model = fit_out + "/plant.pmml";
  ASSERT_TRUE(std::filesystem::exists(model));

  const std::string monitor_out = folder.File("monitor");
  ASSERT_EQ(RunCli(folder,
                   "monitor --model " + Quoted(model) + " --data " + Quoted(data) + " --out " +
                       Quoted(monitor_out)),
            0)
      << ReadText(folder.File("stderr.txt"));
  const json fitted = Reports(fit_out);
  const json deployed = Reports(monitor_out);
  ExpectSameCharts(fitted, deployed);
  for (const std::string& title : same_graphs) ExpectSameGraphs(fitted, deployed, title);
}

TEST(CommandLineMonitor, BatchPLSModelsReproduceTheChartsOfTheirFit) {
  // Time-wise: one row per batch, x5 the dependent at every time.
  ExpectMonitorReproducesTheFit(R"(
    {"dialog": "MSPCStartup", "set": {"SelectedKind": 5}, "do": ["OK"]},
    {"dialog": "TMPLSStartup", "set": {"BatchVariable": "batch", "TimeVariable": "time",
      "PredictorVariables": ["x1", "x2", "x3", "x4"], "DependentVariables": ["x5"],
      "FixedNumberOfComponents": true, "NumberOfComponents": 2}, "do": ["OK"]},
    {"dialog": "TMPLSResults", "set": {"ExportFileName": "plant"},
     "do": ["TSquareChart", "SPEQChart", "CodeGeneratorPMML"]})",
                                true);
  // Batch-wise: one row per batch and time, the time the dependent.
  ExpectMonitorReproducesTheFit(
      R"(
    {"dialog": "MSPCStartup", "set": {"SelectedKind": 3}, "do": ["OK"]},
    {"dialog": "BMPLSStartup", "set": {"BatchVariable": "batch", "TimeVariable": "time",
      "Variables": ["x1", "x2", "x3", "x4", "x5"],
      "FixedNumberOfComponents": true, "NumberOfComponents": 2}, "do": ["OK"]},
    {"dialog": "BMPLSResults", "set": {"ExportFileName": "plant"},
     "do": ["TSquareChart", "SPEQChart", "ScoreControlChart", "CodeGeneratorPMML"]})",
      true,
      {"SPE(Q) by time", "Trajectory plot of t1"});
}

TEST(CommandLineMonitor, AFitSavesItsModelForMonitoringWhenAskedTo) {
  TempFolder folder;
  const std::string data = folder.Write(
      "plant.csv", testing::CsvOf(testing::ManufacturedData(40, 5, {3.0, 2.0}, 0.2, 19)));
  const std::string fit_out = folder.File("fit");
  ASSERT_EQ(RunCli(folder,
                   "fit pca --data " + Quoted(data) + " --components 2 --save plant --out " +
                       Quoted(fit_out)),
            0)
      << ReadText(folder.File("stderr.txt"));
  const std::string monitor_out = folder.File("monitor");
  ASSERT_EQ(RunCli(folder,
                   "monitor --model " + Quoted(fit_out + "/plant.pmml") + " --data " +
                       Quoted(data) + " --out " + Quoted(monitor_out)),
            0)
      << ReadText(folder.File("stderr.txt"));
  ExpectSameCharts(Reports(fit_out), Reports(monitor_out));
  // Without --save nothing but the reports is written.
  const std::string plain_out = folder.File("plain");
  ASSERT_EQ(RunCli(folder, "fit pca --data " + Quoted(data) + " --out " + Quoted(plain_out)), 0);
  for (const auto& entry : std::filesystem::directory_iterator(plain_out)) {
    EXPECT_NE(entry.path().extension(), ".pmml") << entry.path();
  }
}

TEST(CommandLineMonitor, RefusesAMissingModelFile) {
  TempFolder folder;
  const std::string data = folder.Write("plant.csv", "x1,x2\n1,2\n2,3\n");
  EXPECT_NE(RunCli(folder,
                   "monitor --model " + Quoted(folder.File("none.pmml")) + " --data " +
                       Quoted(data) + " --out " + Quoted(folder.File("out"))),
            0);
}

}  // namespace
}  // namespace mspc
