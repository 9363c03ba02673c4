#pragma once

#include <cstddef>

#include "batch/batch_pls_reports.hpp"
#include "batch/trajectory.hpp"
#include "batch/unfolding.hpp"
#include "pls/pls_model.hpp"

namespace mspc {

/// The time-wise multi-way PLS model: one row per batch whose predictors are every process
/// variable at every time (columns k × J + j), and whose dependents are the batch's dependent
/// values at their times or at the cases a dependent identifier marks (columns t × D + d).
/// Both blocks are screened by batch and by column (variable at time), scaled column by column
/// and fitted by the PLS engine with the batches as observations.
class CMPLSModel : public CPLSModel {
 public:
  explicit CMPLSModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
  /// Unfold the batch data with their dependents, screen and scale both blocks, and fit
  /// components by the options. A cancel during the fit keeps the components stored before it,
  /// with a note that says so; any other failure leaves the model without a fit.
  void Run(const StartupOptions& options) override;

  /// The counts, labels and column statistics of the last run's unfolding. Its blocks have
  /// gone to the model (`predictors()`, `dependents()`).
  const BatchData& batch_data() const { return batch_data_; }

  /// The multipliers and the warning switch of the trajectory bands (Results settings).
  TrajectoryOptions& trajectory_options() { return trajectory_options_; }
  const TrajectoryOptions& trajectory_options() const { return trajectory_options_; }
  /// The other settings of the batch reports (Results settings).
  BatchReportSettings& report_settings() { return report_settings_; }
  const BatchReportSettings& report_settings() const { return report_settings_; }

  /// The values of process column `variable` (0 <= variable < J) of every batch at every time,
  /// rebuilt from the fit (X residuals plus scores times X loadings) in the variable's own
  /// units; batches × times, NaN for missing cells and removed batches. Only while fitted.
  DMatrix TrajectoryValues(std::size_t variable) const;
  /// The trajectory of process column `variable` with its bands under the model's options.
  TrajectoryBands Trajectory(std::size_t variable) const;

 private:
  BatchData batch_data_;
  TrajectoryOptions trajectory_options_;
  BatchReportSettings report_settings_;
};

/// Screen the dependent block of a batch model after its predictors: the rows the predictors
/// removed are removed here too, then the columns are screened (valid cases, variance) under
/// `kind`'s causes, the removals reported, and the column scales computed. A user-defined
/// scaling that has no value for a dependent column scales it by its standard deviation.
void ScreenBatchDependents(CAnalysisSupport& analysis,
                           const StartupOptions& options,
                           ScreeningKind kind,
                           RemovalNotes& notes,
                           const BatchData& data,
                           const std::vector<bool>& removed_rows,
                           WorkingData& block);

}  // namespace mspc
