#include "platform/boost_probability.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace mspc::platform {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
// Printed tables give three decimals.
constexpr double kTableTolerance = 5e-4;
constexpr double kIdentityTolerance = 1e-10;

TEST(BoostProbability, QuantilesMatchPublishedTables) {
  // Upper percentage points as printed in the standard statistical tables (for example
  // Montgomery, Introduction to Statistical Quality Control, Appendix).
  const BoostProbability probability;
  EXPECT_NEAR(probability.FQuantile(0.99, 3, 20), 4.938, kTableTolerance);
  EXPECT_NEAR(probability.FQuantile(0.95, 1, 10), 4.965, kTableTolerance);
  EXPECT_NEAR(probability.ChiSquareQuantile(0.95, 10), 18.307, kTableTolerance);
  EXPECT_NEAR(probability.ChiSquareQuantile(0.99, 1), 6.635, kTableTolerance);
  EXPECT_NEAR(probability.StudentTQuantile(0.975, 10), 2.228, kTableTolerance);
  EXPECT_NEAR(probability.StudentTQuantile(0.995, 30), 2.750, kTableTolerance);
}

TEST(BoostProbability, NonIntegerDegreesOfFreedomMeetClosedForms) {
  const BoostProbability probability;
  for (const double p : {0.05, 0.5, 0.95, 0.99}) {
    // Chi-square with 2 df is exponential with mean 2.
    EXPECT_NEAR(probability.ChiSquareQuantile(p, 2), -2 * std::log1p(-p), kIdentityTolerance);
    for (const double nu : {2.5, 7.25, 31.7}) {
      // F with d1 = 2: P(F <= x) = 1 - (1 + 2x/nu)^(-nu/2), solved for x.
      const double f2 = nu / 2 * (std::pow(1 - p, -2 / nu) - 1);
      EXPECT_NEAR(probability.FQuantile(p, 2, nu), f2, kIdentityTolerance * f2) << p << " " << nu;
      // t^2 with nu df is F(1, nu).
      const double t = probability.StudentTQuantile((1 + p) / 2, nu);
      const double f1 = probability.FQuantile(p, 1, nu);
      EXPECT_NEAR(t * t, f1, kIdentityTolerance * f1) << p << " " << nu;
    }
    // d1 * F(d1, d2) tends to chi-square(d1) as d2 grows.
    const double chi = probability.ChiSquareQuantile(p, 2.5);
    EXPECT_NEAR(2.5 * probability.FQuantile(p, 2.5, 1e9), chi, 1e-6 * chi);
  }
}

TEST(BoostProbability, InvalidArgumentsGiveNaN) {
  const BoostProbability probability;
  for (const double p : {0.0, 1.0, -0.1, 1.5, kNaN}) {
    EXPECT_TRUE(std::isnan(probability.FQuantile(p, 2, 3))) << p;
    EXPECT_TRUE(std::isnan(probability.ChiSquareQuantile(p, 2))) << p;
    EXPECT_TRUE(std::isnan(probability.StudentTQuantile(p, 2))) << p;
  }
  for (const double df : {0.0, -1.0, kNaN}) {
    EXPECT_TRUE(std::isnan(probability.FQuantile(0.9, df, 3))) << df;
    EXPECT_TRUE(std::isnan(probability.FQuantile(0.9, 3, df))) << df;
    EXPECT_TRUE(std::isnan(probability.ChiSquareQuantile(0.9, df))) << df;
    EXPECT_TRUE(std::isnan(probability.StudentTQuantile(0.9, df))) << df;
  }
}

}  // namespace
}  // namespace mspc::platform
