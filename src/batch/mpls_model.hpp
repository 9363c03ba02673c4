#pragma once

#include <cstddef>

#include "batch/batch_pls_model.hpp"

namespace mspc {

/// The time-wise multi-way PLS model: one row per batch whose predictors are every process
/// variable at every time (columns k × J + j), and whose dependents are the batch's dependent
/// values at their times or at the cases a dependent identifier marks (columns t × D + d).
/// Both blocks are screened by batch and by column (variable at time), scaled column by column
/// and fitted by the PLS engine with the batches as observations.
class CMPLSModel : public BatchPLSModel {
 public:
  explicit CMPLSModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
  /// Unfold the batch data with their dependents, screen and scale both blocks, and fit
  /// components by the options. A cancel during the fit keeps the components stored before it,
  /// with a note that says so; any other failure leaves the model without a fit.
  void Run(const StartupOptions& options) override;

  /// The values of process column `variable` (0 <= variable < J) of every batch at every time,
  /// rebuilt from the fit (X residuals plus scores times X loadings) in the variable's own
  /// units; batches × times, NaN for missing cells and removed batches. Only while fitted.
  DMatrix TrajectoryValues(std::size_t variable) const;
  /// The trajectory of process column `variable` with its bands under the model's options.
  TrajectoryBands Trajectory(std::size_t variable) const;
};

}  // namespace mspc
