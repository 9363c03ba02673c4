#pragma once

#include <cstddef>
#include <memory>

#include "batch/trajectory.hpp"
#include "batch/unfolding.hpp"
#include "pca/pca_engine.hpp"
#include "pca/pca_model.hpp"

namespace mspc {

/// The time-wise multi-way PCA model: one row per batch, every variable at every time. The
/// batches are unfolded into one row each (columns k × J + j), screened by batch and by
/// variable at time, scaled column by column and fitted by the PCA engine with the batches as
/// observations.
class CMPCAModel : public CPCAModel {
 public:
  explicit CMPCAModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
  /// Whether a time-wise fit exists, even one that accepted no component.
  bool IsFitted() const override { return time_wise_engine_ != nullptr; }
  /// Unfold the batch data, screen and scale them, and fit components by the options'
  /// component mode. A cancel during the fit keeps the components accepted before it, with a
  /// note that says so; any other failure leaves the model without a fit.
  void Run(const StartupOptions& options) override;

  /// The unfolded data of the last run, with their counts, labels, column statistics and
  /// screening. The unfolded matrix itself has gone to the engine, which keeps it scaled and
  /// deflates it into the residuals.
  const BatchData& batch_data() const { return batch_data_; }
  /// The fitted engine; only while `IsFitted()`.
  const PCAEngine& time_wise_engine() const { return *time_wise_engine_; }
  PCAEngine& time_wise_engine() { return *time_wise_engine_; }

  /// The multipliers and the warning switch of the trajectory bands (Results settings).
  TrajectoryOptions& trajectory_options() { return trajectory_options_; }
  const TrajectoryOptions& trajectory_options() const { return trajectory_options_; }

  /// The values of process column `variable` (0 <= variable < J) of every batch at every time,
  /// rebuilt from the fit (residuals plus scores times loadings) in the variable's own units;
  /// batches × times, NaN for missing cells and removed batches. Only while `IsFitted()`.
  DMatrix TrajectoryValues(std::size_t variable) const;
  /// The trajectory of process column `variable` with its bands under the model's options.
  TrajectoryBands Trajectory(std::size_t variable) const;

 private:
  PCAFitOptions TimeWiseEngineOptions(const StartupOptions& options) const;

  RemovalNotes batch_removal_notes_;
  BatchData batch_data_;
  std::unique_ptr<PCAEngine> time_wise_engine_;
  TrajectoryOptions trajectory_options_;
};

}  // namespace mspc
