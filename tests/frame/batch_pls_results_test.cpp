#include "frame/batch_pls_results.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/dialog_analysis.hpp"

namespace mspc {
namespace {

using fake::Put;
using testing::Cell;

constexpr int kBatches = 5;
constexpr int kTimes = 4;
constexpr std::int64_t kBMPLSRow = 3;
constexpr std::int64_t kTMPLSRow = 5;

// Five batches of four times with codes 10, 20, 30, 40. At time 20 variable x1 holds 1, 2, 3,
// 4, 5 over the batches; the other cells follow smooth curves that differ between batches.
// The quality of a batch is marked at its last time.
class BatchPLSAnalysis : public testing::DialogAnalysis {
 public:
  BatchPLSAnalysis() {
    std::vector<double> batch, time, x2, x3, mark, quality;
    for (int i = 0; i < kBatches; ++i) {
      for (int k = 0; k < kTimes; ++k) {
        batch.push_back(i + 1);
        time.push_back(10.0 * (k + 1));
        x1_.push_back(k == 1 ? i + 1.0 : 2.0 * k + std::sin(1.7 * i + k));
        x2.push_back(5.0 + k * k * 0.5 + std::cos(0.9 * i * (k + 1)));
        x3.push_back(std::sin(0.4 * (i + 1) * (k + 2)) + 0.3 * k);
        mark.push_back(k + 1 == kTimes ? 1.0 : 0.0);
        quality.push_back(10.0 + i * 1.5 + std::sin(3.1 * i));
      }
    }
    table().AddVariable("batch", batch);
    table().AddVariable("time", time);
    table().AddVariable("x1", x1_);
    table().AddVariable("x2", x2);
    table().AddVariable("x3", x3);
    table().AddVariable("mark", mark);
    table().AddVariable("quality", quality);
    Start(/*automation=*/true);
  }

  // Choose the kind, fill its Startup and go to its Results.
  void Fit(std::int64_t row, int startup_step, int results_step, const char* results) {
    AutomationObject& startup = OpenStartup(row, startup_step);
    Put(startup, "BatchVariable", std::string("batch"));
    Put(startup, "TimeVariable", std::string("time"));
    if (row == kTMPLSRow) {
      Put(startup, "PredictorVariables", std::vector<std::string>{"x1", "x2", "x3"});
      Put(startup, "DependentVariables", std::vector<std::string>{"quality"});
      Put(startup, "DependentIdentifier", std::string("mark"));
    } else {
      Put(startup, "Variables", std::vector<std::string>{"x1", "x2", "x3"});
    }
    Put(startup, "FixedNumberOfComponents", true);
    Put(startup, "NumberOfComponents", std::int64_t{2});
    Put(startup, "CrossValidationOff", true);
    OpenResults(results_step, results);
  }

  const std::vector<double>& x1() const { return x1_; }

 private:
  std::vector<double> x1_;
};

bool HasCommand(AutomationObject& twin, const std::string& name) {
  const std::vector<AutomationCommand> commands = twin.Commands();
  return std::any_of(commands.begin(), commands.end(), [&](const AutomationCommand& command) {
    return command.name == name;
  });
}

TEST(TMPLSResultsDialog, TrajectoryBandsLoadingsOverTimeAndDetails) {
  BatchPLSAnalysis analysis;
  analysis.Fit(kTMPLSRow, kStepTMPLSStartup, kStepTMPLSResults, "TMPLSResults");
  AutomationObject& twin = analysis.Twin();

  // x1 at time 20 is 1..5: mean 3, s = sqrt(2.5), bands 3 ± 3 s and 3 ± 2 s.
  Put(twin, "AddTrajectoryWarningLimits", true);
  ASSERT_TRUE(analysis.Run("VariableTrajectorySpreadsheet"));
  const Spreadsheet& sheet = analysis.Sheet("Trajectory spreadsheet of variable: x1");
  ASSERT_EQ(sheet.rows.size(), 6u + kBatches);
  EXPECT_EQ(sheet.columns, (std::vector<std::string>{"10", "20", "30", "40"}));
  const double s = std::sqrt(2.5);
  EXPECT_NEAR(Cell(sheet, 0, 1), 3.0, 1e-9);
  EXPECT_NEAR(Cell(sheet, 1, 1), s, 1e-9);
  EXPECT_NEAR(Cell(sheet, 2, 1), 3.0 + 3.0 * s, 1e-9);
  EXPECT_NEAR(Cell(sheet, 5, 1), 3.0 - 2.0 * s, 1e-9);
  EXPECT_NEAR(Cell(sheet, 6 + 4, 1), 5.0, 1e-9);  // batch 5, rebuilt from the fit
  // A tight band leaves only the batch on the mean (3) inside at time 20.
  Put(twin, "ConstantForTrajectoryControlLimits", 0.1);
  ASSERT_TRUE(analysis.Run("VariableTrajectorySpreadsheet"));
  const auto& highlights = analysis.host().spreadsheets().back().highlights;
  EXPECT_EQ(std::count_if(highlights.begin(),
                          highlights.end(),
                          [](const std::pair<int, int>& cell) { return cell.second == 1; }),
            kBatches - 1);

  // Loadings over time: one curve per process variable with a point per time.
  ASSERT_TRUE(analysis.Run("LineplotsOfLoadings"));
  const Graph& loadings = analysis.LastGraph();
  EXPECT_EQ(loadings.title, "Loading lineplot (p2)");
  ASSERT_EQ(loadings.series.size(), 3u);
  EXPECT_EQ(loadings.series[1].name, "x2");
  EXPECT_EQ(loadings.series[1].labels[2], "Time: 30");

  // The eigenvalue shares add up to the explained share of X.
  ASSERT_TRUE(analysis.Run("Eigenvalues"));
  const Spreadsheet& eigenvalues = analysis.Sheet("Eigenvalues");
  ASSERT_EQ(eigenvalues.rows.size(), 2u);
  EXPECT_NEAR(Cell(eigenvalues, 0, 1) + Cell(eigenvalues, 1, 1), Cell(eigenvalues, 1, 3), 1e-9);

  // Descriptive statistics per variable and time, time-major: x1 at time 20 is row J.
  ASSERT_TRUE(analysis.Run("DescriptiveStatistics"));
  const Spreadsheet& statistics = analysis.Sheet("Descriptive statistics");
  ASSERT_EQ(statistics.rows.size(), 3u * kTimes);
  EXPECT_EQ(statistics.rows[3].label, "x1");
  EXPECT_EQ(std::get<std::string>(statistics.rows[3].cells[0]), "20");
  EXPECT_NEAR(Cell(statistics, 3, 2), 3.0, 1e-12);
  EXPECT_NEAR(Cell(statistics, 3, 3), s, 1e-12);

  // The variables' importances over time add up to 1, so their powers² average 1.
  ASSERT_TRUE(analysis.Run("SpreadsheetOfImportanceOfPredictors"));
  const Spreadsheet& importance = analysis.Sheet("Variable importance");
  ASSERT_EQ(importance.rows.size(), 3u);
  double total = 0.0;
  double power_squares = 0.0;
  for (std::size_t row = 0; row < 3; ++row) {
    total += Cell(importance, row, 0);
    power_squares += Cell(importance, row, 1) * Cell(importance, row, 1) / 3.0;
  }
  EXPECT_NEAR(total, 1.0, 1e-12);
  EXPECT_NEAR(power_squares, 1.0, 1e-12);
  EXPECT_GE(Cell(importance, 0, 0), Cell(importance, 1, 0));

  // Distance to model per batch with T² beside it. Each component adds sum (t / s)² = N - 1 over
  // the batches (s is the sample deviation of centred scores), so the T² add up to A (N - 1).
  ASSERT_TRUE(analysis.Run("DToModelSpreadsheet"));
  const Spreadsheet& distance = analysis.Sheet("Distance to model");
  EXPECT_EQ(distance.row_header, "Batch");
  ASSERT_EQ(distance.columns, (std::vector<std::string>{"Distance", "T\xC2\xB2"}));
  double t2_sum = 0.0;
  for (std::size_t row = 0; row < kBatches; ++row) t2_sum += Cell(distance, row, 1);
  EXPECT_NEAR(t2_sum, 2.0 * (kBatches - 1), 1e-9);

  // A batch's score contributions over the times of each variable add up to its score: the
  // contributions x_j r_aj of all predictor columns sum to t_a.
  Put(twin, "ObservationForContribution", std::string("3"));
  Put(twin, "ComponentsToPlot", std::vector<std::int64_t>{2});
  double contributions = 0.0;
  for (const char* variable : {"x1", "x2", "x3"}) {
    Put(twin, "VariableForTrajectory", std::string(variable));
    ASSERT_TRUE(analysis.Run("ContributionPlot"));
    const Graph& over_time = analysis.LastGraph();
    EXPECT_EQ(over_time.x_label, "Time");
    ASSERT_EQ(over_time.series.front().y.size(), static_cast<std::size_t>(kTimes));
    for (const double value : over_time.series.front().y) contributions += value;
  }
  ASSERT_TRUE(analysis.Run("XScoreSpreadsheet"));
  EXPECT_NEAR(contributions, Cell(analysis.Sheet("X score spreadsheet"), 2, 1), 1e-9);

  Put(twin, "VariableForTrajectory", std::string("x9"));
  EXPECT_FALSE(analysis.Run("VariableTrajectoryPlot"));
  EXPECT_EQ(analysis.host().CountOf(MessageId::kTrajectoryVariableUnknown), 1);
  ASSERT_TRUE(analysis.Run("CodeGeneratorPMML"));
  EXPECT_NE(analysis.host().texts().back().text.find("<TMPLS "), std::string::npos);
  // The C export is the fixed note that C deployment is not generated for a PLS kind.
  ASSERT_TRUE(analysis.Run("CodeGeneratorCLang"));
  ASSERT_FALSE(analysis.host().texts().empty());
  EXPECT_NE(analysis.host().texts().back().text.find("//"), std::string::npos);

  analysis.GoTo("Details", kStepTMPLSDetails);
  EXPECT_EQ(analysis.Twin().TwinName(), "TMPLSDetails");
  ASSERT_TRUE(analysis.Run("Close"));
  EXPECT_EQ(analysis.steps().LastExit()->next_step, kStepTMPLSResults);
}

TEST(BMPLSResultsDialog, PerTimeScoreAndSPELimitsAndTimePredicted) {
  BatchPLSAnalysis analysis;
  analysis.Fit(kBMPLSRow, kStepBMPLSStartup, kStepBMPLSResults, "BMPLSResults");
  AutomationObject& twin = analysis.Twin();
  EXPECT_FALSE(HasCommand(twin, "Details"));
  EXPECT_TRUE(HasCommand(twin, "VariableTrajectoryPlot"));
  ASSERT_TRUE(analysis.Run("CodeGeneratorKVB"));
  EXPECT_EQ(analysis.host().texts().back().title,
            "Batch-wise Multi-way Partial Least Squares KVB deployment code");

  ASSERT_TRUE(analysis.Run("Predictions"));
  const Spreadsheet& predictions = analysis.Sheet("Predictions");
  EXPECT_NE(std::find(predictions.columns.begin(), predictions.columns.end(), "Time predicted"),
            predictions.columns.end());
  ASSERT_EQ(predictions.rows.size(), static_cast<std::size_t>(kBatches * kTimes));

  // Score trajectories: mean, deviation, degrees of freedom (I - 1 = 4) and the limits of each
  // time, then one row per batch.
  Put(twin, "ComputeScoreLimitFromStdDev", true);
  Put(twin, "ComponentsToPlot", std::vector<std::int64_t>{1});
  ASSERT_TRUE(analysis.Run("ScoreControlChartSheet"));
  const Spreadsheet& scores = analysis.Sheet("Trajectory spreadsheet of t1");
  ASSERT_EQ(scores.rows.size(), 7u + kBatches);
  for (std::size_t k = 0; k < kTimes; ++k) {
    EXPECT_EQ(Cell(scores, 2, k), kBatches - 1.0);
    EXPECT_NEAR(Cell(scores, 3, k), Cell(scores, 0, k) + 3.0 * Cell(scores, 1, k), 1e-9);
    double mean = 0.0;
    for (std::size_t i = 0; i < kBatches; ++i) mean += Cell(scores, 7 + i, k) / kBatches;
    EXPECT_NEAR(Cell(scores, 0, k), mean, 1e-9);
  }
  ASSERT_TRUE(analysis.Run("ScoreControlChart"));
  EXPECT_EQ(analysis.LastGraph().title, "Trajectory plot of t1");
  EXPECT_EQ(analysis.LastGraph().series.size(), 5u + kBatches);

  // SPE(Q): the chart of every observation, then the lines of every time.
  ASSERT_TRUE(analysis.Run("SPEQSpreadsheet"));
  const Spreadsheet& spe = analysis.Sheet("SPE(Q) by time");
  ASSERT_EQ(spe.rows.size(), 2u + kBatches);
  EXPECT_EQ(spe.rows[0].label, "Control line");
  for (std::size_t k = 0; k < kTimes; ++k) EXPECT_GT(Cell(spe, 0, k), Cell(spe, 1, k));

  // The variable trajectories are the data: x1 at time 20 is 1..5.
  ASSERT_TRUE(analysis.Run("VariableTrajectorySpreadsheet"));
  const Spreadsheet& trajectory = analysis.Sheet("Trajectory spreadsheet of variable: x1");
  EXPECT_NEAR(Cell(trajectory, 1, 1), std::sqrt(2.5), 1e-12);
  Put(twin, "UseOriginalScale", false);
  ASSERT_TRUE(analysis.Run("VariableTrajectorySpreadsheet"));
  // In scaled units by the mean and deviation of x1 over all 20 observations (two passes).
  double mean = 0.0;
  for (const double value : analysis.x1()) mean += value / analysis.x1().size();
  double squares = 0.0;
  for (const double value : analysis.x1()) squares += (value - mean) * (value - mean);
  const double deviation = std::sqrt(squares / (analysis.x1().size() - 1.0));
  const Spreadsheet& scaled = analysis.host().spreadsheets().back();
  EXPECT_NEAR(Cell(scaled, 0, 1), (3.0 - mean) / deviation, 1e-9);
  EXPECT_NEAR(Cell(scaled, 1, 1), std::sqrt(2.5) / deviation, 1e-9);

  // Without chosen batches the trajectory plot warns and draws the mean and the bands.
  ASSERT_TRUE(analysis.Run("VariableTrajectoryPlot"));
  EXPECT_EQ(analysis.host().CountOf(MessageId::kSelectBatchesToDisplay), 1);
  EXPECT_EQ(analysis.LastGraph().series.size(), 3u);
  Put(twin, "BatchesToDisplay", std::vector<std::string>{"2", "4"});
  Put(twin, "TrajectoryLimitsAsRegions", true);
  ASSERT_TRUE(analysis.Run("VariableTrajectoryPlot"));
  const Graph& plot = analysis.LastGraph();
  ASSERT_EQ(plot.series.size(), 4u);
  EXPECT_EQ(plot.series[1].x.size(), 2u * kTimes);  // the band as one closed outline
  EXPECT_EQ(plot.series[3].name, "4");
}

}  // namespace
}  // namespace mspc
