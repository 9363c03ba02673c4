#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "models/dmatrix.hpp"

namespace mspc {

/// The intervals of one batch after its raw times were reduced: per interval, the mean of
/// every column over the cases that fell into it, and how many cases did.
struct BinnedBatch {
  DMatrix means;                    // intervals × columns, NaN where no case had a value
  std::vector<std::size_t> counts;  // per interval: the cases in it (0: the interval is empty)

  /// The number of intervals that hold at least one case.
  std::size_t FilledIntervals() const;
};

/// Reduce one batch's raw times to `num_intervals` intervals of equal width.
///
/// The batch's time span [min, max] is split into `num_intervals` intervals; a case at time t
/// falls into interval floor((t - min) · N / (max - min)), the last interval also taking the
/// case at max, so every interval is half open [lower, upper) except the last, which is closed.
/// Each column of an interval is the mean of the valid (non-NaN) values of its cases; a column
/// none of whose cases has a value is missing. A batch whose cases all share one time leaves
/// every interval but the first empty, as does a batch with fewer cases than intervals; empty
/// intervals are reported by their zero count and let the equal-intervals check stop the
/// analysis, rather than being filled by interpolation the data do not support.
///
/// `times` holds one finite time per row of `values` (rows: cases, columns: the variables).
BinnedBatch BinRawTimes(std::span<const double> times,
                        const DMatrix& values,
                        std::size_t num_intervals);

}  // namespace mspc
