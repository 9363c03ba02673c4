#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "host/messages.hpp"
#include "models/dmatrix.hpp"

namespace mspc {

/// The multipliers of a variable trajectory's bands.
struct TrajectoryOptions {
  double control_constant = 3.0;  // ConstantForTrajectoryControlLimits, c
  double warning_constant = 2.0;  // ConstantForTrajectoryWarningLimits, w
  bool warning_limits = false;    // AddTrajectoryWarningLimits

  /// The message of the first broken rule: c > 0, w > 0 and, with warning limits, w < c.
  std::optional<MessageId> Validate() const;
};

/// Per time interval: the statistics of one variable over the batches and its bands. A time
/// without values has a missing mean; a time with one value has that value as its mean and a
/// missing standard deviation and limits. Missing is NaN.
struct TrajectoryBands {
  std::vector<int> count;                  // n_k
  std::vector<double> mean;                // m_k
  std::vector<double> standard_deviation;  // sqrt(M2_k / (n_k - 1))
  std::vector<double> upper_control;       // m_k + c · sd_k
  std::vector<double> lower_control;       // m_k - c · sd_k
  std::vector<double> upper_warning;       // m_k + w · sd_k; empty without warning limits
  std::vector<double> lower_warning;       // m_k - w · sd_k; empty without warning limits
};

/// Gather, for each time (column of `values`, batches in rows, NaN where missing), the count,
/// mean and standard deviation by the running recurrence, and the control band (and, when
/// asked, the warning band) around the mean.
TrajectoryBands ComputeTrajectoryBands(const DMatrix& values, const TrajectoryOptions& options);

/// Whether a value lies inside a band: strictly above the lower and strictly below the upper
/// limit, so that a value on a limit (within 15 units in the last place) is outside. A missing
/// value or a band with a missing limit holds nothing.
bool IsInsideBand(double value, double lower, double upper);

/// Per batch and time (row-major, as `values`): whether the value lies outside its time's
/// control band and is to be highlighted. Missing values and times without limits are not.
std::vector<bool> OutsideControlBand(const DMatrix& values, const TrajectoryBands& bands);

/// The residual of one cell of a fitted time-wise matrix, NaN for a cell without data.
using ResidualOf = std::function<double(std::size_t row, std::size_t col)>;

/// Rebuild variable column `variable` (0 <= variable < J) of a time-wise fit at every time, in
/// the variable's own units: for batch i and time k, with c = k · J + variable,
/// x = (E[i, c] + sum_a t_a[i] · p_a[c]) · scale[c] + mean[c]. `scores` is batches × components
/// (NaN in rows without scores), `loadings` components × (J · K). A missing residual or score
/// leaves the value missing. Returns batches × times.
DMatrix RebuildTimeWiseValues(const ResidualOf& residual,
                              const DMatrix& scores,
                              const DMatrix& loadings,
                              std::span<const double> mean,
                              std::span<const double> scale,
                              std::size_t columns_per_time,
                              std::size_t variable);

/// The values of variable column `variable` of a batch-time matrix (row i × K + k) as
/// batches × times.
DMatrix BatchTimeValues(const DMatrix& x,
                        std::size_t num_batches,
                        std::size_t num_times,
                        std::size_t variable);

}  // namespace mspc
