#include "models/monitoring.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "host/errors.hpp"
#include "host/probability.hpp"
#include "models/missing.hpp"
#include "pca/pca_test_support.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

using testing::MatrixOf;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Quantiles in the closed forms that exist: F with d1 = 2, chi-square with 2 degrees of freedom
// and Student's t with 2. Any other request returns `fixed_quantile` and is recorded.
class ClosedFormProbability : public ProbabilityFunctions {
 public:
  double FQuantile(double p, double d1, double d2) const override {
    if (d1 == 2.0) return d2 / 2.0 * (std::pow(1.0 - p, -2.0 / d2) - 1.0);
    return Record(p, d1);
  }
  double ChiSquareQuantile(double p, double d) const override {
    if (d == 2.0) return -2.0 * std::log(1.0 - p);
    return Record(p, d);
  }
  double StudentTQuantile(double p, double d) const override {
    if (d == 2.0) return (2.0 * p - 1.0) / std::sqrt(2.0 * p * (1.0 - p));
    return Record(p, d);
  }

  double fixed_quantile = 10.0;
  mutable std::vector<double> probabilities;
  mutable std::vector<double> degrees_of_freedom;

 private:
  double Record(double p, double d) const {
    probabilities.push_back(p);
    degrees_of_freedom.push_back(d);
    return fixed_quantile;
  }
};

TEST(HotellingT2, StatisticAndLimitsMatchHandValues) {
  const DMatrix scores = MatrixOf(3, 2, {2.0, -1.0, 0.0, 3.0, 9.0, 0.0});
  const std::vector<double> deviations = {2.0, 0.5};
  const std::vector<double> t2 = ComputeHotellingT2(scores, deviations, {false, false, true});
  EXPECT_DOUBLE_EQ(t2[0], 1.0 + 4.0);
  EXPECT_DOUBLE_EQ(t2[1], 36.0);
  EXPECT_TRUE(IsMissing(t2[2]));

  // N = 10, A = 2: factor A(N² - 1) / (N(N - A)) = 2.475; F⁻¹(0.99; 2, 8) = 8.6491 (tables).
  const ClosedFormProbability probability;
  const ControlLimitSet limits = ComputeT2Limits(ChartLimitOptions{}, 10, 2, probability);
  EXPECT_NEAR(probability.FQuantile(0.99, 2, 8), 8.6491, 1e-4);
  EXPECT_NEAR(limits.control_line, 8.649110640673518 * 2.475, 1e-12);
  EXPECT_NEAR(limits.warning_line, 4.0 * (std::pow(0.05, -0.25) - 1.0) * 2.475, 1e-12);
  EXPECT_TRUE(limits.warning);
  EXPECT_EQ(limits.control_limit, 99.0);

  // The lines rise with the confidence level.
  double previous = 0.0;
  for (double percent : {50.0, 80.0, 90.0, 95.0, 99.0, 99.9}) {
    const double line = ComputeT2Limits({percent, false, 0.0}, 10, 2, probability).control_line;
    EXPECT_GT(line, previous) << percent;
    previous = line;
  }
  // With N - A = 0 the limit is not defined.
  EXPECT_TRUE(IsMissing(ComputeT2Limits(ChartLimitOptions{}, 3, 3, probability).control_line));
}

TEST(SPEQ, StatisticSkipsMissingCellsAndExcludedVariables) {
  // Column 2 is excluded, row 2 too.
  const DMatrix residuals = MatrixOf(3, 3, {1.0, -2.0, 5.0, kNaN, 3.0, 0.0, 1.0, 0.0, 0.0});
  const std::vector<double> spe = ComputeSPE(residuals, {false, false, true}, {false, false, true});
  EXPECT_DOUBLE_EQ(spe[0], 5.0);
  EXPECT_DOUBLE_EQ(spe[1], 9.0) << "a missing cell lowers SPE and does not make it missing";
  EXPECT_TRUE(IsMissing(spe[2]));
}

TEST(SPEQ, LimitsFollowTheScaledChiSquare) {
  ClosedFormProbability probability;
  // m = 2.5, v = 5/3: g = 1/3, h = 7.5. The excluded (missing) entry is skipped.
  const std::vector<double> spe = {1.0, 2.0, kNaN, 3.0, 4.0};
  const ControlLimitSet limits = ComputeSPELimits(spe, ChartLimitOptions{}, probability);
  EXPECT_NEAR(limits.control_line, 10.0 / 3.0, 1e-12);
  ASSERT_EQ(probability.degrees_of_freedom.size(), 2u);
  EXPECT_NEAR(probability.degrees_of_freedom[0], 7.5, 1e-12);
  EXPECT_DOUBLE_EQ(probability.probabilities[0], 0.99);
  EXPECT_DOUBLE_EQ(probability.probabilities[1], 0.95);

  // Values 0, 2, 4 give m = 2, v = 4, so g = 1 and h = 2 exactly: the line is χ²⁻¹(p; 2) =
  // -2 ln(1 - p), which rises with p.
  double previous = 0.0;
  for (double percent : {60.0, 90.0, 99.0}) {
    const double line =
        ComputeSPELimits(std::vector<double>{0.0, 2.0, 4.0}, {percent, false, 0.0}, probability)
            .control_line;
    EXPECT_NEAR(line, -2.0 * std::log(1.0 - percent / 100.0), 1e-12);
    EXPECT_GT(line, previous);
    previous = line;
  }
}

TEST(SPEQ, EqualValuesGiveTheirMeanAndNoValueStops) {
  ClosedFormProbability probability;
  const ControlLimitSet equal =
      ComputeSPELimits(std::vector<double>{2.0, 2.0, 2.0}, ChartLimitOptions{}, probability);
  EXPECT_EQ(equal.control_line, 2.0);
  EXPECT_EQ(equal.warning_line, 2.0);
  const ControlLimitSet zero =
      ComputeSPELimits(std::vector<double>{0.0, 0.0}, ChartLimitOptions{}, probability);
  EXPECT_EQ(zero.control_line, 0.0);
  EXPECT_TRUE(probability.probabilities.empty()) << "no quantile of an infinite h is asked for";
  EXPECT_EQ(StopId([&] {
              ComputeSPELimits(std::vector<double>{kNaN, kNaN}, ChartLimitOptions{}, probability);
            }),
            MessageId::kNoValidSampleForChart);
}

TEST(ScoreLimits, PValueLimitsAreCentredOnZeroAndDeviationLimitsOnTheMean) {
  const ClosedFormProbability probability;
  // Scores -1, 0, 4 with N = 3: mean 1, s = sqrt(14 / 2); t⁻¹(0.975; 2) = 4.302653 (tables).
  const std::vector<double> scores = {-1.0, 0.0, 4.0};
  const double s = std::sqrt(7.0);
  const ControlLimitSet by_p =
      ComputeScoreLimits(scores, 3, {ScoreLimitType::kPValue, 0.95, true, 0.5 + 1e-9}, probability);
  EXPECT_NEAR(by_p.upper_control, 4.302653 * s, 1e-5);
  EXPECT_DOUBLE_EQ(by_p.lower_control, -by_p.upper_control);
  // p = 0.5 takes the 0.75 quantile: t⁻¹(0.75; 2) = sqrt(2/3).
  EXPECT_NEAR(by_p.upper_warning, std::sqrt(2.0 / 3.0) * s, 1e-8);
  EXPECT_EQ(by_p.degrees_of_freedom, 2);
  EXPECT_DOUBLE_EQ(by_p.standard_deviation, s);

  const ControlLimitSet by_sd = ComputeScoreLimits(
      scores, 3, ScoreLimitOptions::Defaults(ScoreLimitType::kStandardDeviations), probability);
  EXPECT_DOUBLE_EQ(by_sd.upper_control, 1.0 + 3.0 * s);
  EXPECT_DOUBLE_EQ(by_sd.lower_control, 1.0 - 3.0 * s);
  EXPECT_DOUBLE_EQ(by_sd.upper_warning, 1.0 + 2.0 * s);

  // The divisor is the model's N - 1, not the count of scores present.
  const ControlLimitSet with_gap =
      ComputeScoreLimits(std::vector<double>{-1.0, 0.0, kNaN, 4.0},
                         4,
                         ScoreLimitOptions::Defaults(ScoreLimitType::kStandardDeviations),
                         probability);
  EXPECT_DOUBLE_EQ(with_gap.standard_deviation, std::sqrt(14.0 / 3.0));
  EXPECT_EQ(with_gap.degrees_of_freedom, 3);
}

TEST(DistanceToModel, RowDistancesAndPooledValue) {
  // Four rows, the last excluded (its 7s must not count); one missing cell in row 1.
  const DMatrix residuals = MatrixOf(4, 4, {1, 1, 0, 0, 2, 0, kNaN, 0, 3, 0, 0, 0, 7, 7, 7, 7});
  // N = 4, K = 4, A = 2: K - A = 2 and N - A - 1 = 1.
  const DistanceToModel result =
      ComputeDistanceToModel(residuals, {false, false, false, true}, {}, 4, 4, 2);
  EXPECT_DOUBLE_EQ(result.distance[0], 1.0);
  EXPECT_DOUBLE_EQ(result.distance[1], std::sqrt(2.0));
  EXPECT_DOUBLE_EQ(result.distance[2], std::sqrt(4.5));
  EXPECT_TRUE(IsMissing(result.distance[3]));
  EXPECT_DOUBLE_EQ(result.pooled, std::sqrt((1.0 + 2.0 + 4.5) / 1.0));

  const DistanceToModel no_pooled_dof = ComputeDistanceToModel(residuals, {}, {}, 4, 4, 3);
  EXPECT_TRUE(std::isfinite(no_pooled_dof.distance[0]));
  EXPECT_TRUE(IsMissing(no_pooled_dof.pooled));
  const DistanceToModel saturated = ComputeDistanceToModel(residuals, {}, {}, 10, 4, 4);
  EXPECT_TRUE(IsMissing(saturated.distance[0]));
  EXPECT_TRUE(IsMissing(saturated.pooled));
}

TEST(LimitOptions, RangesAreCheckedWithTheirMessages) {
  struct Case {
    ChartLimitOptions options;
    std::optional<MessageId> expected;
  };
  const Case chart_cases[] = {
      {{50.0, true, 50.0 - 1e-12}, MessageId::kWarningLimitOutOfRange},
      {{99.0, true, 95.0}, std::nullopt},
      {{50.0, false, 0.0}, std::nullopt},
      {{49.99, false, 0.0}, MessageId::kControlLimitOutOfRange},
      {{100.0, false, 0.0}, MessageId::kControlLimitOutOfRange},
      {{99.99, true, 99.99}, MessageId::kWarningLimitOutOfRange},
      {{95.0, true, 99.0}, MessageId::kWarningLimitOutOfRange},
      {{99.0, true, 100.0}, MessageId::kWarningLimitOutOfRange},
  };
  for (const Case& test_case : chart_cases) {
    EXPECT_EQ(test_case.options.Validate(), test_case.expected)
        << test_case.options.control_percent << " " << test_case.options.warning_percent;
  }
  const auto score = [](double control, double warning_value) {
    return ScoreLimitOptions{ScoreLimitType::kPValue, control, true, warning_value}.Validate();
  };
  EXPECT_EQ(score(0.99, 0.95), std::nullopt);
  EXPECT_EQ(score(0.5, 0.95), MessageId::kScoreControlPValueOutOfRange);
  EXPECT_EQ(score(1.0, 0.95), MessageId::kScoreControlPValueOutOfRange);
  EXPECT_EQ(score(0.99, 1.0), MessageId::kScoreWarningPValueOutOfRange);
  EXPECT_EQ(score(0.99, 0.5), MessageId::kScoreWarningPValueOutOfRange);
  EXPECT_EQ(ScoreLimitOptions::Defaults(ScoreLimitType::kStandardDeviations).Validate(),
            std::nullopt);
}

TEST(LimitTexts, LabelsAndSubtitlesCarryTheirValues) {
  EXPECT_EQ(FormatLimitLineLabel(12.34564, 99.9, false),
            "Critical value = 12.3456 (99.90% Control limit)");
  EXPECT_EQ(FormatScoreLimitSubtitle(
                ScoreLimitOptions::Defaults(ScoreLimitType::kStandardDeviations), true),
            "Warning Limit: +/-2*Std.Dev");
  EXPECT_EQ(FormatScoreLimitSubtitle(ScoreLimitOptions{}, false), "Control Limit: 99%");
}

}  // namespace
}  // namespace mspc
