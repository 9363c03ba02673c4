#include "batch/raw_time_binning.hpp"

#include <algorithm>
#include <cmath>

#include "models/missing.hpp"
#include "models/tolerant.hpp"

namespace mspc {

std::size_t BinnedBatch::FilledIntervals() const {
  return static_cast<std::size_t>(
      std::count_if(counts.begin(), counts.end(), [](std::size_t count) { return count > 0; }));
}

BinnedBatch BinRawTimes(std::span<const double> times,
                        const DMatrix& values,
                        std::size_t num_intervals) {
  BinnedBatch binned;
  binned.means = DMatrix(num_intervals, values.cols(), kMissingValue);
  binned.counts.assign(num_intervals, 0);
  if (times.empty() || num_intervals == 0) return binned;

  const auto [lowest, highest] = std::minmax_element(times.begin(), times.end());
  const double start = *lowest;
  const double span = *highest - start;  // max - min
  const double intervals = static_cast<double>(num_intervals);

  // Times within 15 units in the last place of each other are one time: no span at all.
  const bool has_span = TolerantGreater(*highest, start);
  std::vector<std::size_t> interval_of(times.size(), 0);
  for (std::size_t row = 0; row < times.size(); ++row) {
    // (t - min) · N / span rather than (t - min) / span · N: for times on a grid the product
    // is exact before the division, so a time on an interval boundary is not pushed into the
    // interval below by rounding. A batch without a span has all its cases in interval 0.
    std::size_t interval = 0;
    if (has_span) {
      // 0 <= (t - min) / span <= 1, so the position lies in [0, N].
      const double position = std::floor((times[row] - start) * intervals / span);
      interval = std::min(static_cast<std::size_t>(position), num_intervals - 1);
    }
    interval_of[row] = interval;
    ++binned.counts[interval];
  }

  // Means by the running recurrence, column by column over the valid values of each interval.
  std::vector<std::size_t> valid(num_intervals * values.cols(), 0);
  for (std::size_t row = 0; row < times.size(); ++row) {
    const std::size_t interval = interval_of[row];
    for (std::size_t col = 0; col < values.cols(); ++col) {
      const double value = values(row, col);
      if (IsMissing(value)) continue;
      const std::size_t count = ++valid[interval * values.cols() + col];
      double& mean = binned.means(interval, col);
      mean = count == 1 ? value : mean + (value - mean) / static_cast<double>(count);
    }
  }
  return binned;
}

}  // namespace mspc
