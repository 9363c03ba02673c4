#include "models/monitoring.hpp"

#include <cmath>
#include <cstddef>

#include "host/errors.hpp"
#include "host/probability.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"

namespace mspc {
namespace {

constexpr double kLowestPercent = 50.0;
constexpr double kHighestPercent = 100.0;  // excluded
constexpr double kLowestPValue = 0.5;      // excluded
constexpr double kHighestPValue = 1.0;     // excluded
constexpr double kPercent = 100.0;

bool IsPercentInRange(double percent) {
  return TolerantAtLeast(percent, kLowestPercent) && TolerantLess(percent, kHighestPercent);
}

bool IsPValueInRange(double p) {
  return TolerantGreater(p, kLowestPValue) && TolerantLess(p, kHighestPValue);
}

bool IsExcluded(const std::vector<bool>& excluded, std::size_t index) {
  return !excluded.empty() && excluded[index];
}

// Welford's running mean and sum of squared deviations of the values that are present.
struct RunningMoments {
  std::size_t count = 0;
  double mean = 0.0;
  double m2 = 0.0;

  void Add(double value) {
    ++count;
    const double delta = value - mean;
    mean += delta / static_cast<double>(count);
    m2 += delta * (value - mean);
  }
  double SampleVariance() const { return count > 1 ? m2 / static_cast<double>(count - 1) : 0.0; }
};

RunningMoments MomentsOfPresent(std::span<const double> values) {
  RunningMoments moments;
  for (double value : values) {
    if (!IsMissing(value)) moments.Add(value);
  }
  if (moments.count == 0) throw AnalysisStop::With(MessageId::kNoValidSampleForChart);
  return moments;
}

// Sum of the squared residuals of one row over its present, non-excluded cells.
double RowResidualSS(const DMatrix& residuals,
                     std::size_t row,
                     const std::vector<bool>& excluded_variables) {
  double sum = 0.0;
  for (std::size_t col = 0; col < residuals.cols(); ++col) {
    const double value = residuals(row, col);
    if (IsExcluded(excluded_variables, col) || IsMissing(value)) continue;
    sum += value * value;
  }
  return sum;
}

}  // namespace

std::optional<MessageId> ChartLimitOptions::Validate() const {
  if (!IsPercentInRange(control_percent)) return MessageId::kControlLimitOutOfRange;
  if (warning &&
      (!IsPercentInRange(warning_percent) || !TolerantLess(warning_percent, control_percent))) {
    return MessageId::kWarningLimitOutOfRange;
  }
  return std::nullopt;
}

ScoreLimitOptions ScoreLimitOptions::Defaults(ScoreLimitType type) {
  constexpr double kControlDeviations = 3.0;
  constexpr double kWarningDeviations = 2.0;
  ScoreLimitOptions options;
  options.type = type;
  if (type == ScoreLimitType::kStandardDeviations) {
    options.control = kControlDeviations;
    options.warning_value = kWarningDeviations;
  }
  return options;
}

std::optional<MessageId> ScoreLimitOptions::Validate() const {
  if (type != ScoreLimitType::kPValue) return std::nullopt;
  if (!IsPValueInRange(control)) return MessageId::kScoreControlPValueOutOfRange;
  if (warning && !IsPValueInRange(warning_value)) return MessageId::kScoreWarningPValueOutOfRange;
  return std::nullopt;
}

std::vector<double> ComputeHotellingT2(const DMatrix& scores,
                                       std::span<const double> score_deviations,
                                       const std::vector<bool>& excluded_rows) {
  std::vector<double> t2(scores.rows(), kMissingValue);
  for (std::size_t row = 0; row < scores.rows(); ++row) {
    if (IsExcluded(excluded_rows, row)) continue;
    double sum = 0.0;
    for (std::size_t a = 0; a < scores.cols(); ++a) {
      // A component without spread has scores of 0; dividing by its zero deviation is skipped.
      if (IsTolerantZero(score_deviations[a])) continue;
      const double standardised = scores(row, a) / score_deviations[a];
      sum += standardised * standardised;
    }
    t2[row] = sum;
  }
  return t2;
}

ControlLimitSet ComputeT2Limits(const ChartLimitOptions& options,
                                int observations,
                                int components,
                                const ProbabilityFunctions& probability) {
  ControlLimitSet limits;
  limits.control_limit = options.control_percent;
  limits.warning = options.warning;
  limits.warning_limit = options.warning_percent;
  limits.control_line = kMissingValue;
  limits.warning_line = kMissingValue;
  // The F distribution needs A >= 1 and N - A >= 1; the engine never fits beyond that.
  if (components < 1 || observations - components < 1) return limits;

  const auto n = static_cast<double>(observations);
  const auto a = static_cast<double>(components);
  const double factor = ((n * n - 1.0) / n) / (n - a) * a;  // A(N² - 1) / (N(N - A))
  limits.control_line =
      probability.FQuantile(options.control_percent / kPercent, a, n - a) * factor;
  if (options.warning) {
    limits.warning_line =
        probability.FQuantile(options.warning_percent / kPercent, a, n - a) * factor;
  }
  return limits;
}

std::vector<double> ComputeSPE(const DMatrix& residuals,
                               const std::vector<bool>& excluded_rows,
                               const std::vector<bool>& excluded_variables) {
  std::vector<double> spe(residuals.rows(), kMissingValue);
  for (std::size_t row = 0; row < residuals.rows(); ++row) {
    if (!IsExcluded(excluded_rows, row))
      spe[row] = RowResidualSS(residuals, row, excluded_variables);
  }
  return spe;
}

ControlLimitSet ComputeSPELimits(std::span<const double> spe,
                                 const ChartLimitOptions& options,
                                 const ProbabilityFunctions& probability) {
  const RunningMoments moments = MomentsOfPresent(spe);
  const double mean = moments.mean;                  // m
  const double variance = moments.SampleVariance();  // v
  ControlLimitSet limits;
  limits.control_limit = options.control_percent;
  limits.warning = options.warning;
  limits.warning_limit = options.warning_percent;

  // Scaled chi-square approximation of the SPE distribution (Box, 1954; Nomikos and MacGregor,
  // 1995): g·χ²(h) with the mean and variance of the training SPE. When every SPE is equal
  // (v = 0, or m = 0, which for sums of squares means all are 0) h would be infinite and the
  // distribution is a point mass at m: every quantile, and so every line, is m itself.
  const auto line = [&](double percent) {
    if (IsTolerantZero(variance) || IsTolerantZero(mean)) return mean;
    const double g = variance / (2.0 * mean);
    const double h = 2.0 * mean * mean / variance;
    return g * probability.ChiSquareQuantile(percent / kPercent, h);
  };
  limits.control_line = line(options.control_percent);
  limits.warning_line = options.warning ? line(options.warning_percent) : kMissingValue;
  return limits;
}

ControlLimitSet ComputeScoreLimits(std::span<const double> scores,
                                   int observations,
                                   const ScoreLimitOptions& options,
                                   const ProbabilityFunctions& probability) {
  const RunningMoments moments = MomentsOfPresent(scores);
  ControlLimitSet limits;
  limits.control_limit = options.control;
  limits.warning = options.warning;
  limits.warning_limit = options.warning_value;
  const int dof = observations - 1;  // N - 1 of the model, not the count of scores used
  limits.degrees_of_freedom = dof;
  limits.standard_deviation = dof >= 1 ? std::sqrt(moments.m2 / dof) : 0.0;
  const double deviation = limits.standard_deviation;

  const auto set = [&](double value, double& upper, double& lower) {
    if (options.type == ScoreLimitType::kStandardDeviations) {
      upper = moments.mean + value * deviation;
      lower = moments.mean - value * deviation;
    } else if (dof >= 1) {
      upper = probability.StudentTQuantile(0.5 + value / 2.0, dof) * deviation;
      lower = probability.StudentTQuantile(0.5 - value / 2.0, dof) * deviation;
    } else {
      // Student's t needs at least one degree of freedom.
      upper = kMissingValue;
      lower = kMissingValue;
    }
  };
  set(options.control, limits.upper_control, limits.lower_control);
  if (options.warning) {
    set(options.warning_value, limits.upper_warning, limits.lower_warning);
  } else {
    limits.upper_warning = kMissingValue;
    limits.lower_warning = kMissingValue;
  }
  return limits;
}

DistanceToModel ComputeDistanceToModel(const DMatrix& residuals,
                                       const std::vector<bool>& excluded_rows,
                                       const std::vector<bool>& excluded_variables,
                                       int observations,
                                       int variables,
                                       int components) {
  DistanceToModel result;
  result.distance.assign(residuals.rows(), kMissingValue);
  result.pooled = kMissingValue;
  // A model with as many components as variables reproduces every row: no residual degree of
  // freedom is left and the distance is not defined.
  const int residual_dof = variables - components;  // K - A
  if (residual_dof < 1) return result;

  double pooled_sum = 0.0;
  for (std::size_t row = 0; row < residuals.rows(); ++row) {
    if (IsExcluded(excluded_rows, row)) continue;
    const double variance = RowResidualSS(residuals, row, excluded_variables) / residual_dof;
    result.distance[row] = std::sqrt(variance);
    pooled_sum += variance;
  }
  const int pooled_dof = observations - components - 1;  // N - A - 1
  if (pooled_dof >= 1) result.pooled = std::sqrt(pooled_sum / pooled_dof);
  return result;
}

std::string FormatLimitLineLabel(double line, double percent, bool warning) {
  return FormatMessage(
      warning ? MessageId::kCriticalValueWarning : MessageId::kCriticalValueControl, line, percent);
}

std::string FormatScoreLimitSubtitle(const ScoreLimitOptions& options, bool warning) {
  const double value = warning ? options.warning_value : options.control;
  if (options.type == ScoreLimitType::kStandardDeviations) {
    return FormatMessage(
        warning ? MessageId::kScoreWarningLimitStdDev : MessageId::kScoreControlLimitStdDev, value);
  }
  return FormatMessage(
      warning ? MessageId::kScoreWarningLimitPValue : MessageId::kScoreControlLimitPValue,
      value * kPercent);
}

}  // namespace mspc
