#include "batch/unfolding.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "batch/batch_reader.hpp"
#include "frame/screening.hpp"
#include "models/missing.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

const double kNaN = kMissingValue;

// A batch table: one row per case with its batch code, time code and process values.
struct CaseRow {
  double batch;
  double time;
  double x1;
  double x2;
};

void AddCases(FakeDataTable& table, const std::vector<CaseRow>& rows, bool with_time = true) {
  std::vector<double> batch, time, x1, x2;
  for (const CaseRow& row : rows) {
    batch.push_back(row.batch);
    time.push_back(row.time);
    x1.push_back(row.x1);
    x2.push_back(row.x2);
  }
  table.AddVariable("batch", batch);
  if (with_time) table.AddVariable("time", time);
  table.AddVariable("x1", x1);
  table.AddVariable("x2", x2);
}

// Expect every cell equal, a missing cell matching a missing one.
void ExpectMatrix(const DMatrix& actual, const std::vector<std::vector<double>>& expected) {
  ASSERT_EQ(actual.rows(), expected.size());
  for (std::size_t row = 0; row < expected.size(); ++row) {
    ASSERT_EQ(actual.cols(), expected[row].size());
    for (std::size_t col = 0; col < expected[row].size(); ++col) {
      const double want = expected[row][col];
      if (std::isnan(want)) {
        EXPECT_TRUE(IsMissing(actual(row, col))) << row << "," << col;
      } else {
        EXPECT_EQ(actual(row, col), want) << row << "," << col;
      }
    }
  }
}

class UnfoldingTest : public ::testing::Test {
 protected:
  UnfoldingTest() {
    request_.batch_variable = "batch";
    request_.time_variable = "time";
    request_.process_variables = {"x1", "x2"};
    request_.min_batches = 2;
  }

  BatchData Prepare() {
    analysis_.InitCommons(host_.Services(&table_, automation_));
    return PrepareBatchData(analysis_, request_);
  }

  // The stop the preparation ends with; fails the test when it succeeds.
  AnalysisStop StopOf() {
    try {
      Prepare();
    } catch (const AnalysisStop& stop) {
      return stop;
    }
    ADD_FAILURE() << "the preparation was expected to stop";
    return AnalysisStop(MessageId::kAnalysisName, "");
  }

  FakeDataTable table_;
  RecordingHost host_;
  CAnalysisSupport analysis_;
  BatchRequest request_;
  bool automation_ = false;
};

TEST_F(UnfoldingTest, BatchRowsAreTimeMajorInCodeOrder) {
  // Batches and times arrive out of order; rows follow the batch codes, time blocks the time
  // codes, whatever the table order.
  AddCases(table_,
           {{30, 2, 7, 70},
            {10, 2, 3, 30},
            {20, 1, 4, 40},
            {10, 1, 1, 10},
            {30, 1, 5, 50},
            {20, 2, kNaN, 60}});
  const BatchData data = Prepare();
  EXPECT_EQ(data.num_batches, 3u);
  EXPECT_EQ(data.num_times, 2u);
  EXPECT_EQ(data.columns_per_time, 2u);
  ExpectMatrix(data.predictors.x, {{1, 10, 3, 30}, {4, 40, kNaN, 60}, {5, 50, 7, 70}});
  EXPECT_EQ(data.predictors.column_names,
            (std::vector<std::string>{"x1 {1}", "x2 {1}", "x1 {2}", "x2 {2}"}));
  EXPECT_EQ(data.predictors.case_names, (std::vector<std::string>{"10", "20", "30"}));
  EXPECT_EQ(data.predictors.column_source, (std::vector<std::size_t>{0, 1, 0, 1}));
  EXPECT_TRUE(data.dependents.x.empty());
  EXPECT_TRUE(host_.messages().empty());
}

TEST_F(UnfoldingTest, ColumnMomentsMatchATwoPassReference) {
  // Values near 1e9 that differ in their last digits: a one-pass sum of squares would lose
  // them; the running recurrence must not.
  const double base = 1e9;
  std::vector<CaseRow> rows;
  const std::vector<double> offsets{0.25, 0.5, 0.125, 0.75, 0.375, kNaN, 1.0};
  for (std::size_t batch = 0; batch < offsets.size(); ++batch) {
    const double offset = offsets[batch];
    rows.push_back({static_cast<double>(batch + 1), 1, base + offset, offset * offset});
    rows.push_back({static_cast<double>(batch + 1), 2, -3.0 * offset, 2.0});
  }
  rows.push_back({8, 1, kNaN, kNaN});
  rows.push_back({8, 2, kNaN, kNaN});
  AddCases(table_, rows);
  const BatchData data = Prepare();
  ASSERT_EQ(data.predictors.x.cols(), 4u);
  for (std::size_t col = 0; col < 4; ++col) {
    double count = 0.0;
    double sum = 0.0;
    for (std::size_t row = 0; row < data.predictors.x.rows(); ++row) {
      const double value = data.predictors.x(row, col);
      if (IsMissing(value)) continue;
      count += 1.0;
      sum += value;
    }
    const double mean = sum / count;
    double squares = 0.0;
    for (std::size_t row = 0; row < data.predictors.x.rows(); ++row) {
      const double value = data.predictors.x(row, col);
      if (!IsMissing(value)) squares += (value - mean) * (value - mean);
    }
    // The running mean is rounded to the spacing of doubles near the mean at every step; the
    // sum of squares may be off by that much per value, not more. (Sums of x^2 near 1e18 would
    // be off by hundreds.)
    const double spacing = std::nextafter(std::abs(mean), HUGE_VAL) - std::abs(mean);
    const double tolerance = count * spacing;
    EXPECT_EQ(data.predictor_moments.count[col], count) << col;
    EXPECT_NEAR(data.predictor_moments.mean[col], mean, tolerance) << col;
    EXPECT_NEAR(data.predictor_moments.squared_deviations[col], squares, tolerance) << col;
    EXPECT_NEAR(data.predictor_moments.StandardDeviation(col) * std::sqrt(count - 1.0),
                std::sqrt(squares),
                tolerance / std::sqrt(squares))
        << col;
  }
  // Column x2 {2} is constant: its sum of squares is exactly zero.
  EXPECT_EQ(data.predictor_moments.squared_deviations[3], 0.0);
}

TEST_F(UnfoldingTest, CaseOrderInsideABatchMattersOnlyWithoutATimeVariable) {
  const std::vector<CaseRow> ordered{
      {1, 1, 1, 2}, {1, 2, 3, 4}, {1, 3, 5, 6}, {2, 1, 7, 8}, {2, 2, 9, 10}, {2, 3, 11, 12}};
  std::vector<CaseRow> swapped = ordered;
  std::swap(swapped[0], swapped[2]);  // batch 1 in time order 3, 2, 1

  for (const bool with_time : {true, false}) {
    FakeDataTable first;
    FakeDataTable second;
    AddCases(first, ordered, with_time);
    AddCases(second, swapped, with_time);
    if (!with_time) request_.time_variable.clear();
    CAnalysisSupport analysis;
    analysis.InitCommons(host_.Services(&first));
    const BatchData from_first = PrepareBatchData(analysis, request_);
    analysis.SetInputTable(&second);
    const BatchData from_second = PrepareBatchData(analysis, request_);
    ExpectMatrix(from_first.predictors.x, {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}});
    if (with_time) {
      ExpectMatrix(from_second.predictors.x, {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}});
    } else {
      // The case order is the time order: batch 1 now runs backwards.
      ExpectMatrix(from_second.predictors.x, {{5, 6, 3, 4, 1, 2}, {7, 8, 9, 10, 11, 12}});
      EXPECT_EQ(from_second.predictors.column_names.front(), "x1 {0}");
    }
  }
}

TEST_F(UnfoldingTest, BatchTimeRowsCarryTheTimeAsDependent) {
  // Five batches of ten intervals: 50 observations; the means are over all of them.
  std::vector<CaseRow> rows;
  for (int batch = 1; batch <= 5; ++batch) {
    for (int time = 0; time < 10; ++time) {
      rows.push_back({static_cast<double>(batch),
                      10.0 * (time + 1),
                      batch * 1.5 + time * time,
                      std::sin(batch + 0.5 * time)});
    }
  }
  AddCases(table_, rows);
  request_.layout = BatchLayout::kBatchTimeRows;
  BatchData data = Prepare();
  ASSERT_EQ(data.predictors.x.rows(), 50u);
  ASSERT_EQ(data.predictors.x.cols(), 2u);
  ASSERT_EQ(data.dependents.x.rows(), 50u);
  double sum_x1 = 0.0;
  for (std::size_t row = 0; row < 50; ++row) {
    const CaseRow& source = rows[row];  // the table is already batch-major in time order
    EXPECT_EQ(data.predictors.x(row, 0), source.x1);
    EXPECT_EQ(data.predictors.x(row, 1), source.x2);
    EXPECT_EQ(data.dependents.x(row, 0), source.time);
    sum_x1 += source.x1;
  }
  EXPECT_EQ(data.predictor_moments.count[0], 50.0);
  EXPECT_NEAR(data.predictor_moments.mean[0], sum_x1 / 50.0, 1e-12);
  EXPECT_NEAR(data.dependent_moments.mean[0], 55.0, 1e-12);
  EXPECT_EQ(data.predictors.case_names[11], "2 {20}");

  // Without a time variable the dependent counts the batch's cases from 0.
  request_.time_variable.clear();
  data = Prepare();
  for (std::size_t row = 0; row < 50; ++row) {
    EXPECT_EQ(data.dependents.x(row, 0), static_cast<double>(row % 10)) << row;
  }
}

TEST_F(UnfoldingTest, DependentsPerTimeOrPerMarkedCase) {
  // Two batches, three times; dependents y1 and y2 recorded at every time.
  AddCases(table_,
           {{1, 1, 1, 1}, {1, 2, 2, 2}, {1, 3, 3, 3}, {2, 1, 4, 4}, {2, 2, 5, 5}, {2, 3, 6, 6}});
  table_.AddVariable("y1", {11, 12, 13, 21, 22, 23});
  table_.AddVariable("y2", {-11, -12, -13, -21, -22, -23});
  table_.AddVariable("mark", {0, 1, 1, 1, 0, 1});
  request_.dependent_variables = {"y1", "y2"};
  BatchData data = Prepare();
  // Columns t × D + d: (time 1: y1, y2), (time 2: y1, y2), (time 3: y1, y2).
  ExpectMatrix(data.dependents.x, {{11, -11, 12, -12, 13, -13}, {21, -21, 22, -22, 23, -23}});
  EXPECT_EQ(data.dependents.column_names[3], "y2 {2}");

  // With an identifier only the marked cases carry dependents, in table order per batch.
  request_.dependent_identifier = "mark";
  request_.dependent_identifier_code = 1.0;
  data = Prepare();
  EXPECT_EQ(data.dependent_slots, 2u);
  ExpectMatrix(data.dependents.x, {{12, -12, 13, -13}, {21, -21, 23, -23}});
  EXPECT_EQ(data.dependents.column_names[2], "y1 {2}");
  // The predictors do not depend on the marks.
  ExpectMatrix(data.predictors.x, {{1, 1, 2, 2, 3, 3}, {4, 4, 5, 5, 6, 6}});
}

TEST_F(UnfoldingTest, CategoricalVariablesGetOneColumnPerCategoryAndTime) {
  table_.AddVariable("batch", {1, 1, 2, 2});
  table_.AddVariable("time", {1, 2, 1, 2});
  table_.AddVariable("x1", {0.5, 1.5, 2.5, 3.5});
  table_.AddCategorical("phase", {1, 3, 3, kNaN}, {{1, "heat"}, {3, "hold"}});
  request_.process_variables = {"phase", "x1"};  // continuous columns come first
  const BatchData data = Prepare();
  EXPECT_EQ(data.predictors.column_names,
            (std::vector<std::string>{"x1 {1}",
                                      "phase: heat {1}",
                                      "phase: hold {1}",
                                      "x1 {2}",
                                      "phase: heat {2}",
                                      "phase: hold {2}"}));
  ExpectMatrix(data.predictors.x, {{0.5, 1, 0, 1.5, 0, 1}, {2.5, 0, 1, 3.5, kNaN, kNaN}});
  EXPECT_EQ(data.predictors.column_source, (std::vector<std::size_t>{1, 0, 0, 1, 0, 0}));
}

TEST_F(UnfoldingTest, AggregatedDataNameTheirColumnsByProcessCode) {
  // Process codes 1..5 over ten times for three batches: J = 5 and 50 columns.
  std::vector<double> batch, time, process, value;
  for (int b = 1; b <= 3; ++b) {
    for (int t = 1; t <= 10; ++t) {
      for (int p = 5; p >= 1; --p) {
        batch.push_back(b);
        time.push_back(t);
        process.push_back(p);
        value.push_back(100.0 * b + 10.0 * t + p);
      }
    }
  }
  table_.AddVariable("batch", batch);
  table_.AddVariable("time", time);
  table_.AddCategorical("tag", process, {{1, "T1"}, {2, "T2"}, {3, "T3"}, {4, "T4"}, {5, "T5"}});
  table_.AddVariable("value", value);
  request_.process_variables.clear();
  request_.stacked = true;
  request_.process_variable = "tag";
  request_.measurement_variable = "value";
  BatchData data = Prepare();
  EXPECT_EQ(data.columns_per_time, 5u);
  ASSERT_EQ(data.predictors.x.cols(), 50u);
  for (std::size_t b = 0; b < 3; ++b) {
    for (std::size_t t = 0; t < 10; ++t) {
      for (std::size_t p = 0; p < 5; ++p) {
        EXPECT_EQ(data.predictors.x(b, t * 5 + p), 100.0 * (b + 1) + 10.0 * (t + 1) + (p + 1));
      }
    }
  }
  EXPECT_EQ(data.predictors.column_names[7], "T3 {2}");

  // The same data one row per batch and time.
  request_.layout = BatchLayout::kBatchTimeRows;
  data = Prepare();
  ASSERT_EQ(data.predictors.x.rows(), 30u);
  EXPECT_EQ(data.predictors.x(12, 3), 200.0 + 30.0 + 4.0);
  EXPECT_EQ(data.dependents.x(12, 0), 3.0);
}

TEST_F(UnfoldingTest, AggregatedDataNeedTheirFourVariables) {
  table_.AddVariable("batch", {1, 1});
  table_.AddVariable("time", {1, 2});
  table_.AddVariable("tag", {1, 1});
  table_.AddVariable("value", {1, 2});
  request_.stacked = true;
  request_.process_variable = "tag";
  request_.measurement_variable = "value";
  EXPECT_EQ(StopOf().text(),
            "Too many variables selected. The total number of variables must be fewer than or "
            "equal to 4.");
  request_.process_variables.clear();
  request_.measurement_variable.clear();
  EXPECT_EQ(StopOf().id(), MessageId::kTooFewVariables);
  request_.measurement_variable = "value";
  request_.time_variable.clear();
  EXPECT_EQ(StopOf().id(), MessageId::kStackedNeedsTimeVariable);
}

TEST_F(UnfoldingTest, SelectionChecksComeBeforeTheTableIsRead) {
  AddCases(table_, {{1, 1, 1, 1}});
  request_.process_variables = {"x1"};
  EXPECT_EQ(StopOf().text(),
            "Too few variables selected. At least 2 variables should be selected to perform the "
            "meaningful analysis.");
  request_.has_predictor_role = true;
  EXPECT_EQ(StopOf().id(), MessageId::kTooFewPredictors);
  request_.process_variables = {"x1", "x2"};
  request_.batch_variable.clear();
  EXPECT_EQ(StopOf().id(), MessageId::kNoBatchVariable);
  request_.batch_variable = "lot";
  EXPECT_EQ(StopOf().id(), MessageId::kVariableNotInTable);
  request_.batch_variable = "batch";
  request_.raw = true;
  request_.num_time_intervals = 1;
  EXPECT_EQ(StopOf().text(), "Number of time intervals cannot be less than 2.");
  EXPECT_TRUE(host_.messages().empty());
}

TEST_F(UnfoldingTest, IgnoredCasesWarnOncePerPass) {
  // Two cases without a time stamp (one empty, one at the missing-data code) and two without a
  // batch code; the warnings are given once each, and the batches stay complete.
  AddCases(table_,
           {{1, 1, 1, 1},
            {1, kNaN, 9, 9},
            {1, 2, 2, 2},
            {2, 1, 3, 3},
            {2, -99, 9, 9},
            {kNaN, 1, 9, 9},
            {2, 2, 4, 4},
            {-1, 2, 9, 9}});
  table_.SetMissingDataCode(1, -99.0);
  // Within 15 units in the last place of the missing-data code is the code.
  table_.SetMissingDataCode(0, std::nextafter(-1.0, 0.0));
  const BatchData data = Prepare();
  ExpectMatrix(data.predictors.x, {{1, 1, 2, 2}, {3, 3, 4, 4}});
  EXPECT_EQ(host_.CountOf(MessageId::kTimeStampMissing), 1);
  EXPECT_EQ(host_.CountOf(MessageId::kBatchCodeMissing), 1);
  ASSERT_EQ(host_.messages().size(), 2u);
  EXPECT_EQ(host_.messages()[1].text,
            "The missing value in the batch variable causes the case be ignored. Please carefully "
            "interpret the analysis results.");
  EXPECT_EQ(host_.messages()[0].kind, MessageKind::kWarning);

  // A second pass warns again, once.
  Prepare();
  EXPECT_EQ(host_.CountOf(MessageId::kTimeStampMissing), 2);
}

TEST_F(UnfoldingTest, ChosenCodesMatchExactlyAndPlaceTolerantly) {
  const double near_two = std::nextafter(2.0, 3.0);
  AddCases(table_,
           {{1, 1, 1, 1},
            {1, 2, 2, 2},
            {1, 3, 9, 9},
            {2, 1, 3, 3},
            {2, near_two, 4, 4},
            {3, 1, 9, 9},
            {3, 2, 9, 9},
            {4, 1, 5, 5},
            {4, 2, 6, 6}});
  // The chosen time list holds 2 and its neighbour, which the list counts as one time; batch 3
  // is not chosen. Nothing is said about the cases left out.
  request_.time_codes = {near_two, 1.0, 2.0};
  request_.batch_codes = {4, 1, 2};
  BatchData data = Prepare();
  EXPECT_EQ(data.num_times, 2u);
  ExpectMatrix(data.predictors.x, {{1, 1, 2, 2}, {3, 3, 4, 4}, {5, 5, 6, 6}});
  EXPECT_TRUE(host_.messages().empty());

  // Without the neighbour in the list, its case is left out by the exact test.
  request_.time_codes = {1.0, 2.0};
  EXPECT_EQ(StopOf().id(), MessageId::kUnequalTimeIntervals);
}

TEST_F(UnfoldingTest, CellsAtTheMissingDataCodeAndUnselectedCasesStayOut) {
  AddCases(table_,
           {{1, 1, 1, 1}, {1, 2, 2, 2}, {2, 1, 3, 3}, {2, 2, 4, 4}, {2, 2, 8, 8}, {3, 1, 7, 7}});
  table_.SetMissingDataCode(2, std::nextafter(4.0, 5.0));
  table_.SetSelected({true, true, true, true, false, true});
  table_.SetWeights({1, 1, 1, 1, 1, 0});
  const BatchData data = Prepare();
  ExpectMatrix(data.predictors.x, {{1, 1, 2, 2}, {3, 3, kNaN, 4}});
  EXPECT_EQ(data.predictor_moments.count[2], 1.0);
}

TEST_F(UnfoldingTest, NonIntegerCategoryCodesSkipTheCaseWithOneWarning) {
  table_.AddVariable("batch", {1, 1, 1, 2, 2, 2});
  table_.AddVariable("time", {1, 2, 2, 1, 1, 2});
  table_.AddVariable("x1", {1, 2, 9, 3, 9, 4});
  table_.AddVariable("phase", {1, 2, 1.5, 1, 2.5, 2});
  request_.process_variables = {"x1", "phase"};
  request_.categorical = {"phase"};
  const BatchData data = Prepare();
  ExpectMatrix(data.predictors.x, {{1, 1, 0, 2, 0, 1}, {3, 1, 0, 4, 0, 1}});
  EXPECT_EQ(host_.CountOf(MessageId::kNonIntegerCategoryCodes), 1);
}

// Each check after the pass, reached from a crafted table, with its message.
TEST_F(UnfoldingTest, TooFewBatches) {
  AddCases(table_, {{1, 1, 1, 1}, {1, 2, 2, 2}, {2, 1, 3, 3}, {2, 2, 4, 4}});
  request_.min_batches = 3;
  EXPECT_EQ(StopOf().text(),
            "The number of batches is fewer than required (3) for the analysis. Please check your "
            "data carefully and try again.");
}

TEST_F(UnfoldingTest, UnequalTimeIntervals) {
  const std::string message =
      "The batch process requires equal number of time intervals for each batch. Non-equal time "
      "intervals have been found and the analysis stops.";
  AddCases(table_, {{1, 1, 1, 1}, {1, 2, 2, 2}, {2, 1, 3, 3}});
  EXPECT_EQ(StopOf().text(), message);

  // Also when the case is lost to a missing time stamp.
  FakeDataTable stamped;
  AddCases(stamped, {{1, 1, 1, 1}, {1, 2, 2, 2}, {2, 1, 3, 3}, {2, kNaN, 4, 4}});
  analysis_.InitCommons(host_.Services(&stamped));
  const auto stop = StopId([&] { PrepareBatchData(analysis_, request_); });
  EXPECT_EQ(stop, MessageId::kUnequalTimeIntervals);
  EXPECT_EQ(host_.CountOf(MessageId::kTimeStampMissing), 1);
}

TEST_F(UnfoldingTest, TimeCodesMustMatchTheIntervals) {
  const std::string message =
      "Please check the time codes. If the data is in raw form, please use the data in raw form "
      "option for pre processing the raw data.";
  // Equal counts, but the batches cover different times.
  AddCases(table_, {{1, 1, 1, 1}, {1, 2, 2, 2}, {2, 2, 3, 3}, {2, 3, 4, 4}});
  EXPECT_EQ(StopOf().text(), message);

  // A repeated time hiding a missing one.
  FakeDataTable repeated;
  AddCases(repeated, {{1, 1, 1, 1}, {1, 2, 2, 2}, {2, 1, 3, 3}, {2, 1, 4, 4}});
  table_ = repeated;
  EXPECT_EQ(StopOf().text(), message);

  // One row per batch and time stops at once on the repeated case.
  request_.layout = BatchLayout::kBatchTimeRows;
  EXPECT_EQ(StopOf().text(), "Some repeated cases");
}

TEST_F(UnfoldingTest, UnequalDependentValues) {
  AddCases(table_,
           {{1, 1, 1, 1}, {1, 2, 2, 2}, {1, 3, 5, 5}, {2, 1, 3, 3}, {2, 2, 4, 4}, {2, 3, 6, 6}});
  table_.AddVariable("y", {1, 2, 3, 4, 5, 6});
  request_.dependent_variables = {"y"};
  // Marked cases per batch: 3 and 2; 2 and 1 (one value per batch expected); 2 and none.
  const std::vector<std::pair<std::vector<double>, const char*>> cases = {
      {{1, 1, 1, 1, 1, 0},
       "The batch process requires equal number of dependent values for each batch. "
       "Non-equal number of dependent values have been found and the analysis stops."},
      {{1, 1, 0, 1, 0, 0},
       "Multiple dependent values have been found in the same batch. The analysis doesn't "
       "support this data."},
      {{1, 1, 0, 0, 0, 0},
       "Dependent identifier is not matching the batch definition. Please check your data "
       "carefully."}};
  for (const auto& [marks, message] : cases) {
    const std::string mark = "mark" + std::to_string(table_.NumVariables());
    table_.AddVariable(mark, marks);
    request_.dependent_identifier = mark;
    EXPECT_EQ(StopOf().text(), message);
  }
}

TEST_F(UnfoldingTest, CategoricalDependentsMustBeWholeNumbers) {
  AddCases(table_, {{1, 1, 1, 1}, {1, 2, 2, 2}, {2, 1, 3, 3}, {2, 2, 4, 4}});
  table_.AddVariable("grade", {1, 2, std::nextafter(2.0, 3.0), 1});
  request_.dependent_variables = {"grade"};
  request_.categorical = {"grade"};
  const BatchData data = Prepare();
  ExpectMatrix(data.dependents.x, {{1, 0, 0, 1}, {0, 1, 1, 0}});

  FakeDataTable fractional;
  AddCases(fractional, {{1, 1, 1, 1}, {1, 2, 2, 2}, {2, 1, 3, 3}, {2, 2, 4, 4}});
  fractional.AddVariable("grade", {1, 2, 2.5, 1});
  table_ = fractional;
  EXPECT_EQ(StopOf().text(),
            "Non-integer values are not allowed for the categorical dependent variables in "
            "Time-wise Multi-way Partial Least Squares (TMPLS).");
}

TEST_F(UnfoldingTest, BatchTimeRowsNeedTimeVarianceAndTimesInRange) {
  request_.layout = BatchLayout::kBatchTimeRows;
  // One case per batch: every row has the same time.
  AddCases(table_, {{1, 5, 1, 1}, {2, 5, 2, 3}, {3, 5, 3, 2}});
  EXPECT_EQ(StopOf().text(),
            "There is no time variance for batches. In order to fit Batch-wise Multi-way Partial "
            "Least Squares model, you need to have time variance for all batches.");

  FakeDataTable late;
  AddCases(late, {{1, 3200, 1, 1}, {1, 3201, 2, 2}, {2, 3200, 3, 3}, {2, 3201, 4, 4}});
  table_ = late;
  EXPECT_EQ(StopOf().id(), MessageId::kDependentTimeCodeRange);
  // The time-wise layouts do not take the time as a dependent.
  request_.layout = BatchLayout::kBatchRows;
  EXPECT_NO_THROW(Prepare());
}

TEST_F(UnfoldingTest, MemoryLimitIsCheckedBeforeAllocating) {
  AddCases(table_, {{1, 1, 1, 1}, {2, 1, 2, 2}});
  request_.apply_memory_limit = true;
  request_.memory_limit_mb = 0;
  EXPECT_EQ(StopOf().id(), MessageId::kDataSizeExceedsLimit);
}

TEST_F(UnfoldingTest, ArraysOfTheWrongSizeGiveStatusThree) {
  AddCases(table_, {{1, 1, 1, 1}, {1, 2, 2, 2}, {2, 1, 3, 3}, {2, 2, 4, 4}});
  analysis_.InitCommons(host_.Services(&table_));
  const BatchPlan plan = PlanBatches(analysis_, table_, request_);
  std::vector<double> x(8, BatchMissingValue());
  RunningMoments moments(4);
  std::vector<int> counters(2, 0);
  std::vector<int> dependent_counters(2, 0);
  UnfoldArrays arrays;
  arrays.x = x;
  arrays.x_moments = {moments.count, moments.mean, moments.squared_deviations};
  arrays.batch_counters = counters;
  arrays.dependent_counters = dependent_counters;
  EXPECT_EQ(Unfold(plan, table_, arrays).status, UnfoldStatus::kOk);
  EXPECT_EQ(x, (std::vector<double>{1, 1, 2, 2, 3, 3, 4, 4}));
  EXPECT_EQ(counters, (std::vector<int>{2, 2}));

  arrays.x_moments.mean = {};
  EXPECT_EQ(Unfold(plan, table_, arrays).status, UnfoldStatus::kArrayAbsent);
  arrays.x_moments.mean = moments.mean;
  arrays.batch_counters = {};
  EXPECT_EQ(Unfold(plan, table_, arrays).status, UnfoldStatus::kArrayAbsent);
}

// Raw data: every batch of unequal length is reduced to the same number of intervals.
class RawDataTest : public UnfoldingTest {
 protected:
  RawDataTest() {
    request_.raw = true;
    request_.num_time_intervals = 3;
  }
};

TEST_F(RawDataTest, EveryBatchGetsTheRequestedIntervals) {
  // Batch 1 spans 0..6 with seven cases, batch 2 spans 10..19 with four, batch 3 0..1.5 with
  // six; the intervals are a third of each batch's own span.
  AddCases(table_,
           {{1, 0, 0, 0},
            {1, 1, 1, 1},
            {1, 2, 2, 2},
            {1, 3, 3, 3},
            {1, 4, 4, 4},
            {1, 5, 5, 5},
            {1, 6, 6, 6},
            {2, 19, 40, 4},
            {2, 10, 10, 1},
            {2, 13, 20, 2},
            {2, 16, 30, 3},
            {3, 0, 1, 1},
            {3, 0.3, 2, 2},
            {3, 0.6, 3, 3},
            {3, 0.9, 4, kNaN},
            {3, 1.2, 5, 5},
            {3, 1.5, 6, 6}});
  const BatchData data = Prepare();
  EXPECT_EQ(data.num_times, 3u);
  EXPECT_EQ(data.time_labels, (std::vector<std::string>{"1", "2", "3"}));
  EXPECT_EQ(data.cases_per_batch, (std::vector<int>{3, 3, 3}));
  // Batch 1: [0,2) holds 0, 1; [2,4) holds 2, 3; [4,6] holds 4, 5, 6.
  // Batch 2: [10,13) holds 10; [13,16) holds 13; [16,19] holds 16, 19.
  // Batch 3: [0,0.5) holds 0, 0.3; [0.5,1) holds 0.6, 0.9; [1,1.5] holds 1.2, 1.5.
  ExpectMatrix(data.predictors.x,
               {{0.5, 0.5, 2.5, 2.5, 5, 5}, {10, 1, 20, 2, 35, 3.5}, {1.5, 1.5, 3.5, 3, 5.5, 5.5}});
}

TEST_F(RawDataTest, WithoutATimeVariableTheCasePositionIsTheRawTime) {
  AddCases(table_,
           {{1, 0, 1, 1},
            {1, 0, 2, 2},
            {1, 0, 3, 3},
            {2, 0, 4, 4},
            {2, 0, 5, 5},
            {2, 0, 6, 6},
            {2, 0, 7, 7}},
           false);
  request_.time_variable.clear();
  request_.num_time_intervals = 2;
  const BatchData data = Prepare();
  // Batch 1 positions 0, 1, 2: [0,1) and [1,2]; batch 2 positions 0..3: [0,1.5) and [1.5,3].
  ExpectMatrix(data.predictors.x, {{1, 1, 2.5, 2.5}, {4.5, 4.5, 6.5, 6.5}});
}

TEST_F(RawDataTest, DependentsAreReducedWithTheTimesOrFillTheMarkedSlots) {
  // Two batches of four cases over times 0..3, two intervals each.
  AddCases(table_,
           {{1, 0, 1, 1},
            {1, 1, 2, 2},
            {1, 2, 3, 3},
            {1, 3, 4, 4},
            {2, 0, 5, 5},
            {2, 1, 6, 6},
            {2, 2, 7, 7},
            {2, 3, 8, 8}});
  table_.AddVariable("y", {10, 20, 30, 40, 50, 60, 70, 80});
  table_.AddVariable("mark", {0, 0, 0, 1, 1, 0, 0, 0});
  request_.num_time_intervals = 2;
  request_.dependent_variables = {"y"};
  BatchData data = Prepare();
  ExpectMatrix(data.dependents.x, {{15, 35}, {55, 75}});
  EXPECT_EQ(data.dependents.column_names, (std::vector<std::string>{"y {1}", "y {2}"}));

  // Marked cases are not reduced: each fills the next slot of its batch.
  request_.dependent_identifier = "mark";
  data = Prepare();
  ExpectMatrix(data.dependents.x, {{40}, {50}});
  ExpectMatrix(data.predictors.x, {{1.5, 1.5, 3.5, 3.5}, {5.5, 5.5, 7.5, 7.5}});
}

TEST_F(RawDataTest, AggregatedCasesAreReducedPerProcessVariable) {
  // Each case carries one variable; batch 1 has no "b" in its second interval.
  table_.AddVariable("batch", {1, 1, 1, 1, 1, 2, 2, 2, 2});
  table_.AddVariable("time", {0, 1, 2, 3, 0, 0, 3, 0, 3});
  table_.AddCategorical("tag", {1, 1, 1, 1, 2, 1, 1, 2, 2}, {{1, "a"}, {2, "b"}});
  table_.AddVariable("value", {1, 2, 3, 4, 10, 5, 6, 20, 30});
  request_.process_variables.clear();
  request_.stacked = true;
  request_.process_variable = "tag";
  request_.measurement_variable = "value";
  request_.num_time_intervals = 2;
  const BatchData data = Prepare();
  // Batch 1 spans 0..3: [0, 1.5) and [1.5, 3]; batch 2 likewise.
  ExpectMatrix(data.predictors.x, {{1.5, 10, 3.5, kNaN}, {5, 20, 6, 30}});
}

TEST_F(RawDataTest, ABatchShorterThanTheIntervalsStopsWithTheRawWording) {
  AddCases(table_, {{1, 0, 1, 1}, {1, 1, 2, 2}, {1, 2, 3, 3}, {2, 0, 4, 4}, {2, 5, 5, 5}});
  const std::string check =
      "The Data-in-raw-form option was set, and after data pre-processing, the batch process "
      "requires equal number of time intervals for each batch. Non-equal time intervals have "
      "been found and the analysis stops.";
  automation_ = true;
  AnalysisStop stop = StopOf();
  EXPECT_EQ(stop.id(), MessageId::kUnequalTimeIntervals);
  EXPECT_EQ(stop.text(), check);
  EXPECT_TRUE(host_.spreadsheets().empty());

  // Interactively the message offers the pre-processed data, which go to the workbook.
  automation_ = false;
  stop = StopOf();
  EXPECT_EQ(stop.text(), check + " Click OK to see the pre-processed data, or Cancel.");
  ASSERT_EQ(host_.spreadsheets().size(), 1u);
  const Spreadsheet& sheet = host_.spreadsheets().front();
  EXPECT_EQ(sheet.title, "Pre-processed data");
  EXPECT_EQ(sheet.columns, (std::vector<std::string>{"Time", "x1", "x2"}));
  ASSERT_EQ(sheet.rows.size(), 6u);
  EXPECT_EQ(sheet.rows[4].label, "2");
  EXPECT_EQ(std::get<std::string>(sheet.rows[4].cells[0]), "2");
  EXPECT_TRUE(std::holds_alternative<std::monostate>(sheet.rows[4].cells[1]));
  EXPECT_EQ(std::get<double>(sheet.rows[5].cells[1]), 5.0);
}

TEST_F(RawDataTest, ScreeningStopsTakeTheRawWordingToo) {
  // x2 is constant in the last interval of every batch.
  AddCases(table_,
           {{1, 0, 1, 1},
            {1, 1, 2, 2},
            {1, 2, 3, 7},
            {2, 0, 4, 3},
            {2, 1, 5, 1},
            {2, 2, 7, 7},
            {3, 0, 2, 2},
            {3, 1, 1, 1},
            {3, 2, 8, 7},
            {4, 0, 4, 4},
            {4, 1, 3, 3},
            {4, 2, 9, 7}});
  automation_ = true;
  BatchData data = Prepare();
  RemovalNotes notes;
  try {
    ScreenBatchBlock(analysis_, {}, ScreeningKind::kPCA, notes, data, data.predictors);
    FAIL() << "the constant column must stop the screen";
  } catch (const AnalysisStop& stop) {
    EXPECT_EQ(stop.id(), MessageId::kVariableNoVariance);
    EXPECT_EQ(stop.text(),
              "The Data-in-raw-form option was set, and after data pre-processing, variable x2 "
              "{3} has no variance. To perform meaningful analysis, all variables selected must "
              "have variability.");
  }
}

TEST_F(UnfoldingTest, ScreeningNamesBatchesAndVariablesAtTimes) {
  // Batch 20 has one valid variable of two; x1 at time 2 has no variance over the others.
  AddCases(table_,
           {{10, 1, 1, 1},
            {10, 2, 5, 2},
            {20, 1, kNaN, 3},
            {20, 2, kNaN, 4},
            {30, 1, 2, 4},
            {30, 2, 5, 6},
            {40, 1, 3, 9},
            {40, 2, 5, 3},
            {50, 1, 4, 1},
            {50, 2, 5, 1}});
  BatchData data = Prepare();
  RemovalNotes notes;
  ScreeningOptions options;
  const auto screen = [&] {
    BatchData copy = data;
    ScreenBatchBlock(analysis_, options, ScreeningKind::kPCA, notes, copy, copy.predictors);
    return copy;
  };
  try {
    screen();
    FAIL() << "batch 20 must stop the screen";
  } catch (const AnalysisStop& stop) {
    EXPECT_EQ(stop.text(),
              "The number of valid variables selected (1) for batch 20 is fewer than the required "
              "minimum number of valid variables (2). The analysis stops.");
  }
  options.auto_remove_cases = true;
  try {
    screen();
    FAIL() << "x1 {2} must stop the screen";
  } catch (const AnalysisStop& stop) {
    EXPECT_EQ(stop.text(),
              "Variable x1 {2} has no variance. To perform meaningful analysis, all variables "
              "selected must have variability.");
  }
  // With both removals the batch and the column go, each in the removal report, and the
  // columns left are scaled by their deviations over the batches left.
  options.auto_remove_variables = true;
  const BatchData screened = screen();
  EXPECT_EQ(screened.predictors.removed_cases,
            (std::vector<bool>{false, true, false, false, false}));
  EXPECT_EQ(screened.predictors.removed_columns, (std::vector<bool>{false, false, true, false}));
  ASSERT_EQ(host_.spreadsheets().size(), 2u);
  EXPECT_EQ(std::get<std::string>(host_.spreadsheets()[0].rows[0].cells[0]), "x1 {2}");
  EXPECT_EQ(std::get<std::string>(host_.spreadsheets()[1].rows[0].cells[0]), "20");
  EXPECT_DOUBLE_EQ(screened.predictors.scale[0], std::sqrt(5.0 / 3.0));  // 1, 2, 3, 4
}

TEST(RawDataStopText, KeepsTheIdAndLowersOnlyAWordCapital) {
  const AnalysisStop plain(MessageId::kRepeatedCases, "Some repeated cases");
  EXPECT_EQ(RawDataStop(plain, false).text(),
            "The Data-in-raw-form option was set, and after data pre-processing, some repeated "
            "cases");
  EXPECT_EQ(RawDataStop(plain, false).id(), MessageId::kRepeatedCases);
  const AnalysisStop acronym(MessageId::kVariableNoVariance, "SPE has no variance.");
  EXPECT_EQ(RawDataStop(acronym, true).text(),
            "The Data-in-raw-form option was set, and after data pre-processing, SPE has no "
            "variance. Click OK to see the pre-processed data, or Cancel.");
}

}  // namespace
}  // namespace mspc
