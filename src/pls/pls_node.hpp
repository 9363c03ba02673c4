#pragma once

#include <cstdint>
#include <limits>
#include <vector>

namespace mspc {

/// Outcome of the cross-validated test of a PLS component and of the stop rules of a fit.
enum class PLSStatus : std::int32_t {
  kUndecided = 0,                  // no verdict (or rejected within the automatic-fit limit)
  kAccepted = 1,                   // Q² > 0
  kAcceptedBySingleDependent = 2,  // Q² <= 0, but some dependent column predicts
  kStoppedByLimit = -3,            // eigenvalue at or below its limit, or beyond the auto limit
  kNotSignificant = -4,            // not significant, or the fixed number reached
  kBeyondAutoFitLimit = -6,        // component number above Kauto
  kBeyondMaxComponents = -7,       // component number above Kmax
};

/// One PLS component: its vectors, its cross-validation figures and the sums of squares its
/// deflation removed. Plain data, copied by value; the engine appends it to its list of
/// stored components.
struct CPLSNode {
  static constexpr double kNotComputed = std::numeric_limits<double>::quiet_NaN();

  bool fitted = false;               // computed on all (non-held-out) cases
  std::int32_t component = 0;        // k = K + 1 at creation
  std::int32_t iterations = 0;       // NIPALS passes made
  std::int64_t dof_at_creation = 0;  // the model's budget D when the node was created
  std::int64_t dof_cost = 0;         // N - 2k + P, subtracted from D when stored
  PLSStatus status = PLSStatus::kUndecided;
  double b = 0.0;        // inner coefficient of u on t
  double lambda = -1.0;  // t't / (N - 1) of the last pass; -1 before the first

  double q2 = kNotComputed;             // 1 - PRESS Y / remaining SS Y
  double q2_cumulative = kNotComputed;  // 1 - prod_k (PRESS Y / remaining SS Y)
  double q2_limit = 0.0;
  double press_x = kNotComputed;  // totals over the held-out cells
  double press_y = kNotComputed;

  double explained_ss_x = 0.0;  // removed by this component's deflation
  double explained_ss_y = 0.0;
  double cumulative_explained_ss_x = 0.0;  // this and every earlier component
  double cumulative_explained_ss_y = 0.0;
  double remaining_ss_x = 0.0;  // before this component
  double remaining_ss_y = 0.0;

  std::vector<double> t;  // X scores, one per case
  std::vector<double> p;  // X loadings, one per X column
  std::vector<double> u;  // Y scores, one per case
  std::vector<double> q;  // Y loadings, unit length
  std::vector<double> w;  // X weights, unit length
  std::vector<double> press_x_per_column;
  std::vector<double> press_y_per_column;
  std::vector<double> explained_ss_x_per_column;
  std::vector<double> explained_ss_y_per_column;
};

/// Whether a status accepts the component.
inline bool IsAccepted(PLSStatus status) { return static_cast<std::int32_t>(status) > 0; }

}  // namespace mspc
