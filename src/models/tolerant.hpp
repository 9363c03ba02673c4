#pragma once

#include <cstdint>

namespace mspc {

/// Units in the last place by which two doubles may differ and still compare as equal.
constexpr std::int64_t kUlpSlack = 15;

/// Map a double to a signed integer whose order is the order of the doubles: the bit pattern
/// for a non-negative value, the most negative integer minus the pattern for a negative one
/// (so -0.0 and +0.0 both map to 0 and neighbouring doubles differ by 1).
std::int64_t OrderedBits(double value);

/// Whether `value` is at least `minimum`, short of it by at most 15 units in the last place.
bool TolerantAtLeast(double value, double minimum);
/// Whether `value` is at most `maximum`, above it by at most 15 units in the last place.
bool TolerantAtMost(double value, double maximum);
/// Whether `value` exceeds `other` by more than 15 units in the last place.
bool TolerantGreater(double value, double other);
/// Whether `value` is below `other` by more than 15 units in the last place.
bool TolerantLess(double value, double other);
/// Whether both values are finite and within 15 units in the last place of each other.
bool TolerantEqual(double a, double b);
/// Whether `value` lies within 15 units in the last place of zero (of either sign).
bool IsTolerantZero(double value);

}  // namespace mspc
