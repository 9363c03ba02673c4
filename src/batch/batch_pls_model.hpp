#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "batch/batch_pls_reports.hpp"
#include "batch/trajectory.hpp"
#include "batch/unfolding.hpp"
#include "pls/pls_model.hpp"

namespace mspc {

/// What the two batch PLS models share: the unfolding they were fitted to, the trajectory and
/// report settings of their Results, and the run that reads, screens and fits the batch data.
class BatchPLSModel : public CPLSModel {
 public:
  explicit BatchPLSModel(CAnalysisSupport* analysis);

  /// The counts, labels and column statistics of the last run's unfolding. Its blocks have
  /// gone to the model (`predictors()`, `dependents()`).
  const BatchData& batch_data() const { return batch_data_; }

  /// The multipliers and the warning switch of the trajectory bands (Results settings).
  TrajectoryOptions& trajectory_options() { return trajectory_options_; }
  const TrajectoryOptions& trajectory_options() const { return trajectory_options_; }
  /// The other settings of the batch reports (Results settings).
  BatchReportSettings& report_settings() { return report_settings_; }
  const BatchReportSettings& report_settings() const { return report_settings_; }

 protected:
  /// How a kind reads its batch data.
  struct BatchFit {
    BatchLayout layout = BatchLayout::kBatchRows;
    bool with_dependents = false;  // the dependents are selected (else the time is the one)
    ScreeningKind predictors = ScreeningKind::kTMPLSPredictors;
    ScreeningKind dependents = ScreeningKind::kTMPLSDependents;
  };

  /// Drop the old fit, check the fit options, unfold the table's batch data in `fit.layout`,
  /// screen the predictors, make the kind's own check (`CheckScreenedBatches`), screen the
  /// dependents on the rows the predictors kept, and fit components by the options. A cancel
  /// during the fit keeps the components stored before it, with a note that says so; any other
  /// failure leaves the model without a fit.
  void RunBatchFit(const StartupOptions& options, const BatchFit& fit);
  /// A kind's check of the unfolded data once its predictors are screened; throws
  /// `AnalysisStop`. None by default.
  virtual void CheckScreenedBatches(const BatchData& data);

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
