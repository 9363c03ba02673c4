#pragma once

#include <cstdint>
#include <limits>
#include <vector>

namespace mspc {

/// Outcome of fitting and judging one component. Positive values accept the component; the
/// negative ones say why it was not accepted.
enum class NodeState : int {
  kUndecided = 0,
  kAccepted = 1,
  kEigenvalueBelowLimit = -1,
  kTooManyComponents = -2,  // beyond the requested count or what the degrees of freedom allow
  kNotSignificant = -3,     // cross-validation found nothing to predict: the fitting ends
  kNotAccepted = -4,        // cross-validation did not support it: the fitting goes no further
};

/// Whether a component is accepted by its state.
inline bool IsAccepted(NodeState state) { return static_cast<int>(state) > 0; }

/// What cross-validation said of a component, for the "Significance" column.
enum class Significance { kUnknown, kSignificant, kNotSignificant };

/// One fitted principal component with its statistics. Plain data: the engine fills it and
/// copies it by value into its list of accepted components.
struct CPCANode {
  static constexpr double kNotComputed = std::numeric_limits<double>::quiet_NaN();

  int component = 0;    // 1-based: number of components before it + 1
  bool fitted = false;  // a fit request for a node with this flag set returns at once
  NodeState state = NodeState::kUndecided;
  Significance significance = Significance::kUnknown;
  int iterations = 0;           // NIPALS iterations used
  double eigenvalue = 0.0;      // t't / (N - 1)
  double score_mean = 0.0;      // over the non-excluded rows
  double score_variance = 0.0;  // sample variance (divisor count - 1; 0 when count <= 1)
  std::int64_t dof_cost = 0;    // N + K - 2a, given back when the component is removed

  std::vector<double> t;                          // scores, one per row
  std::vector<double> p;                          // loadings, unit length over the variables
  std::vector<double> explained_ss_per_variable;  // sum_i (t_i p_j)^2 taken out of column j
  std::vector<double> press_per_variable;         // cross-validation, per column
  std::vector<double> q2_per_variable;            // 1 - PRESS_j / SS_j; -444 when excluded

  double ss_explained = 0.0;             // taken out by this component
  double cumulative_ss_explained = 0.0;  // taken out by components 1..a
  double previous_residual_ss = 0.0;     // before this component (total SS for the first)
  double residual_ss = 0.0;              // after this component was taken out

  double press = kNotComputed;  // sum of squared prediction errors
  double q2 = kNotComputed;     // 1 - PRESS / previous residual SS
  double q2_cumulative = kNotComputed;
  double limit = kNotComputed;  // (N + K - 2a) / D that Q² must exceed
};

}  // namespace mspc
