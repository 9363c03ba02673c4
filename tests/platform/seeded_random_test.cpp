#include "platform/seeded_random.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace mspc::platform {
namespace {

std::vector<double> Draw(SeededRandom& random, int count) {
  std::vector<double> values;
  for (int i = 0; i < count; ++i) values.push_back(random.Uniform());
  return values;
}

TEST(SeededRandom, EqualSeedsGiveEqualStreams) {
  SeededRandom first(42);
  SeededRandom second;
  second.Seed(42);
  const auto stream = Draw(first, 100);
  EXPECT_EQ(stream, Draw(second, 100));
  first.Seed(43);
  EXPECT_NE(Draw(first, 100), stream);
}

TEST(SeededRandom, UniformStaysInsideTheOpenUnitInterval) {
  EXPECT_GT(SeededRandom::UnitIntervalFromBits(0), 0.0);
  EXPECT_EQ(SeededRandom::UnitIntervalFromBits(~std::uint64_t{0}), 1.0 - std::ldexp(1.0, -53));
  SeededRandom random(7);
  constexpr int kDraws = 100000;
  double sum = 0.0;
  for (int i = 0; i < kDraws; ++i) {
    const double u = random.Uniform();
    ASSERT_TRUE(u > 0.0 && u < 1.0) << u;
    sum += u;
  }
  // The mean of n uniforms has standard deviation sqrt(1/(12 n)); allow five of them.
  EXPECT_NEAR(sum / kDraws, 0.5, 5 * std::sqrt(1.0 / (12.0 * kDraws)));
}

TEST(SeededRandom, RestoredStateContinuesTheSavedStreamAndBadStatesAreRefused) {
  SeededRandom random(2024);
  Draw(random, 10);
  const std::string state = random.SaveState();
  const auto expected = Draw(random, 5);
  SeededRandom other(1);
  ASSERT_TRUE(other.RestoreState(state));
  EXPECT_EQ(Draw(other, 5), expected);
  for (const std::string& bad :
       {std::string(), std::string("garbage"), state.substr(0, state.size() / 2), state + " x"}) {
    EXPECT_FALSE(random.RestoreState(bad)) << bad.substr(0, 40);
  }
  // The refusals left the stream where it was: 15 draws into seed 2024.
  SeededRandom reference(2024);
  Draw(reference, 15);
  EXPECT_EQ(Draw(random, 5), Draw(reference, 5));
}

}  // namespace
}  // namespace mspc::platform
