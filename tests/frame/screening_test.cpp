#include "frame/screening.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "frame/data_reader.hpp"
#include "models/missing.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"
#include "support/ulps.hpp"

namespace mspc {
namespace {

const double kNaN = kMissingValue;

void ExpectRemoval(const Removal& removal, const Removal& expected) {
  EXPECT_EQ(removal.name, expected.name);
  EXPECT_EQ(removal.cause, expected.cause) << expected.name;
  EXPECT_EQ(removal.current, expected.current) << expected.name;
  EXPECT_EQ(removal.minimum, expected.minimum) << expected.name;
}

class ScreeningTest : public ::testing::Test {
 protected:
  // Read every variable of the table (those in `categorical` as categorical).
  WorkingData ReadAll(const std::vector<std::string>& categorical = {}) {
    analysis_.InitCommons(host_.Services(&table_, automation_));
    CNewDataReader reader(&analysis_);
    reader.Refresh();
    return reader.Read({reader.VariableNames(), categorical});
  }

  // Screen and return the stop it ended with, if any.
  std::optional<AnalysisStop> Screen(WorkingData& data, ScreeningKind kind = ScreeningKind::kPCA) {
    try {
      ScreenWorkingData(analysis_, options_, kind, notes_, data);
    } catch (const AnalysisStop& stop) {
      return stop;
    }
    return std::nullopt;
  }

  FakeDataTable table_;
  RecordingHost host_;
  CAnalysisSupport analysis_;
  ScreeningOptions options_;
  RemovalNotes notes_;
  bool automation_ = false;
};

TEST_F(ScreeningTest, StatisticsCoverTheCasesThatRemain) {
  table_.AddVariable("x1", {1, 2, 3, 4, 100});
  table_.AddVariable("x2", {2, 4, 6, 9, kNaN});
  table_.AddVariable("x3", {kNaN, 1, 1, 2, kNaN});
  table_.SetCaseNames({"A", "B", "C", "D", "<i>E</i>"});
  options_.auto_remove_cases = true;
  WorkingData data = ReadAll();

  ASSERT_FALSE(Screen(data));
  // Case E has one valid variable and goes; the other cases keep every column.
  EXPECT_EQ(data.removed_cases, (std::vector<bool>{false, false, false, false, true}));
  EXPECT_EQ(data.removed_case_count, 1);
  EXPECT_EQ(data.removed_cell_count, 2);
  EXPECT_EQ(data.valid_count, (std::vector<double>{4, 4, 3}));
  EXPECT_DOUBLE_EQ(data.mean[1], 5.25);
  EXPECT_DOUBLE_EQ(data.standard_deviation[1], std::sqrt(26.75 / 3.0));
  EXPECT_DOUBLE_EQ(data.standard_deviation[2], std::sqrt(1.0 / 3.0));
  ASSERT_EQ(data.removals.cases.size(), 1u);
  ExpectRemoval(data.removals.cases[0], {"E", 2, 1.0, 2.0});
  ASSERT_EQ(host_.messages().size(), 1u);
  EXPECT_EQ(host_.messages()[0].id, MessageId::kNoteRemoveCases);
  EXPECT_EQ(host_.messages()[0].kind, MessageKind::kNote);
}

// x3 is valid in one case of eight (12.5%); x4 is constant.
void AddSparseAndConstantColumns(FakeDataTable& table) {
  table.AddVariable("x1", {1, 2, 3, 4, 5, 6, 7, 8});
  table.AddVariable("x2", {2, 1, 4, 3, 6, 5, 8, 7});
  table.AddVariable("<b>x3</b>", {5, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN});
  table.AddVariable("x4", {3, 3, 3, 3, 3, 3, 3, 3});
}

TEST_F(ScreeningTest, WithoutAutomaticRemovalTheFirstFailedVariableStops) {
  AddSparseAndConstantColumns(table_);
  WorkingData data = ReadAll();
  const auto stop = Screen(data);
  ASSERT_TRUE(stop);
  EXPECT_EQ(stop->id(), MessageId::kVariableTooLowPercentValidCases);
  EXPECT_EQ(stop->text(),
            "The percentage of valid cases (12.50%) for variable x3 is fewer than the required "
            "minimum percentage of valid cases (20.00%). The analysis stops.");
  EXPECT_TRUE(host_.messages().empty());
}

TEST_F(ScreeningTest, AutomaticRemovalLogsEachVariableAndNotesOncePerModel) {
  AddSparseAndConstantColumns(table_);
  options_.auto_remove_variables = true;
  WorkingData data = ReadAll();
  ASSERT_FALSE(Screen(data));
  EXPECT_EQ(data.removed_columns, (std::vector<bool>{false, false, true, true}));
  ASSERT_EQ(data.removals.variables.size(), 2u);
  ExpectRemoval(data.removals.variables[0], {"x3", 5, 12.5, 20.0});
  ExpectRemoval(data.removals.variables[1], {"x4", 6, 0.0, 0.0});
  // A second screen in the same model removes again but does not repeat the note.
  WorkingData again = ReadAll();
  ASSERT_FALSE(Screen(again));
  EXPECT_EQ(again.removals.variables.size(), 2u);
  EXPECT_EQ(host_.CountOf(MessageId::kNoteRemoveVariables), 1);
  EXPECT_EQ(host_.messages().size(), 1u);
}

TEST_F(ScreeningTest, AutomationRemovesWithoutNotes) {
  AddSparseAndConstantColumns(table_);
  table_.AddVariable("x5", {kNaN, 1, 2, 3, 4, 5, 6, kNaN});
  options_.auto_remove_variables = true;
  options_.auto_remove_cases = true;
  options_.min_percent_valid_variables = 70.0;  // case 8 has 3 of 5 valid, the others 4
  automation_ = true;
  WorkingData data = ReadAll();
  ASSERT_FALSE(Screen(data));
  ASSERT_EQ(data.removals.cases.size(), 1u);
  ExpectRemoval(data.removals.cases[0], {"8", 3, 60.0, 70.0});
  EXPECT_EQ(data.removals.variables.size(), 2u);
  EXPECT_TRUE(host_.messages().empty());
}

TEST_F(ScreeningTest, PercentagesFewUlpsShortOfTheMinimumPass) {
  // x3 is valid in 2 of 8 cases (25% exactly); case 1 has 2 of its 8 variables valid (25%).
  for (int variable = 0; variable < 8; ++variable) {
    std::vector<double> values{1, 2, 3, 4, 5, 6, 7, 8};
    for (double& value : values) value += variable * value * value;
    if (variable >= 2) values[0] = kNaN;
    if (variable == 2) values = {kNaN, 1, 2, kNaN, kNaN, kNaN, kNaN, kNaN};
    table_.AddVariable("x" + std::to_string(variable + 1), values);
  }
  struct Edge {
    int ulps;
    bool passes;
  };
  for (const Edge edge : {Edge{0, true}, Edge{3, true}, Edge{15, true}, Edge{16, false}}) {
    options_.min_percent_valid_cases = testing::UlpsAway(25.0, edge.ulps);
    options_.min_percent_valid_variables = 20.0;
    WorkingData by_variable = ReadAll();
    const auto variable_stop = Screen(by_variable);
    EXPECT_EQ(!variable_stop, edge.passes) << edge.ulps;
    if (variable_stop) {
      EXPECT_EQ(variable_stop->id(), MessageId::kVariableTooLowPercentValidCases);
    }

    options_.min_percent_valid_cases = 20.0;
    options_.min_percent_valid_variables = testing::UlpsAway(25.0, edge.ulps);
    WorkingData by_case = ReadAll();
    const auto case_stop = Screen(by_case);
    EXPECT_EQ(!case_stop, edge.passes) << edge.ulps;
    if (case_stop) {
      EXPECT_EQ(case_stop->text(),
                "The percentage of valid variables selected (25.00%) for case 1 is fewer than the "
                "required minimum percentage of valid variables (25.00%). The analysis stops.");
    }
  }
}

TEST_F(ScreeningTest, OneValidSourceVariableFailsWhateverTheMinimumCount) {
  // Case 1 is not selected, so the third row holds host case 4. Its only valid cells are the
  // dummy columns of "color", which count as one variable.
  table_.AddVariable("x1", {1, 2, 3, kNaN, 5, 6});
  table_.AddVariable("x2", {1, 3, 2, kNaN, 4, 7});
  table_.AddCategorical("color", {1, 2, 1, 2, 3, 1}, {{1, "red"}, {2, "green"}, {3, "blue"}});
  table_.SetSelected({false, true, true, true, true, true});
  options_.min_valid_variables = 1;
  options_.min_percent_valid_variables = 20.0;  // 1 of 3 variables would pass the percentage
  WorkingData data = ReadAll();
  const auto stop = Screen(data);
  ASSERT_TRUE(stop);
  EXPECT_EQ(stop->text(),
            "The number of valid variables selected (1) for case 4 is fewer than the required "
            "minimum number of valid variables (1). The analysis stops.");
}

TEST_F(ScreeningTest, BatchRowsAreNamedInTheStopMessage) {
  table_.AddVariable("x1", {1, 2, 3, 4, 5});
  table_.AddVariable("x2", {1, kNaN, 2, 4, 3});
  table_.SetCaseNames({"B1", "B2", "B3", "B4", "B5"});
  WorkingData data = ReadAll();
  try {
    ScreenWorkingData(
        analysis_, options_, ScreeningKind::kTMPLSPredictors, notes_, data, ScreenedRows::kBatches);
    FAIL() << "batch B2 must stop the screen";
  } catch (const AnalysisStop& stop) {
    EXPECT_EQ(stop.text(),
              "The number of valid variables selected (1) for batch B2 is fewer than the required "
              "minimum number of valid variables (2). The analysis stops.");
  }
}

TEST_F(ScreeningTest, ThreeCasesLeftStopsEvenWhenFourWereSelected) {
  table_.AddVariable("x1", {1, 2, 3, 4, 5});
  table_.AddVariable("x2", {2, 1, 3, kNaN, kNaN});
  options_.auto_remove_cases = true;
  WorkingData data = ReadAll();
  const auto stop = Screen(data);
  ASSERT_TRUE(stop);
  EXPECT_EQ(stop->id(), MessageId::kTooFewCasesLeft);
  EXPECT_EQ(data.removed_case_count, 2);
}

TEST_F(ScreeningTest, ConstantColumnStopsWithTheVarianceMessage) {
  table_.AddVariable("x1", {1, 2, 3, 4, 5});
  table_.AddVariable("x2", {0.1, 0.1, 0.1, 0.1, 0.1});
  WorkingData data = ReadAll();
  const auto stop = Screen(data);
  ASSERT_TRUE(stop);
  EXPECT_EQ(stop->text(),
            "Variable x2 has no variance. To perform meaningful analysis, all variables selected "
            "must have variability.");
}

TEST_F(ScreeningTest, VarianceLostWithTheSparseCasesHasItsOwnMessage) {
  // x3 varies only through case 5, which has one valid variable and is removed first.
  table_.AddVariable("x1", {1, 2, 3, 4, kNaN});
  table_.AddVariable("x2", {2, 1, 4, 3, kNaN});
  table_.AddVariable("x3", {5, 5, 5, 5, 9});
  options_.auto_remove_cases = true;
  WorkingData data = ReadAll();
  const auto stop = Screen(data);
  ASSERT_TRUE(stop);
  EXPECT_EQ(stop->text(),
            "After initial removal of sparse cases, variable x3 has no variance. The analysis "
            "stops.");
}

TEST_F(ScreeningTest, EachKindLogsItsOwnCauseCodes) {
  table_.AddVariable("x1", {1, 2, 3, 4, 5});
  table_.AddVariable("x2", {2, 1, 4, 3, kNaN});
  table_.AddVariable("x3", {2, 2, 2, 2, kNaN});
  table_.AddVariable("x4", {6, 1, 4, 3, kNaN});
  options_.auto_remove_cases = true;
  options_.auto_remove_variables = true;
  // Each kind's five causes run on from its first: case count, case percentage, then the
  // variable count, percentage and variance.
  for (const auto& [kind, first] : {std::pair{ScreeningKind::kPCA, 2},
                                    std::pair{ScreeningKind::kPLSPredictors, 12},
                                    std::pair{ScreeningKind::kPLSDependents, 17},
                                    std::pair{ScreeningKind::kTMPLSPredictors, 22},
                                    std::pair{ScreeningKind::kTMPLSDependents, 27},
                                    std::pair{ScreeningKind::kBMPLSPredictors, 32},
                                    std::pair{ScreeningKind::kBMPLSDependents, 37}}) {
    WorkingData data = ReadAll();
    ASSERT_FALSE(Screen(data, kind));
    ASSERT_EQ(data.removals.cases.size(), 1u);
    EXPECT_EQ(data.removals.cases[0].cause, first);
    ASSERT_EQ(data.removals.variables.size(), 1u);
    EXPECT_EQ(data.removals.variables[0].cause, first + 4);
  }
}

TEST_F(ScreeningTest, TooFewVariablesLeftStopsWithTheBlocksMessage) {
  table_.AddVariable("x1", {1, 2, 3, 4, 5});
  table_.AddVariable("x2", {1, 1, 1, 1, 1});
  table_.AddVariable("x3", {2, 2, 2, 2, 2});
  options_.auto_remove_variables = true;
  for (const auto& [kind, message] :
       {std::pair{ScreeningKind::kPCA, MessageId::kTooFewVariablesLeft},
        std::pair{ScreeningKind::kPLSPredictors, MessageId::kTooFewPredictorsLeft}}) {
    WorkingData data = ReadAll();
    const auto stop = Screen(data, kind);
    ASSERT_TRUE(stop);
    EXPECT_EQ(stop->id(), message);
  }
  // A dependent block fails only when none is left.
  WorkingData dependents = ReadAll();
  EXPECT_FALSE(Screen(dependents, ScreeningKind::kPLSDependents));
  dependents.removed_columns[0] = true;
  EXPECT_THROW(CheckRemainingCounts(ScreeningKind::kPLSDependents, dependents), AnalysisStop);
}

TEST_F(ScreeningTest, ScalesFollowTheModeAndUserValuesCoverEveryDummy) {
  table_.AddVariable("x1", {1, 2, 3, 5});
  table_.AddCategorical("color", {1, 2, 1, 2}, {{1, "red"}, {2, "green"}});
  WorkingData data = ReadAll();
  ASSERT_FALSE(Screen(data));
  ComputeColumnScales(options_, data);
  EXPECT_DOUBLE_EQ(data.scale[0], std::sqrt(8.75 / 3.0));
  EXPECT_DOUBLE_EQ(data.scale[1], std::sqrt(1.0 / 3.0));
  options_.scaling = ScalingMode::DoNotScaleVariables;
  ComputeColumnScales(options_, data);
  EXPECT_EQ(data.scale, (std::vector<double>{1, 1, 1}));
  options_.scaling = ScalingMode::UserDefinedStandardDeviations;
  options_.user_scales = {2.0, 0.5};
  ComputeColumnScales(options_, data);
  EXPECT_EQ(data.scale, (std::vector<double>{2.0, 0.5, 0.5}));

  for (const double bad : {0.0, -1.0, kNaN, HUGE_VAL}) {
    options_.user_scales = {2.0, bad};
    EXPECT_EQ(StopId([&] { ComputeColumnScales(options_, data); }), MessageId::kUserScaleInvalid);
  }
  options_.user_scales = {2.0};
  EXPECT_EQ(StopId([&] { ComputeColumnScales(options_, data); }), MessageId::kUserScaleMissing);
}

TEST(RemovalReport, ListsEachRemovalWithItsCauseText) {
  RecordingHost host;
  RemovalLog log;
  log.variables = {{"x3", 5, 12.5, 20.0}, {"x9", 1, 0.0, 0.0}};
  ReportRemovals(log, host);
  ASSERT_EQ(host.spreadsheets().size(), 1u);
  const Spreadsheet& sheet = host.spreadsheets()[0];
  EXPECT_EQ(sheet.subtitles, (std::vector<std::string>{"Number of variables removed: 2"}));
  ASSERT_EQ(sheet.rows.size(), 2u);
  EXPECT_EQ(sheet.rows[0].label, "1");
  EXPECT_EQ(sheet.rows[0].cells,
            (std::vector<ReportCell>{
                std::string("x3"),
                std::string("The variable has been deleted because the percentage of valid cases "
                            "is fewer than required for the principal component analysis."),
                12.5,
                20.0}));
  EXPECT_EQ(sheet.rows[1].label, "2");
  EXPECT_TRUE(std::holds_alternative<std::monostate>(sheet.rows[1].cells[2]));
  EXPECT_TRUE(std::holds_alternative<std::monostate>(sheet.rows[1].cells[3]));

  RecordingHost cases_only;
  ReportRemovals(RemovalLog{{}, {{"7", 2, 1.0, 2.0}}}, cases_only);
  ASSERT_EQ(cases_only.spreadsheets().size(), 1u);
  EXPECT_EQ(cases_only.spreadsheets()[0].subtitles[0], "Number of cases removed: 1");
}

}  // namespace
}  // namespace mspc
