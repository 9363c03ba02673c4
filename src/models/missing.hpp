#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace mspc {

/// The marker of a missing cell: a quiet not-a-number.
inline constexpr double kMissingValue = std::numeric_limits<double>::quiet_NaN();

/// The batch readers' marker: the all-bits-set pattern, which is also a not-a-number.
inline double BatchMissingValue() { return std::bit_cast<double>(~std::uint64_t{0}); }

/// Whether a cell is missing. Every not-a-number pattern counts, whichever reader wrote it.
inline bool IsMissing(double value) { return std::isnan(value); }

}  // namespace mspc
