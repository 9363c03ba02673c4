#include "models/tolerant.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "models/missing.hpp"
#include "support/ulps.hpp"

namespace mspc {
namespace {

using testing::UlpsAway;

constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(TolerantCompare, OrderedBitsFollowTheOrderOfDoublesAcrossZero) {
  EXPECT_EQ(OrderedBits(0.0), 0);
  EXPECT_EQ(OrderedBits(-0.0), 0);
  EXPECT_EQ(OrderedBits(std::numeric_limits<double>::denorm_min()), 1);
  EXPECT_EQ(OrderedBits(-std::numeric_limits<double>::denorm_min()), -1);
  EXPECT_LT(OrderedBits(-2.0), OrderedBits(-1.0));
  EXPECT_LT(OrderedBits(-1.0), OrderedBits(1.0));
  EXPECT_EQ(OrderedBits(UlpsAway(1.0, 1)) - OrderedBits(1.0), 1);
  EXPECT_EQ(OrderedBits(-1.0) - OrderedBits(UlpsAway(-1.0, -1)), 1);
}

// Each comparison allows 15 units in the last place and no more, on either side of zero.
TEST(TolerantCompare, EachComparisonHasASlackOfFifteenUlps) {
  using Compare = bool (*)(double, double);
  const struct {
    const char* name;
    Compare compare;
    double a;
    double b;
    bool expected;
  } cases[] = {
      {"at least, equal", TolerantAtLeast, 20.0, 20.0, true},
      {"at least, 15 short", TolerantAtLeast, UlpsAway(20.0, -15), 20.0, true},
      {"at least, 16 short", TolerantAtLeast, UlpsAway(20.0, -16), 20.0, false},
      {"at least, negative 15 short", TolerantAtLeast, UlpsAway(-3.0, -15), -3.0, true},
      {"at least, negative 16 short", TolerantAtLeast, UlpsAway(-3.0, -16), -3.0, false},
      {"at least, far short", TolerantAtLeast, 19.9999999999999, 20.0, false},
      {"at most, 15 above", TolerantAtMost, UlpsAway(100.0, 15), 100.0, true},
      {"at most, 16 above", TolerantAtMost, UlpsAway(100.0, 16), 100.0, false},
      {"greater, 15 above", TolerantGreater, UlpsAway(1.0, 15), 1.0, false},
      {"greater, 16 above", TolerantGreater, UlpsAway(1.0, 16), 1.0, true},
      {"less, 15 below", TolerantLess, UlpsAway(1.0, -15), 1.0, false},
      {"less, 16 below", TolerantLess, UlpsAway(1.0, -16), 1.0, true},
      // Far-apart values of opposite sign do not overflow the difference.
      {"greater, opposite signs", TolerantGreater, 1e300, -1e300, true},
      {"less, extremes", TolerantLess, -kMax, kMax, true},
      {"equal, 15 apart", TolerantEqual, 2.0, UlpsAway(2.0, 15), true},
      {"equal, 16 apart", TolerantEqual, 2.0, UlpsAway(2.0, 16), false},
      {"equal, signed zeros", TolerantEqual, 0.0, -0.0, true},
      {"equal, missing", TolerantEqual, kMissingValue, kMissingValue, false},
      {"equal, infinite", TolerantEqual, kInfinity, kInfinity, false},
  };
  for (const auto& test_case : cases) {
    EXPECT_EQ(test_case.compare(test_case.a, test_case.b), test_case.expected) << test_case.name;
  }
  const double tiny = std::numeric_limits<double>::denorm_min();
  for (double zero : {0.0, -0.0, 15 * tiny, -15 * tiny}) EXPECT_TRUE(IsTolerantZero(zero)) << zero;
  EXPECT_FALSE(IsTolerantZero(16 * tiny));
  EXPECT_FALSE(IsTolerantZero(1e-300));
}

TEST(MissingValue, BothMarkersAreNotANumberAndInfinityIsNoMarker) {
  EXPECT_TRUE(IsMissing(kMissingValue));
  EXPECT_TRUE(IsMissing(BatchMissingValue()));
  EXPECT_FALSE(IsMissing(0.0));
  EXPECT_FALSE(IsMissing(kInfinity));
}

}  // namespace
}  // namespace mspc
