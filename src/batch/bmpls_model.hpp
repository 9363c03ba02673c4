#pragma once

#include <cstddef>
#include <vector>

#include "batch/batch_pls_model.hpp"
#include "batch/batch_pls_reports.hpp"
#include "batch/trajectory.hpp"
#include "batch/unfolding.hpp"
#include "models/control_limits.hpp"
#include "models/monitoring.hpp"

namespace mspc {

class ProbabilityFunctions;

/// A statistic of a batch-time model regrouped by time, with per-time limits.
struct TimeLimits {
  DMatrix values;                       // batches × times; NaN for removed rows
  std::vector<ControlLimitSet> limits;  // per time
};

/// The score limits of every time (column of `scores`, batches in rows, NaN where a batch has
/// no score), each from that time's scores alone. At time k the n_k batches with a score give
/// the mean m_k and s_k = sqrt(sum (t - m_k)² / (n_k - 1)) with n_k - 1 degrees of freedom: the
/// batches are the observations of a time, so the degrees of freedom follow from the number of
/// batches (I - 1 when no batch was removed), not from the I × K observations of the model.
/// The limits are m_k ± c·s_k by standard deviations and m_k + t⁻¹(0.5 ± p/2; n_k - 1)·s_k by
/// p-value: a time's scores are centred on their own mean, which lies away from zero for most
/// times, so both kinds are centred there. A time with fewer than two scores has not-a-number
/// lines.
std::vector<ControlLimitSet> ScoreLimitsByTime(const DMatrix& scores,
                                               const ScoreLimitOptions& options,
                                               const ProbabilityFunctions& probability);

/// The SPE(Q) lines of every time (column of `spe`), each by g·χ²⁻¹(c/100; h) from the mean and
/// variance of that time's SPE values. A time with fewer than two values has not-a-number lines.
std::vector<ControlLimitSet> SPELimitsByTime(const DMatrix& spe,
                                             const ChartLimitOptions& options,
                                             const ProbabilityFunctions& probability);

/// The batch-wise multi-way PLS model: one observation per batch and time (row i × K + k), the
/// process variables as predictors and the time as the single dependent, fitted by the PLS
/// engine. Batches are monitored by time: score trajectories with per-time score limits and the
/// SPE(Q) of every time with its own lines.
class CBMPLSModel : public BatchPLSModel {
 public:
  explicit CBMPLSModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
  /// Unfold one row per batch and time with the time as the dependent, screen and scale both
  /// sides, and fit components by the options. A cancel during the fit keeps the components
  /// stored before it, with a note that says so; any other failure leaves no fit.
  void Run(const StartupOptions& options) override;

  /// The values of process column `variable` (0 <= variable < J) as batches × times, in the
  /// variable's own units; NaN for missing cells and removed rows.
  DMatrix TrajectoryValues(std::size_t variable) const;
  TrajectoryBands Trajectory(std::size_t variable) const;

  /// The X scores of component `component` (1-based) as batches × times, with the per-time
  /// score limits (`ScoreLimitsByTime`).
  TimeLimits ScoreTrajectory(int component,
                             const ScoreLimitOptions& options,
                             const ProbabilityFunctions& probability) const;
  /// The SPE(Q) of every observation as batches × times, with the per-time lines.
  TimeLimits SPEByTime(const ChartLimitOptions& options,
                       const ProbabilityFunctions& probability) const;

 protected:
  void CheckScreenedBatches(const BatchData& data) override;

 private:
  /// Regroup one value per observation (row i × K + k) into batches × times.
  DMatrix ByTime(const std::vector<double>& per_row) const;
};

}  // namespace mspc
