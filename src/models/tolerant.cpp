#include "models/tolerant.hpp"

#include <bit>
#include <cmath>
#include <limits>

namespace mspc {
namespace {

constexpr std::int64_t kMinInt = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMaxInt = std::numeric_limits<std::int64_t>::max();

// a - b clamped to the int64 range; the ordered patterns of two far-apart doubles (say -1e300
// and 1e300) differ by more than int64 can hold, and the comparisons only need the sign and
// whether the gap exceeds the slack.
std::int64_t SaturatingDifference(std::int64_t a, std::int64_t b) {
  std::int64_t difference = 0;
  if (__builtin_sub_overflow(a, b, &difference)) return a > b ? kMaxInt : kMinInt;
  return difference;
}

}  // namespace

std::int64_t OrderedBits(double value) {
  const auto bits = std::bit_cast<std::int64_t>(value);
  // For a negative pattern b, kMinInt - b lies in [-(2^63 - 1), 0] and cannot overflow.
  return bits < 0 ? kMinInt - bits : bits;
}

bool TolerantAtLeast(double value, double minimum) {
  return SaturatingDifference(OrderedBits(value), OrderedBits(minimum)) >= -kUlpSlack;
}

bool TolerantAtMost(double value, double maximum) {
  return SaturatingDifference(OrderedBits(value), OrderedBits(maximum)) <= kUlpSlack;
}

bool TolerantGreater(double value, double other) {
  return SaturatingDifference(OrderedBits(value), OrderedBits(other)) > kUlpSlack;
}

bool TolerantLess(double value, double other) {
  return SaturatingDifference(OrderedBits(value), OrderedBits(other)) < -kUlpSlack;
}

bool TolerantEqual(double a, double b) {
  if (!std::isfinite(a) || !std::isfinite(b)) return false;
  const std::int64_t difference = SaturatingDifference(OrderedBits(a), OrderedBits(b));
  return difference >= -kUlpSlack && difference <= kUlpSlack;
}

bool IsTolerantZero(double value) {
  const std::int64_t ordered = OrderedBits(value);
  return ordered >= -kUlpSlack && ordered <= kUlpSlack;
}

}  // namespace mspc
