#include "frame/pls_results.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "frame/results_support.hpp"

namespace mspc {
namespace {

using fake::Put;
using testing::Cell;

using testing::PLSAnalysis;
constexpr int kRows = PLSAnalysis::kRows;
constexpr auto kBeta = PLSAnalysis::kBeta;

TEST(PLSResultsDialog, FullRankModelReproducesTheExactLinearRelation) {
  PLSAnalysis analysis;
  analysis.Fit(3);
  ASSERT_TRUE(analysis.Run("Summary"));
  const Spreadsheet& summary = analysis.Sheet("Partial Least Squares Summary");
  ASSERT_EQ(summary.rows.size(), 3u);
  // With as many components as X has rank, all of X and of Y (linear in X) is explained.
  EXPECT_NEAR(Cell(summary, 2, 1), 1.0, 1e-9);
  EXPECT_NEAR(Cell(summary, 2, 3), 1.0, 1e-9);
  double r2y = 0.0;
  for (std::size_t row = 0; row < 3; ++row) r2y += Cell(summary, row, 2);
  EXPECT_NEAR(r2y, Cell(summary, 2, 3), 1e-12);

  // The data-unit coefficients reduce to the generating coefficients along the rank-3
  // structure: b1 + b4 + b6 = 1.5, b2 + b4 + b5 = -0.5 and b3 - b5 + b6 = 0.25.
  ASSERT_TRUE(analysis.Run("Coefficients"));
  const Spreadsheet& units = analysis.Sheet("Regression coefficients (data units)");
  ASSERT_EQ(units.rows.size(), 7u);
  EXPECT_EQ(units.rows[6].label, "Intercept");
  const auto b = [&](std::size_t j) { return Cell(units, j - 1, 0); };
  EXPECT_NEAR(b(1) + b(4) + b(6), kBeta[0], 1e-8);
  EXPECT_NEAR(b(2) + b(4) + b(5), kBeta[1], 1e-8);
  EXPECT_NEAR(b(3) - b(5) + b(6), kBeta[2], 1e-8);

  // The observed column is the data, and the residuals vanish.
  ASSERT_TRUE(analysis.Run("Predictions"));
  const Spreadsheet& predictions = analysis.Sheet("Predictions");
  ASSERT_EQ(predictions.columns,
            (std::vector<std::string>{"y observed", "y predicted", "y residual"}));
  ASSERT_EQ(predictions.rows.size(), static_cast<std::size_t>(kRows));
  for (std::size_t row = 0; row < predictions.rows.size(); ++row) {
    EXPECT_DOUBLE_EQ(Cell(predictions, row, 0), analysis.observed()[row]);
    EXPECT_NEAR(Cell(predictions, row, 2), 0.0, 1e-8);
  }

  // Details of the last component: a single dependent's R²Y(Cumul.) is the model's.
  const double r2y_cumulative = Cell(analysis.Sheet("Partial Least Squares Summary"), 2, 3);
  analysis.GoTo("Details", kStepPLSDetails);
  ASSERT_TRUE(analysis.Run("VariableStatistics"));
  EXPECT_NEAR(
      Cell(analysis.Sheet("Dependent statistics of component 3"), 0, 1), r2y_cumulative, 1e-10);
  EXPECT_EQ(analysis.Sheet("Variable statistics of component 3").rows.size(), 6u);
}

// The identities of importance, T² and score limits themselves are checked on the engine;
// here the dialog's choices reach them.
TEST(PLSResultsDialog, ScoreTypeAndObservationChoicesReachTheirReports) {
  PLSAnalysis analysis;
  analysis.Fit(2);
  AutomationObject& twin = analysis.Twin();
  // The graph lists the predictors in the spreadsheet's order of importance.
  ASSERT_TRUE(analysis.Run("SpreadsheetOfImportanceOfPredictors"));
  ASSERT_TRUE(analysis.Run("GraphOfImportanceOfPredictors"));
  EXPECT_EQ(analysis.LastGraph().series[0].labels[0],
            analysis.Sheet("Variable importance").rows[0].label);

  // Limits at 3 standard deviations of the Y scores (type 1): from the Y score spreadsheet.
  Put(twin, "ComputeScoreLimitFromStdDev", true);
  Put(twin, "ScoreType", std::int64_t{1});
  ASSERT_TRUE(analysis.Run("YScoreSpreadsheet"));
  ASSERT_TRUE(analysis.Run("ScoreControlSpreadsheet"));
  const Spreadsheet& u = analysis.Sheet("Y score spreadsheet");
  const Spreadsheet& limits = analysis.Sheet("Score limits of the Y scores");
  ASSERT_EQ(limits.rows.size(), 2u);
  EXPECT_EQ(limits.rows[1].label, "u2");
  double mean = 0.0;
  for (const ReportRow& row : u.rows) mean += std::get<double>(row.cells[1]) / kRows;
  double squares = 0.0;
  for (const ReportRow& row : u.rows) squares += std::pow(std::get<double>(row.cells[1]) - mean, 2);
  const double deviation = std::sqrt(squares / (kRows - 1));
  EXPECT_NEAR(Cell(limits, 1, 0), deviation, 1e-10);
  EXPECT_NEAR(Cell(limits, 1, 1), mean + 3 * deviation, 1e-10);

  Put(twin, "ScoreType", std::int64_t{2});
  EXPECT_FALSE(analysis.Run("ScoreControlSpreadsheet"));
  EXPECT_EQ(analysis.LastMessage(), MessageId::kScoreTypeOutOfRange);

  // Contributions of the case with the largest T²: T² shares add up to 1.
  ASSERT_TRUE(analysis.Run("ContributionSpreadsheet"));
  const std::size_t sheets = analysis.host().spreadsheets().size();
  const Spreadsheet& t2_share = analysis.host().spreadsheets()[sheets - 4];
  double total = 0.0;
  for (std::size_t row = 0; row < t2_share.rows.size(); ++row) total += Cell(t2_share, row, 0);
  EXPECT_NEAR(total, 1.0, 1e-9);

  // The score contributions of a named case add up to its X scores.
  Put(twin, "ObservationForContribution", std::string("5"));
  ASSERT_TRUE(analysis.Run("XScoreSpreadsheet"));
  const Spreadsheet scores = analysis.Sheet("X score spreadsheet");
  ASSERT_TRUE(analysis.Run("ContributionSpreadsheet"));
  const std::size_t count = analysis.host().spreadsheets().size();
  for (std::size_t component = 0; component < 2; ++component) {
    const Spreadsheet& shares = analysis.host().spreadsheets()[count - 3 + component];
    double sum = 0.0;
    for (std::size_t row = 0; row < shares.rows.size(); ++row) sum += Cell(shares, row, 0);
    EXPECT_NEAR(sum, Cell(scores, 4, component), 1e-9);
  }
}

}  // namespace
}  // namespace mspc
