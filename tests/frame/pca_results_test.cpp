#include "frame/pca_results.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "pca/pca_test_support.hpp"
#include "support/dialog_analysis.hpp"

namespace mspc {
namespace {

using fake::Get;
using fake::Put;

constexpr int kRows = 30;
constexpr int kVariables = 5;

// A PCA analysis on a rank-2 table of 30 cases and 5 variables.
class PCAAnalysis : public testing::DialogAnalysis {
 public:
  explicit PCAAnalysis(ProgressMonitor* progress = nullptr) {
    AddColumns(testing::ManufacturedData(kRows, kVariables, {3.0, 2.0}, 0.2, 17));
    Start(false, progress);
  }

  // Fit with a fixed number of components and open PCA Results.
  void Fit(int components) {
    AutomationObject& startup = OpenStartup(1, kStepPCAStartup);
    Put(startup, "Variables", std::vector<std::string>{"x1", "x2", "x3", "x4", "x5"});
    Put(startup, "FixedNumberOfComponents", true);
    Put(startup, "NumberOfComponents", std::int64_t{components});
    OpenResults(kStepPCAResults, "PCAResults");
  }
};

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

TEST(PCAResultsDialog, ComponentCommandsChangeTheNumberOfComponents) {
  PCAAnalysis analysis;
  analysis.Fit(1);
  AutomationObject& twin = analysis.Twin();
  ASSERT_TRUE(fake::Run(twin, "AddNextComponent"));
  EXPECT_EQ(analysis.Components(), 2);
  ASSERT_TRUE(fake::Run(twin, "Summary"));
  EXPECT_EQ(analysis.host().spreadsheets().back().rows.size(), 2u);
  ASSERT_TRUE(fake::Run(twin, "RemoveLastComponent"));
  EXPECT_EQ(analysis.Components(), 1);
  ASSERT_TRUE(fake::Run(twin, "RemoveAllComponent"));
  EXPECT_EQ(analysis.Components(), 0);

  // Nothing to remove is refused; a report that needs a component says so and shows nothing.
  EXPECT_FALSE(fake::Run(twin, "RemoveLastComponent"));
  EXPECT_EQ(analysis.LastMessage(), MessageId::kNoComponentToRemove);
  const std::size_t reports = analysis.ReportCount();
  EXPECT_TRUE(fake::Run(twin, "TSquareChart"));
  EXPECT_EQ(analysis.LastMessage(), MessageId::kReportNeedsComponent);
  EXPECT_EQ(analysis.ReportCount(), reports);

  // The fixed count of the options is what AutoFitMoreComponents fits again.
  ASSERT_TRUE(fake::Run(twin, "AutoFitMoreComponents"));
  EXPECT_EQ(analysis.Components(), 1);
  ASSERT_TRUE(fake::Run(twin, "AutoFitMoreComponents"));
  EXPECT_EQ(analysis.LastMessage(), MessageId::kNoAdditionalModel);

  // min(N - 1, K) = 5 components at most.
  for (int component = 2; component <= kVariables; ++component) {
    ASSERT_TRUE(fake::Run(twin, "AddNextComponent"));
  }
  EXPECT_EQ(analysis.Components(), kVariables);
  EXPECT_FALSE(fake::Run(twin, "AddNextComponent"));
  EXPECT_EQ(analysis.LastMessage(), MessageId::kDegreesOfFreedomNotEnough);
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

TEST(PCADetailsDialog, OpensFromResultsAndReturnsToThemWithTheSettingsKept) {
  PCAAnalysis analysis;
  analysis.Fit(kVariables);
  Put(analysis.Twin(), "TSquareControlLimit", 97.5);
  analysis.GoTo("Details", kStepPCADetails);
  AutomationObject& details = analysis.Twin();
  EXPECT_EQ(details.TwinName(), "PCADetails");

  // With every component each variable is explained in full.
  ASSERT_TRUE(fake::Run(details, "VariableStatistics"));
  const Spreadsheet& sheet = analysis.host().spreadsheets().back();
  EXPECT_EQ(sheet.title, "Variable statistics of component 5");
  EXPECT_EQ(sheet.columns, (std::vector<std::string>{"R²X", "R²X(Cumul.)", "PRESS", "Q²"}));
  for (const ReportRow& row : sheet.rows) {
    EXPECT_NEAR(std::get<double>(row.cells[1]), 1.0, 1e-8) << row.label;
  }
  Put(details, "Component", std::int64_t{6});
  EXPECT_FALSE(fake::Run(details, "VariableStatistics"));
  EXPECT_EQ(analysis.LastMessage(), MessageId::kDetailsComponentOutOfRange);

  ASSERT_TRUE(fake::Run(details, "Close"));
  EXPECT_EQ(analysis.steps().LastExit()->next_step, kStepPCAResults);
  EXPECT_EQ(analysis.steps().LastExit()->direction, kDirectionBack);
  ASSERT_EQ(analysis.steps().RunStep(kStepPCAResults), kDialogOpened);
  EXPECT_EQ(std::get<double>(Get(analysis.Twin(), "TSquareControlLimit")), 97.5);
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
