#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "batch/trajectory.hpp"
#include "batch/unfolding.hpp"
#include "pca/pca_model.hpp"

namespace mspc {

/// The settings of the TMPCA Results dialog beyond those it shares with PCA (the chart and score
/// limits, the components to plot, the observation of the contributions, the sort of the
/// importance, the scree plot's count and the export name, in `report_options()`).
struct TimeWiseReportOptions {
  TrajectoryOptions trajectory;     // the bands' multipliers and the warning switch
  bool limits_as_regions = false;   // TrajectoryLimitsAsRegions: bands drawn as closed regions
  bool original_scale = true;       // UseOriginalScale: trajectories in the variables' units
  bool text_labels = true;          // DisplayTextLabels: graphs carry their point labels
  bool markers = true;              // ShowMarkersForScoreControlChart
  std::string trajectory_variable;  // VariableForTrajectory; empty: the first process column
  std::vector<std::string> batches_to_display;  // BatchesToDisplay: batch labels
};

/// The time-wise multi-way PCA model: one row per batch, every variable at every time. The
/// batches are unfolded into one row each (columns k × J + j), screened by batch and by
/// variable at time, scaled column by column and fitted by the PCA engine with the batches as
/// observations.
class CMPCAModel : public CPCAModel {
 public:
  explicit CMPCAModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
  /// Unfold the batch data, screen and scale them, and fit components by the options'
  /// component mode. A cancel during the fit keeps the components accepted before it, with a
  /// note that says so; any other failure leaves the model without a fit.
  void Run(const StartupOptions& options) override;

  /// The counts and labels of the last run's batches and times. The process block (column
  /// statistics, names "variable {time}", screening) is the model's `working_data()`, and the
  /// unfolded matrix itself has gone to the engine, which keeps it scaled and deflates it into
  /// the residuals; the PCA model's component commands and reports serve the fit as they stand.
  const BatchData& batch_data() const { return batch_data_; }

  /// The Results settings of the time-wise reports (trajectories, labels, scale).
  TimeWiseReportOptions& time_wise_options() { return time_wise_options_; }
  const TimeWiseReportOptions& time_wise_options() const { return time_wise_options_; }

  /// The values of process column `variable` (0 <= variable < J) of every batch at every time,
  /// rebuilt from the fit (residuals plus scores times loadings) in the variable's own units;
  /// batches × times, NaN for missing cells and removed batches. Only while `IsFitted()`.
  DMatrix TrajectoryValues(std::size_t variable) const;
  /// The trajectory of process column `variable` with its bands under the model's options.
  TrajectoryBands Trajectory(std::size_t variable) const;

 private:
  BatchData batch_data_;
  TimeWiseReportOptions time_wise_options_;
};

}  // namespace mspc
