#include "frame/data_reader.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "models/missing.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

const double kNaN = kMissingValue;

class DataReaderTest : public ::testing::Test {
 protected:
  CNewDataReader& Reader() {
    analysis_.InitCommons(host_.Services(&table_));
    return reader_;
  }

  FakeDataTable table_;
  RecordingHost host_;
  CAnalysisSupport analysis_;
  CNewDataReader reader_{&analysis_};
};

// Compare cells, with NaN equal to NaN.
void ExpectRow(const WorkingData& data, std::size_t row, const std::vector<double>& expected) {
  ASSERT_EQ(data.x.cols(), expected.size());
  for (std::size_t col = 0; col < expected.size(); ++col) {
    if (std::isnan(expected[col])) {
      EXPECT_TRUE(std::isnan(data.x(row, col))) << "row " << row << " col " << col;
    } else {
      EXPECT_EQ(data.x(row, col), expected[col]) << "row " << row << " col " << col;
    }
  }
}

TEST_F(DataReaderTest, CodesCategoriesAsDummyColumnsAndMissingCodesAsMissing) {
  const double near_missing_code = std::nextafter(-99.0, 0.0);  // one ULP off the code
  table_.AddVariable("x1", {1.5, kNaN, 3.0, 4.0, near_missing_code, -99.0});
  table_.SetMissingDataCode(0, -99.0);
  // "grey" is a category of the table that no case holds: it gets no column.
  table_.AddCategorical(
      "color", {1, 2, kNaN, 2, 3, 1}, {{1, "red"}, {2, "green"}, {3, "blue"}, {4, "grey"}});
  table_.AddVariable("batch", {7, 5, 5, 7, 7, 5});
  table_.SetCaseNames({"a", "b", "c", "d", "e", "f"});

  const WorkingData data = Reader().Read({{"x1", "color", "batch"}, {"batch"}});

  EXPECT_EQ(data.column_names,
            (std::vector<std::string>{
                "x1", "color: red", "color: green", "color: blue", "batch: 5", "batch: 7"}));
  EXPECT_EQ(data.column_source, (std::vector<std::size_t>{0, 1, 1, 1, 2, 2}));
  ASSERT_EQ(data.x.rows(), 6u);
  ExpectRow(data, 0, {1.5, 1, 0, 0, 0, 1});
  ExpectRow(data, 1, {kNaN, 0, 1, 0, 1, 0});
  ExpectRow(data, 2, {3.0, kNaN, kNaN, kNaN, 1, 0});  // a missing code: missing in every dummy
  ExpectRow(data, 4, {kNaN, 0, 0, 1, 0, 1});          // within the tolerance of the code
  ExpectRow(data, 5, {kNaN, 1, 0, 0, 1, 0});
  EXPECT_EQ(data.variables[1].category_codes, (std::vector<double>{1, 2, 3}));
  EXPECT_TRUE(data.variables[2].categorical);
  EXPECT_EQ(data.case_numbers, (std::vector<int>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(data.case_names[3], "d");
  EXPECT_TRUE(host_.messages().empty());
}

TEST_F(DataReaderTest, DropsCasesWithNonIntegerCodesWithOneWarning) {
  table_.AddVariable("x1", {1.25, 2, 3, 4, 5, 6});  // non-integers in a continuous variable stay
  table_.AddCategorical("color", {1, 2.5, 1, 2, 1.25, 2}, {{1, "red"}, {2, "green"}});
  table_.SetSelected({true, true, false, true, true, true});

  const WorkingData data = Reader().Read({{"x1", "color"}, {}});

  EXPECT_EQ(data.case_numbers, (std::vector<int>{1, 4, 6}));
  ExpectRow(data, 0, {1.25, 1, 0});
  ASSERT_EQ(host_.messages().size(), 1u);
  EXPECT_EQ(host_.messages()[0].id, MessageId::kNonIntegerCategoryCodes);
  EXPECT_EQ(host_.messages()[0].kind, MessageKind::kWarning);
}

TEST_F(DataReaderTest, TrainingCasesAreSelectedAndNotWeightedZeroOrMissing) {
  table_.AddVariable("x1", {1, 2, 3, 4, 5, 6});
  table_.SetSelected({true, false, true, true, true, true});
  table_.SetWeights({1.0, 1.0, 0.0, kNaN, 2.5, 1.0});
  EXPECT_EQ(Reader().TrainingCases(), (std::vector<std::size_t>{0, 4, 5}));
}

TEST_F(DataReaderTest, UnknownVariableNameStops) {
  table_.AddVariable("x1", {1, 2});
  try {
    Reader().Read({{"x1", "pressure"}, {}});
    FAIL() << "an unknown variable must stop the read";
  } catch (const AnalysisStop& stop) {
    EXPECT_EQ(stop.text(), "Variable pressure is not in the data table.");
  }
}

TEST(MemoryLimit, ComparesEightBytesPerCellWithTheMegabytes) {
  constexpr std::size_t kCellsPerMegabyte = 1024 * 1024 / 8;
  EXPECT_NO_THROW(CheckMemoryLimit(kCellsPerMegabyte / 128, 128, 1));
  EXPECT_NO_THROW(CheckMemoryLimit(3 * kCellsPerMegabyte, 1, 3));
  EXPECT_EQ(StopId([] { CheckMemoryLimit(kCellsPerMegabyte + 1, 1, 1); }),
            MessageId::kDataSizeExceedsLimit);
  // A size whose byte count overflows still stops rather than wrapping round to a small number.
  EXPECT_TRUE(StopId([] { CheckMemoryLimit(std::numeric_limits<std::size_t>::max() / 4, 4, 99); }));
}

TEST(SelectionChecks, EachBrokenRuleStopsWithItsMessage) {
  const SelectionLimits limits{10, 6, 100};
  auto check = [&](int variables, int predictors, int cases, bool pls) {
    return StopId([&] { CheckSelection(variables, predictors, cases, limits, pls); });
  };
  EXPECT_EQ(check(11, 0, 50, false), MessageId::kTooManyVariables);
  EXPECT_EQ(check(1, 0, 50, false), MessageId::kTooFewVariables);
  EXPECT_EQ(check(8, 7, 50, true), MessageId::kTooManyPredictors);
  EXPECT_EQ(check(3, 1, 50, true), MessageId::kTooFewPredictors);
  EXPECT_EQ(check(3, 2, 101, true), MessageId::kTooManyTrainingCases);
  EXPECT_EQ(check(3, 2, 3, true), MessageId::kTooFewTrainingCases);
  EXPECT_FALSE(check(10, 0, 4, false));
  EXPECT_FALSE(check(8, 6, 100, true));
  EXPECT_FALSE(StopId([] { CheckSelection(500, 1, 100000, SelectionLimits{}, false); }));
}

}  // namespace
}  // namespace mspc
