#include "models/tolerant.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "models/missing.hpp"
#include "support/ulps.hpp"

namespace mspc {
namespace {

using testing::UlpsAway;

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

TEST(TolerantCompare, AtLeastAcceptsValuesUpToFifteenUlpsShort) {
  const double minimum = 20.0;
  EXPECT_TRUE(TolerantAtLeast(minimum, minimum));
  EXPECT_TRUE(TolerantAtLeast(UlpsAway(minimum, -15), minimum));
  EXPECT_FALSE(TolerantAtLeast(UlpsAway(minimum, -16), minimum));
  EXPECT_TRUE(TolerantAtLeast(UlpsAway(-3.0, -15), -3.0));
  EXPECT_FALSE(TolerantAtLeast(UlpsAway(-3.0, -16), -3.0));
  // 19.9999999999999 sits far more than 15 ULPs below 20 and fails.
  EXPECT_FALSE(TolerantAtLeast(19.9999999999999, 20.0));
}

TEST(TolerantCompare, AtMostAcceptsValuesUpToFifteenUlpsAbove) {
  EXPECT_TRUE(TolerantAtMost(UlpsAway(100.0, 15), 100.0));
  EXPECT_FALSE(TolerantAtMost(UlpsAway(100.0, 16), 100.0));
}

TEST(TolerantCompare, GreaterAndLessNeedMoreThanTheSlack) {
  EXPECT_FALSE(TolerantGreater(UlpsAway(1.0, 15), 1.0));
  EXPECT_TRUE(TolerantGreater(UlpsAway(1.0, 16), 1.0));
  EXPECT_FALSE(TolerantLess(UlpsAway(1.0, -15), 1.0));
  EXPECT_TRUE(TolerantLess(UlpsAway(1.0, -16), 1.0));
  // Far-apart values of opposite sign do not overflow the difference.
  EXPECT_TRUE(TolerantGreater(1e300, -1e300));
  EXPECT_TRUE(
      TolerantLess(-std::numeric_limits<double>::max(), std::numeric_limits<double>::max()));
}

TEST(TolerantCompare, ZeroIsWithinFifteenUlpsOfEitherSignedZero) {
  const double tiny = std::numeric_limits<double>::denorm_min();
  EXPECT_TRUE(IsTolerantZero(0.0));
  EXPECT_TRUE(IsTolerantZero(-0.0));
  EXPECT_TRUE(IsTolerantZero(15 * tiny));
  EXPECT_TRUE(IsTolerantZero(-15 * tiny));
  EXPECT_FALSE(IsTolerantZero(16 * tiny));
  EXPECT_FALSE(IsTolerantZero(1e-300));
}

TEST(TolerantCompare, EqualityNeedsFiniteValues) {
  EXPECT_TRUE(TolerantEqual(2.0, UlpsAway(2.0, 15)));
  EXPECT_FALSE(TolerantEqual(2.0, UlpsAway(2.0, 16)));
  EXPECT_FALSE(TolerantEqual(kMissingValue, kMissingValue));
  EXPECT_FALSE(TolerantEqual(std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::infinity()));
  EXPECT_TRUE(TolerantEqual(0.0, -0.0));
}

TEST(MissingValue, BothMarkersAreNotANumber) {
  EXPECT_TRUE(IsMissing(kMissingValue));
  EXPECT_TRUE(IsMissing(BatchMissingValue()));
  EXPECT_FALSE(IsMissing(0.0));
  EXPECT_FALSE(IsMissing(std::numeric_limits<double>::infinity()));
}

}  // namespace
}  // namespace mspc
