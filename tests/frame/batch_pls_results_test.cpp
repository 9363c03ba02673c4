#include "frame/batch_pls_results.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "frame/results_support.hpp"

namespace mspc {
namespace {

using fake::Put;
using testing::Cell;

using testing::BatchAnalysis;
constexpr int kBatches = BatchAnalysis::kBatches;
constexpr int kTimes = BatchAnalysis::kTimes;

bool HasCommand(AutomationObject& twin, const std::string& name) {
  const std::vector<AutomationCommand> commands = twin.Commands();
  return std::any_of(commands.begin(), commands.end(), [&](const AutomationCommand& command) {
    return command.name == name;
  });
}

TEST(TMPLSResultsDialog, EigenvaluesImportanceAndContributionsOverTime) {
  BatchAnalysis analysis;
  analysis.Fit(testing::kTMPLS);
  AutomationObject& twin = analysis.Twin();

  // The eigenvalue shares add up to the explained share of X.
  ASSERT_TRUE(analysis.Run("Eigenvalues"));
  const Spreadsheet& eigenvalues = analysis.Sheet("Eigenvalues");
  ASSERT_EQ(eigenvalues.rows.size(), 2u);
  EXPECT_NEAR(Cell(eigenvalues, 0, 1) + Cell(eigenvalues, 1, 1), Cell(eigenvalues, 1, 3), 1e-9);

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
}

TEST(BMPLSResultsDialog, PerTimeScoreAndSPELimitsAndTimePredicted) {
  BatchAnalysis analysis;
  analysis.Fit(testing::kBMPLS);
  AutomationObject& twin = analysis.Twin();
  EXPECT_FALSE(HasCommand(twin, "Details"));
  EXPECT_TRUE(HasCommand(twin, "VariableTrajectoryPlot"));

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

  // The variable trajectories in scaled units: by the mean and deviation of x1 over all 20
  // observations (two passes), not those of each time.
  Put(twin, "UseOriginalScale", false);
  ASSERT_TRUE(analysis.Run("VariableTrajectorySpreadsheet"));
  double mean = 0.0;
  for (const double value : analysis.x1()) mean += value / analysis.x1().size();
  double squares = 0.0;
  for (const double value : analysis.x1()) squares += (value - mean) * (value - mean);
  const double deviation = std::sqrt(squares / (analysis.x1().size() - 1.0));
  const Spreadsheet& scaled = analysis.host().spreadsheets().back();
  EXPECT_NEAR(Cell(scaled, 0, 1), (3.0 - mean) / deviation, 1e-9);
  EXPECT_NEAR(Cell(scaled, 1, 1), std::sqrt(2.5) / deviation, 1e-9);
}

}  // namespace
}  // namespace mspc
