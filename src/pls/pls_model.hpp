#pragma once

#include "frame/screening.hpp"
#include "frame/working_data.hpp"
#include "models/base_model.hpp"
#include "pls/pls_coefficients.hpp"
#include "pls/pls_engine.hpp"

namespace mspc {

/// The partial least squares model between a predictor and a dependent block.
class CPLSModel : public CMultivariate {
 public:
  explicit CPLSModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
  /// Whether at least one component is stored.
  bool IsFitted() const override;
  /// Read the predictors and dependents, screen and scale them, and fit components by the
  /// options. A cancel (`UserAbort`) keeps the components stored before it.
  ///
  /// Screening: a case with no dependent value is removed first, with the dependents'
  /// case-count cause; the remaining cases are screened by their predictors; then the predictor
  /// columns and the dependent columns are screened, each with its own causes.
  void Run(const StartupOptions& options) override;

  /// The screened predictor (X) and dependent (Y) blocks of the last run.
  const WorkingData& predictors() const { return predictors_; }
  const WorkingData& dependents() const { return dependents_; }
  /// "Classification" when a categorical dependent is in the model, else "Regression".
  PLSModelType ModelType() const;
  const PLSEngine& engine() const { return engine_; }
  PLSEngine& engine() { return engine_; }

 private:
  RemovalNotes removal_notes_;
  WorkingData predictors_;
  WorkingData dependents_;
  PLSEngine engine_;
};

/// The fit options of a PLS model from the options of its Startup.
PLSFitOptions PLSFitOptionsFrom(const StartupOptions& options);

}  // namespace mspc
