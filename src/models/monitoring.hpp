#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/messages.hpp"
#include "models/control_limits.hpp"
#include "models/dmatrix.hpp"

namespace mspc {

class ProbabilityFunctions;

/// Confidence levels of the Hotelling T² and SPE(Q) charts, in percent.
struct ChartLimitOptions {
  double control_percent = 99.0;
  bool warning = true;
  double warning_percent = 95.0;

  /// The message of the first broken rule: control in [50, 100); warning in [50, 100) and
  /// below the control limit.
  std::optional<MessageId> Validate() const;
};

/// How the limits of the score charts are set.
enum class ScoreLimitType {
  kPValue,              // centred on zero: t quantile with N - 1 degrees of freedom times s
  kStandardDeviations,  // centred on the mean: mean ± k·s
};

/// Settings of the score-chart limits; the defaults are those of the p-value type.
struct ScoreLimitOptions {
  ScoreLimitType type = ScoreLimitType::kPValue;
  double control = 0.99;
  bool warning = true;
  double warning_value = 0.95;

  /// The defaults of a limit type: p-values 0.99 and 0.95, or 3 and 2 standard deviations.
  static ScoreLimitOptions Defaults(ScoreLimitType type);
  /// The message of the first broken rule: p-values lie strictly between 0.5 and 1.
  std::optional<MessageId> Validate() const;
};

/// Hotelling T²_i = sum_a (t_ia / s_a)² of every row of `scores` (N × A); a component whose
/// standard deviation is zero adds nothing. Excluded rows get not-a-number.
std::vector<double> ComputeHotellingT2(const DMatrix& scores,
                                       std::span<const double> score_deviations,
                                       const std::vector<bool>& excluded_rows);

/// T² control (and warning) line: F⁻¹(c/100; A, N - A) · A(N² - 1) / (N(N - A)). With A < 1
/// or N - A < 1 the limit is not defined and the lines are not-a-number.
ControlLimitSet ComputeT2Limits(const ChartLimitOptions& options,
                                int observations,
                                int components,
                                const ProbabilityFunctions& probability);

/// SPE_i = sum_j e_ij² over the variables present in row i. Excluded rows get not-a-number.
std::vector<double> ComputeSPE(const DMatrix& residuals,
                               const std::vector<bool>& excluded_rows,
                               const std::vector<bool>& excluded_variables);

/// SPE(Q) lines g·χ²⁻¹(c/100; h) with g = v / (2m), h = 2m² / v from the mean m and sample
/// variance v of the values that are not not-a-number. Throws `AnalysisStop` when no value is
/// left.
ControlLimitSet ComputeSPELimits(std::span<const double> spe,
                                 const ChartLimitOptions& options,
                                 const ProbabilityFunctions& probability);

/// Limits of one component's score chart from its scores (not-a-number entries are skipped),
/// with s = sqrt(sum (t - mean)² / (N - 1)) and N - 1 degrees of freedom, N being the model's
/// number of observations. Throws `AnalysisStop` when no score is left.
ControlLimitSet ComputeScoreLimits(std::span<const double> scores,
                                   int observations,
                                   const ScoreLimitOptions& options,
                                   const ProbabilityFunctions& probability);

/// Distance of every row to the model and the pooled value s0.
struct DistanceToModel {
  std::vector<double> distance;  // d_i; not-a-number for excluded rows
  double pooled = 0.0;           // s0
};

/// d_i = sqrt(sum_j e_ij² / (K - A)) over the variables present, and
/// s0 = sqrt(sum_i (sum_j e_ij² / (K - A)) / (N - A - 1)). With K - A < 1 every d_i and s0, and
/// with N - A - 1 < 1 s0, have no degrees of freedom left and are not-a-number.
DistanceToModel ComputeDistanceToModel(const DMatrix& residuals,
                                       const std::vector<bool>& excluded_rows,
                                       const std::vector<bool>& excluded_variables,
                                       int observations,
                                       int variables,
                                       int components);

/// The label of a limit line: "Critical value = ... (99.00% Control limit)" or the warning one.
std::string FormatLimitLineLabel(double line, double percent, bool warning);
/// The subtitle of a score chart for its control or warning limit.
std::string FormatScoreLimitSubtitle(const ScoreLimitOptions& options, bool warning);

}  // namespace mspc
