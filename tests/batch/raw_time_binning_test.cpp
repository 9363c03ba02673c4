#include "batch/raw_time_binning.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "models/missing.hpp"

namespace mspc {
namespace {

DMatrix Column(const std::vector<double>& values) {
  DMatrix column(values.size(), 1);
  for (std::size_t row = 0; row < values.size(); ++row) column(row, 0) = values[row];
  return column;
}

TEST(RawTimeBinning, EvenGridFillsEveryIntervalUpToOneCaseEach) {
  // Times 0..n-1 and N up to n: every interval holds a case, whatever the rounding of the
  // boundaries, and the counts add up to the cases.
  for (std::size_t num_cases = 2; num_cases <= 60; ++num_cases) {
    std::vector<double> times(num_cases);
    std::vector<double> values(num_cases);
    for (std::size_t row = 0; row < num_cases; ++row) {
      times[row] = static_cast<double>(row);
      values[row] = 3.0 * static_cast<double>(row);
    }
    for (std::size_t intervals = 2; intervals <= num_cases; ++intervals) {
      const BinnedBatch binned = BinRawTimes(times, Column(values), intervals);
      EXPECT_EQ(binned.FilledIntervals(), intervals) << num_cases << " cases, " << intervals;
      std::size_t total = 0;
      for (const std::size_t count : binned.counts) total += count;
      EXPECT_EQ(total, num_cases);
      // Intervals follow time: their means increase.
      for (std::size_t interval = 1; interval < intervals; ++interval) {
        EXPECT_LT(binned.means(interval - 1, 0), binned.means(interval, 0));
      }
    }
  }
}

TEST(RawTimeBinning, BoundariesBelongToTheUpperIntervalAndTheEndToTheLast) {
  // Span 0..4 in two intervals: [0, 2) and [2, 4]. Times unsorted.
  const std::vector<double> times{4, 2, 0, 1.999, 3};
  const BinnedBatch binned = BinRawTimes(times, Column({40, 20, 0, 19.99, 30}), 2);
  EXPECT_EQ(binned.counts, (std::vector<std::size_t>{2, 3}));
  EXPECT_DOUBLE_EQ(binned.means(0, 0), (0 + 19.99) / 2);
  EXPECT_DOUBLE_EQ(binned.means(1, 0), 30.0);
}

TEST(RawTimeBinning, ShortOrTimelessBatchesLeaveIntervalsEmpty) {
  // Fewer cases than intervals.
  BinnedBatch binned = BinRawTimes(std::vector<double>{0, 10}, Column({1, 2}), 3);
  EXPECT_EQ(binned.FilledIntervals(), 2u);
  EXPECT_EQ(binned.counts[1], 0u);
  EXPECT_TRUE(IsMissing(binned.means(1, 0)));
  // All cases at one time (within the comparison tolerance).
  binned = BinRawTimes(std::vector<double>{5, std::nextafter(5.0, 6.0), 5}, Column({1, 2, 3}), 2);
  EXPECT_EQ(binned.counts, (std::vector<std::size_t>{3, 0}));
  EXPECT_DOUBLE_EQ(binned.means(0, 0), 2.0);
  // No case at all.
  binned = BinRawTimes(std::vector<double>{}, DMatrix(0, 1), 2);
  EXPECT_EQ(binned.FilledIntervals(), 0u);
}

}  // namespace
}  // namespace mspc
