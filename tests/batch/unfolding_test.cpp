#include "batch/unfolding.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "batch/batch_reader.hpp"
#include "batch/batch_test_support.hpp"
#include "frame/screening.hpp"
#include "models/missing.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

using testing::AddColumns;
using testing::StopFrom;

const double kNaN = kMissingValue;
const std::string kCases = "batch time x1 x2";

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

// A table, a host and a request for batch, time, x1 and x2 from at least two batches.
struct Unfolder {
  Unfolder() {
    request_.batch_variable = "batch";
    request_.time_variable = "time";
    request_.process_variables = {"x1", "x2"};
    request_.min_batches = 2;
  }

  BatchData Prepare() {
    analysis_.InitCommons(host_.Services(&table_, automation_));
    return PrepareBatchData(analysis_, request_);
  }

  // The stop the preparation ends with; throws (failing the test) when it succeeds.
  AnalysisStop StopOf() {
    return StopFrom([&] { Prepare(); }).value();
  }

  FakeDataTable table_;
  RecordingHost host_;
  CAnalysisSupport analysis_;
  BatchRequest request_;
  bool automation_ = false;
};

class UnfoldingTest : public ::testing::Test, public Unfolder {};

TEST_F(UnfoldingTest, BatchRowsAreTimeMajorInCodeOrder) {
  // Batches and times arrive out of order; rows follow the batch codes, time blocks the time
  // codes, whatever the table order.
  AddColumns(table_, kCases, "30 2 7 70; 10 2 3 30; 20 1 4 40; 10 1 1 10; 30 1 5 50; 20 2 . 60");
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
  // them; the running recurrence must not. Batch 8 is empty.
  const std::vector<double> offsets{0.25, 0.5, 0.125, 0.75, 0.375, kNaN, 1.0, kNaN};
  std::vector<double> batch, time, x1, x2;
  for (std::size_t b = 0; b < offsets.size(); ++b) {
    const double offset = offsets[b];
    batch.insert(batch.end(), 2, static_cast<double>(b + 1));
    time.insert(time.end(), {1, 2});
    x1.insert(x1.end(), {1e9 + offset, -3.0 * offset});
    x2.insert(x2.end(), {offset * offset, b == 7 ? kNaN : 2.0});
  }
  table_.AddVariable("batch", batch);
  table_.AddVariable("time", time);
  table_.AddVariable("x1", x1);
  table_.AddVariable("x2", x2);
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
    // sum of squares may be off by that much per value, not more (sums of x^2 near 1e18 would
    // be off by hundreds).
    const double tolerance = count * (std::nextafter(std::abs(mean), HUGE_VAL) - std::abs(mean));
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
  // The second table has batch 1 in time order 3, 2, 1.
  const std::string batch_two = "2 1 7 8; 2 2 9 10; 2 3 11 12";
  const std::string ordered = "1 1 1 2; 1 2 3 4; 1 3 5 6;" + batch_two;
  const std::string swapped = "1 3 5 6; 1 2 3 4; 1 1 1 2;" + batch_two;
  for (const std::string& names : {kCases, std::string("batch - x1 x2")}) {
    FakeDataTable first;
    FakeDataTable second;
    AddColumns(first, names, ordered);
    AddColumns(second, names, swapped);
    const bool with_time = names == kCases;
    if (!with_time) request_.time_variable.clear();
    analysis_.InitCommons(host_.Services(&first));
    ExpectMatrix(PrepareBatchData(analysis_, request_).predictors.x,
                 {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}});
    analysis_.SetInputTable(&second);
    const BatchData from_second = PrepareBatchData(analysis_, request_);
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
  std::vector<double> batch, time, x1, x2;
  for (int b = 1; b <= 5; ++b) {
    for (int t = 0; t < 10; ++t) {
      batch.push_back(b);
      time.push_back(10.0 * (t + 1));
      x1.push_back(b * 1.5 + t * t);
      x2.push_back(std::sin(b + 0.5 * t));
    }
  }
  table_.AddVariable("batch", batch);
  table_.AddVariable("time", time);
  table_.AddVariable("x1", x1);
  table_.AddVariable("x2", x2);
  request_.layout = BatchLayout::kBatchTimeRows;
  BatchData data = Prepare();
  ASSERT_EQ(data.predictors.x.rows(), 50u);
  ASSERT_EQ(data.predictors.x.cols(), 2u);
  ASSERT_EQ(data.dependents.x.rows(), 50u);
  double sum_x1 = 0.0;
  for (std::size_t row = 0; row < 50; ++row) {  // the table is batch-major in time order
    EXPECT_EQ(data.predictors.x(row, 0), x1[row]);
    EXPECT_EQ(data.predictors.x(row, 1), x2[row]);
    EXPECT_EQ(data.dependents.x(row, 0), time[row]);
    sum_x1 += x1[row];
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
  AddColumns(table_,
             kCases + " y1 y2 mark",
             "1 1 1 1 11 -11 0; 1 2 2 2 12 -12 1; 1 3 3 3 13 -13 1;"
             "2 1 4 4 21 -21 1; 2 2 5 5 22 -22 0; 2 3 6 6 23 -23 1");
  request_.dependent_variables = {"y1", "y2"};
  BatchData data = Prepare();
  // Columns t × D + d: (time 1: y1, y2), (time 2: y1, y2), (time 3: y1, y2).
  ExpectMatrix(data.dependents.x, {{11, -11, 12, -12, 13, -13}, {21, -21, 22, -22, 23, -23}});
  EXPECT_EQ(data.dependents.column_names[3], "y2 {2}");

  // With an identifier only the marked cases carry dependents, in table order per batch.
  request_.dependent_identifier = "mark";
  data = Prepare();
  EXPECT_EQ(data.dependent_slots, 2u);
  ExpectMatrix(data.dependents.x, {{12, -12, 13, -13}, {21, -21, 23, -23}});
  EXPECT_EQ(data.dependents.column_names[2], "y1 {2}");
  // The predictors do not depend on the marks.
  ExpectMatrix(data.predictors.x, {{1, 1, 2, 2, 3, 3}, {4, 4, 5, 5, 6, 6}});
}

TEST_F(UnfoldingTest, CategoricalVariablesGetOneColumnPerCategoryAndTime) {
  AddColumns(table_, "batch time x1", "1 1 0.5; 1 2 1.5; 2 1 2.5; 2 2 3.5");
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

void RequestAggregated(BatchRequest& request) {
  request.process_variables.clear();
  request.stacked = true;
  request.process_variable = "tag";
  request.measurement_variable = "value";
}

TEST_F(UnfoldingTest, AggregatedDataNameTheirColumnsByProcessCode) {
  // Process codes 5..1 over ten times for three batches: J = 5 and 50 columns.
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
  RequestAggregated(request_);
  BatchData data = Prepare();
  EXPECT_EQ(data.columns_per_time, 5u);
  ASSERT_EQ(data.predictors.x.cols(), 50u);
  for (std::size_t b = 0; b < 3; ++b) {
    for (std::size_t c = 0; c < 50; ++c) {
      EXPECT_EQ(data.predictors.x(b, c), 100.0 * (b + 1) + 10.0 * (c / 5 + 1) + (c % 5 + 1));
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

// The stop a fresh preparation of `rows` (under `names`) with `request` ends with, if any; the
// messages shown before it go to `shown`.
std::optional<MessageId> StopFor(const std::string& rows,
                                 const BatchRequest& request,
                                 const std::string& names = kCases,
                                 std::vector<RecordedMessage>* shown = nullptr) {
  Unfolder unfolder;
  AddColumns(unfolder.table_, names, rows);
  unfolder.request_ = request;
  const auto stop = StopId([&] { unfolder.Prepare(); });
  if (shown != nullptr) *shown = unfolder.host_.messages();
  return stop;
}

TEST_F(UnfoldingTest, AggregatedDataNeedTheirFourVariables) {
  AddColumns(table_, "batch time tag value", "1 1 1 1; 1 2 1 2");
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
  AddColumns(table_, kCases, "1 1 1 1");
  request_.process_variables = {"x1"};
  EXPECT_EQ(StopOf().id(), MessageId::kTooFewVariables);
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
  EXPECT_EQ(StopOf().id(), MessageId::kTooFewTimeIntervals);
  EXPECT_TRUE(host_.messages().empty());
}

// Each check after the pass, reached from a crafted table.
TEST_F(UnfoldingTest, ChecksOfTheBatchesAndTheirTimes) {
  const std::string two_by_two = "1 1 1 1; 1 2 2 2; 2 1 3 3; 2 2 4 4";
  request_.min_batches = 3;
  AddColumns(table_, kCases, two_by_two);
  EXPECT_EQ(StopOf().text(),
            "The number of batches is fewer than required (3) for the analysis. Please check your "
            "data carefully and try again.");
  request_.min_batches = 2;
  EXPECT_EQ(StopFor("1 1 1 1; 1 2 2 2; 2 1 3 3", request_), MessageId::kUnequalTimeIntervals);
  // Also when the case is lost to a missing time stamp, which is warned of.
  std::vector<RecordedMessage> shown;
  EXPECT_EQ(StopFor("1 1 1 1; 1 2 2 2; 2 1 3 3; 2 . 4 4", request_, kCases, &shown),
            MessageId::kUnequalTimeIntervals);
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0].id, MessageId::kTimeStampMissing);
  // Equal counts over different times, and a repeated time hiding a missing one.
  EXPECT_EQ(StopFor("1 1 1 1; 1 2 2 2; 2 2 3 3; 2 3 4 4", request_), MessageId::kCheckTimeCodes);
  const std::string repeated = "1 1 1 1; 1 2 2 2; 2 1 3 3; 2 1 4 4";
  EXPECT_EQ(StopFor(repeated, request_), MessageId::kCheckTimeCodes);
  // One row per batch and time stops at once on the repeated case, on a time without variance
  // and on a time the dependent cannot take; the time-wise layouts do not take the time.
  const std::string late = "1 3200 1 1; 1 3201 2 2; 2 3200 3 3; 2 3201 4 4";
  EXPECT_EQ(StopFor(late, request_), std::nullopt);
  request_.layout = BatchLayout::kBatchTimeRows;
  EXPECT_EQ(StopFor(repeated, request_), MessageId::kRepeatedCases);
  EXPECT_EQ(StopFor("1 5 1 1; 2 5 2 3; 3 5 3 2", request_), MessageId::kNoTimeVariance);
  EXPECT_EQ(StopFor(late, request_), MessageId::kDependentTimeCodeRange);
  // The memory limit is checked before allocating.
  request_.layout = BatchLayout::kBatchRows;
  request_.apply_memory_limit = true;
  EXPECT_EQ(StopFor("1 1 1 1; 2 1 2 2", request_), MessageId::kDataSizeExceedsLimit);
}

TEST_F(UnfoldingTest, MarkedDependentsMustFillOneSlotPerBatchAndCategoriesBeWhole) {
  request_.dependent_variables = {"y"};
  request_.dependent_identifier = "mark";
  // Marked cases per batch: 3 and 2; 2 and 1 (one value per batch expected); 2 and none.
  const auto stop = [&](const char* marks) {
    std::string rows;
    const char* six[] = {
        "1 1 1 1 1 ", "1 2 2 2 2 ", "1 3 5 5 3 ", "2 1 3 3 4 ", "2 2 4 4 5 ", "2 3 6 6 6 "};
    for (int k = 0; k < 6; ++k) rows += std::string(six[k]) + marks[2 * k] + ";";
    return StopFor(rows, request_, kCases + " y mark");
  };
  EXPECT_EQ(stop("1 1 1 1 1 0"), MessageId::kUnequalDependentValues);
  EXPECT_EQ(stop("1 1 0 1 0 0"), MessageId::kMultipleDependentValues);
  EXPECT_EQ(stop("1 1 0 0 0 0"), MessageId::kDependentIdentifierNotMatching);

  // Categorical dependents take codes within the tolerance and stop on fractions.
  request_.dependent_identifier.clear();
  request_.dependent_variables = {"grade"};
  request_.categorical = {"grade"};
  AddColumns(table_, kCases, "1 1 1 1; 1 2 2 2; 2 1 3 3; 2 2 4 4");
  table_.AddVariable("grade", {1, 2, std::nextafter(2.0, 3.0), 1});
  ExpectMatrix(Prepare().dependents.x, {{1, 0, 0, 1}, {0, 1, 1, 0}});
  EXPECT_EQ(StopFor("1 1 1 1 1; 1 2 2 2 2; 2 1 3 3 2.5; 2 2 4 4 1", request_, kCases + " grade"),
            MessageId::kCategoricalDependentNotInteger);
}

TEST_F(UnfoldingTest, IgnoredCasesWarnOncePerPass) {
  // Two cases without a time stamp (one empty, one at the missing-data code) and two without a
  // batch code; the warnings are given once each, and the batches stay complete.
  AddColumns(
      table_, kCases, "1 1 1 1; 1 . 9 9; 1 2 2 2; 2 1 3 3; 2 -99 9 9; . 1 9 9; 2 2 4 4; -1 2 9 9");
  table_.SetMissingDataCode(1, -99.0);
  // Within 15 units in the last place of the missing-data code is the code.
  table_.SetMissingDataCode(0, std::nextafter(-1.0, 0.0));
  const BatchData data = Prepare();
  ExpectMatrix(data.predictors.x, {{1, 1, 2, 2}, {3, 3, 4, 4}});
  EXPECT_EQ(host_.CountOf(MessageId::kTimeStampMissing), 1);
  EXPECT_EQ(host_.CountOf(MessageId::kBatchCodeMissing), 1);
  ASSERT_EQ(host_.messages().size(), 2u);
  EXPECT_EQ(host_.messages()[0].kind, MessageKind::kWarning);

  // A second pass warns again, once.
  Prepare();
  EXPECT_EQ(host_.CountOf(MessageId::kTimeStampMissing), 2);
}

TEST_F(UnfoldingTest, ChosenCodesMatchExactlyAndPlaceTolerantly) {
  const double near_two = std::nextafter(2.0, 3.0);
  AddColumns(table_,
             "batch - x1 x2",
             "1 1 1 1; 1 2 2 2; 1 3 9 9; 2 1 3 3; 2 2 4 4;"
             "3 1 9 9; 3 2 9 9; 4 1 5 5; 4 2 6 6");
  table_.AddVariable("time", {1, 2, 3, 1, near_two, 1, 2, 1, 2});
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
  AddColumns(table_, kCases, "1 1 1 1; 1 2 2 2; 2 1 3 3; 2 2 4 4; 2 2 8 8; 3 1 7 7");
  table_.SetMissingDataCode(2, std::nextafter(4.0, 5.0));
  table_.SetSelected({true, true, true, true, false, true});
  table_.SetWeights({1, 1, 1, 1, 1, 0});
  const BatchData data = Prepare();
  ExpectMatrix(data.predictors.x, {{1, 1, 2, 2}, {3, 3, kNaN, 4}});
  EXPECT_EQ(data.predictor_moments.count[2], 1.0);
}

TEST_F(UnfoldingTest, NonIntegerCategoryCodesSkipTheCaseWithOneWarning) {
  AddColumns(
      table_, "batch time x1 phase", "1 1 1 1; 1 2 2 2; 1 2 9 1.5; 2 1 3 1; 2 1 9 2.5; 2 2 4 2");
  request_.process_variables = {"x1", "phase"};
  request_.categorical = {"phase"};
  const BatchData data = Prepare();
  ExpectMatrix(data.predictors.x, {{1, 1, 0, 2, 0, 1}, {3, 1, 0, 4, 0, 1}});
  EXPECT_EQ(host_.CountOf(MessageId::kNonIntegerCategoryCodes), 1);
}

TEST_F(UnfoldingTest, ArraysOfTheWrongSizeGiveStatusThree) {
  AddColumns(table_, kCases, "1 1 1 1; 1 2 2 2; 2 1 3 3; 2 2 4 4");
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
  AddColumns(table_,
             kCases,
             "1 0 0 0; 1 1 1 1; 1 2 2 2; 1 3 3 3; 1 4 4 4; 1 5 5 5; 1 6 6 6;"
             "2 19 40 4; 2 10 10 1; 2 13 20 2; 2 16 30 3;"
             "3 0 1 1; 3 0.3 2 2; 3 0.6 3 3; 3 0.9 4 .; 3 1.2 5 5; 3 1.5 6 6");
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
  AddColumns(table_, "batch x1 x2", "1 1 1; 1 2 2; 1 3 3; 2 4 4; 2 5 5; 2 6 6; 2 7 7");
  request_.time_variable.clear();
  request_.num_time_intervals = 2;
  // Batch 1 positions 0, 1, 2: [0,1) and [1,2]; batch 2 positions 0..3: [0,1.5) and [1.5,3].
  ExpectMatrix(Prepare().predictors.x, {{1, 1, 2.5, 2.5}, {4.5, 4.5, 6.5, 6.5}});
}

TEST_F(RawDataTest, DependentsAreReducedWithTheTimesOrFillTheMarkedSlots) {
  // Two batches of four cases over times 0..3, two intervals each.
  AddColumns(table_,
             kCases + " y mark",
             "1 0 1 1 10 0; 1 1 2 2 20 0; 1 2 3 3 30 0; 1 3 4 4 40 1;"
             "2 0 5 5 50 1; 2 1 6 6 60 0; 2 2 7 7 70 0; 2 3 8 8 80 0");
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
  AddColumns(table_, "batch time", "1 0; 1 1; 1 2; 1 3; 1 0; 2 0; 2 3; 2 0; 2 3");
  table_.AddCategorical("tag", {1, 1, 1, 1, 2, 1, 1, 2, 2}, {{1, "a"}, {2, "b"}});
  table_.AddVariable("value", {1, 2, 3, 4, 10, 5, 6, 20, 30});
  RequestAggregated(request_);
  request_.num_time_intervals = 2;
  // Batch 1 spans 0..3: [0, 1.5) and [1.5, 3]; batch 2 likewise.
  ExpectMatrix(Prepare().predictors.x, {{1.5, 10, 3.5, kNaN}, {5, 20, 6, 30}});
}

TEST_F(RawDataTest, ABatchShorterThanTheIntervalsStopsWithTheRawWording) {
  AddColumns(table_, kCases, "1 0 1 1; 1 1 2 2; 1 2 3 3; 2 0 4 4; 2 5 5 5");
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
  AddColumns(table_,
             kCases,
             "1 0 1 1; 1 1 2 2; 1 2 3 7; 2 0 4 3; 2 1 5 1; 2 2 7 7;"
             "3 0 2 2; 3 1 1 1; 3 2 8 7; 4 0 4 4; 4 1 3 3; 4 2 9 7");
  automation_ = true;
  BatchData data = Prepare();
  RemovalNotes notes;
  const AnalysisStop stop =
      StopFrom([&] {
        ScreenBatchBlock(analysis_, {}, ScreeningKind::kPCA, notes, data, data.predictors);
      }).value();
  EXPECT_EQ(stop.id(), MessageId::kVariableNoVariance);
  EXPECT_EQ(stop.text(),
            "The Data-in-raw-form option was set, and after data pre-processing, variable x2 {3} "
            "has no variance. To perform meaningful analysis, all variables selected must have "
            "variability.");
}

TEST_F(UnfoldingTest, ScreeningNamesBatchesAndVariablesAtTimes) {
  // Batch 20 has one valid variable of two; x1 at time 2 has no variance over the others.
  AddColumns(table_,
             kCases,
             "10 1 1 1; 10 2 5 2; 20 1 . 3; 20 2 . 4; 30 1 2 4; 30 2 5 6;"
             "40 1 3 9; 40 2 5 3; 50 1 4 1; 50 2 5 1");
  BatchData data = Prepare();
  RemovalNotes notes;
  ScreeningOptions options;
  const auto screen = [&] {
    BatchData copy = data;
    ScreenBatchBlock(analysis_, options, ScreeningKind::kPCA, notes, copy, copy.predictors);
    return copy;
  };
  const auto stop_text = [&] { return StopFrom(screen).value().text(); };
  EXPECT_EQ(stop_text(),
            "The number of valid variables selected (1) for batch 20 is fewer than the required "
            "minimum number of valid variables (2). The analysis stops.");
  options.auto_remove_cases = true;
  EXPECT_EQ(stop_text(),
            "Variable x1 {2} has no variance. To perform meaningful analysis, all variables "
            "selected must have variability.");
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
