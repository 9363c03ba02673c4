#include "frame/pca_results.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "frame/results_support.hpp"

namespace mspc {
namespace {

using fake::Put;
using testing::PCAAnalysis;
constexpr int kRows = PCAAnalysis::kRows;
constexpr int kVariables = PCAAnalysis::kVariables;

TEST(PCAResultsDialog, DefaultLimitsDrawTheNinetyNineAndNinetyFivePercentLines) {
  PCAAnalysis analysis;
  analysis.Fit(2);
  ASSERT_TRUE(analysis.Run("TSquareChart"));
  const Graph& chart = analysis.host().graphs().back();
  EXPECT_EQ(chart.type, GraphType::kControl);
  ASSERT_EQ(chart.lines.size(), 2u);
  EXPECT_NE(chart.lines[0].label.find(" (99.00% Control limit)"), std::string::npos);
  EXPECT_NE(chart.lines[1].label.find(" (95.00% Warning limit)"), std::string::npos);
  EXPECT_EQ(chart.series[0].x.size(), static_cast<std::size_t>(kRows));

  // Without a warning line its limit is not checked.
  Put(analysis.Twin(), "TSquareWarning", false);
  Put(analysis.Twin(), "TSquareWarningLimit", 99.5);
  ASSERT_TRUE(analysis.Run("SPEQChart"));
  EXPECT_EQ(analysis.host().graphs().back().lines.size(), 1u);
}

TEST(PCAResultsDialog, SettingsOutOfRangeRefuseTheReportWithTheirMessage) {
  struct Case {
    const char* property;
    AutomationValue value;
    const char* command;
    MessageId refusal;
  };
  const Case cases[] = {
      {"TSquareControlLimit", 100.0, "TSquareChart", MessageId::kControlLimitOutOfRange},
      {"TSquareControlLimit", 49.5, "SPEQSpreadsheet", MessageId::kControlLimitOutOfRange},
      {"TSquareWarningLimit", 99.0, "TSquareSpreadsheet", MessageId::kWarningLimitOutOfRange},
      {"ScoreControlLimit", 0.5, "LineplotsOfScores", MessageId::kScoreControlPValueOutOfRange},
      {"ScoreWarningLimit", 1.0, "ScatterplotsOfScores", MessageId::kScoreWarningPValueOutOfRange},
      {"ComponentsToPlot",
       std::vector<std::int64_t>{3},
       "LineplotsOfLoadings",
       MessageId::kComponentsToPlotOutOfRange},
      {"ComponentsToPlot",
       std::vector<std::int64_t>{2},
       "ScatterplotsOfScores",
       MessageId::kScatterplotNeedsTwoComponents},
      {"ObservationForContribution",
       std::string("31"),
       "ContributionPlot",
       MessageId::kObservationNotInModel},
      {"NumberOfEigenvaluesToPlot",
       std::int64_t{-1},
       "ScreePlotOfEigenvalues",
       MessageId::kEigenvaluesToPlotNegative},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.property);
    PCAAnalysis analysis;
    analysis.Fit(2);
    Put(analysis.Twin(), c.property, c.value);
    const std::size_t reports = analysis.ReportCount();
    EXPECT_FALSE(analysis.Run(c.command));
    ASSERT_FALSE(analysis.host().messages().empty());
    EXPECT_EQ(analysis.LastMessage(), c.refusal);
    EXPECT_EQ(analysis.host().messages().back().kind, MessageKind::kStop);
    EXPECT_EQ(analysis.ReportCount(), reports);
  }
}

TEST(PCAResultsDialog, StandardDeviationLimitsStartAtThreeAndTwoAroundTheMean) {
  PCAAnalysis analysis;
  analysis.Fit(2);
  Put(analysis.Twin(), "ComputeScoreLimitFromStdDev", true);
  Put(analysis.Twin(), "ComponentsToPlot", std::vector<std::int64_t>{1});
  ASSERT_TRUE(analysis.Run("XScoreSpreadsheet"));
  ASSERT_TRUE(analysis.Run("LineplotsOfScores"));
  const Graph& plot = analysis.host().graphs().back();
  EXPECT_EQ(plot.title, "Score lineplot (t1)");
  EXPECT_EQ(plot.subtitles[2], "Control Limit: +/-3*Std.Dev");
  EXPECT_EQ(plot.subtitles[3], "Warning Limit: +/-2*Std.Dev");

  // Mean and standard deviation of t1 by two passes over the score spreadsheet.
  const Spreadsheet& scores = analysis.host().spreadsheets().back();
  double mean = 0.0;
  for (const ReportRow& row : scores.rows) mean += std::get<double>(row.cells[0]) / kRows;
  double squares = 0.0;
  for (const ReportRow& row : scores.rows) {
    squares += std::pow(std::get<double>(row.cells[0]) - mean, 2);
  }
  const double deviation = std::sqrt(squares / (kRows - 1));
  ASSERT_EQ(plot.lines.size(), 4u);
  EXPECT_NEAR(plot.lines[0].value, mean + 3 * deviation, 1e-10);
  EXPECT_NEAR(plot.lines[1].value, mean - 3 * deviation, 1e-10);
  EXPECT_NEAR(plot.lines[2].value, mean + 2 * deviation, 1e-10);
  EXPECT_EQ(plot.lines[2].kind, LimitKind::kWarning);
}

// min(N - 1, K) = 5 components at most; with all of them each variable is explained in full.
TEST(PCAResultsDialog, ComponentsStopAtTheDegreesOfFreedomAndThenExplainEveryVariable) {
  PCAAnalysis analysis;
  analysis.Fit(1);
  for (int component = 2; component <= kVariables; ++component) {
    ASSERT_TRUE(analysis.Run("AddNextComponent"));
  }
  EXPECT_EQ(analysis.Components(), kVariables);
  EXPECT_FALSE(analysis.Run("AddNextComponent"));
  EXPECT_EQ(analysis.LastMessage(), MessageId::kDegreesOfFreedomNotEnough);

  analysis.GoTo("Details", kStepPCADetails);
  ASSERT_TRUE(analysis.Run("VariableStatistics"));
  const Spreadsheet& sheet = analysis.Sheet("Variable statistics of component 5");
  EXPECT_EQ(sheet.columns, (std::vector<std::string>{"R²X", "R²X(Cumul.)", "PRESS", "Q²"}));
  for (const ReportRow& row : sheet.rows) {
    EXPECT_NEAR(std::get<double>(row.cells[1]), 1.0, 1e-8) << row.label;
  }
}

TEST(PCAResultsDialog, ContributionsFollowTheChosenObservationAndComponents) {
  PCAAnalysis analysis;
  analysis.Fit(2);
  Put(analysis.Twin(), "ObservationForContribution", std::string("4"));
  Put(analysis.Twin(), "ComponentsToPlot", std::vector<std::int64_t>{2});
  ASSERT_TRUE(analysis.Run("ContributionSpreadsheet"));
  std::vector<std::string> titles;
  for (const Spreadsheet& sheet : analysis.host().spreadsheets()) titles.push_back(sheet.title);
  EXPECT_EQ(titles,
            (std::vector<std::string>{"T² Contribution (Obs  4)",
                                      "Score contribution plot (t2)",
                                      "SPE(Q) Contribution (Obs  4)"}));
  EXPECT_EQ(analysis.host().spreadsheets()[1].columns[0], "Score contribution (Obs 4 - Average)");
}

TEST(PCAResultsDialog, DistanceNoteIsShownOutsideAutomationOnly) {
  PCAAnalysis analysis;
  analysis.Fit(2);
  ASSERT_TRUE(analysis.Run("DToModelSpreadsheet"));
  EXPECT_EQ(analysis.host().CountOf(MessageId::kNormalizedDistance), 1);
  const Spreadsheet& sheet = analysis.host().spreadsheets().back();
  EXPECT_EQ(sheet.footnotes, std::vector<std::string>{analysis.host().messages().back().text});
}

TEST(PCAStartupFit, ACancelDuringTheFitKeepsTheComponentsAcceptedBefore) {
  testing::RecordingProgress progress(-1, "PCA modeling: Model 2");
  PCAAnalysis analysis(&progress);
  analysis.Fit(3);
  EXPECT_EQ(analysis.Components(), 1);
  EXPECT_EQ(analysis.host().CountOf(MessageId::kCancelledByUser), 1);
  ASSERT_TRUE(analysis.Run("Summary"));
  EXPECT_EQ(analysis.host().spreadsheets().back().rows.size(), 1u);
}

}  // namespace
}  // namespace mspc
