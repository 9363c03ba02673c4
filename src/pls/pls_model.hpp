#pragma once

#include "frame/screening.hpp"
#include "frame/working_data.hpp"
#include "models/base_model.hpp"
#include "pls/pls_coefficients.hpp"
#include "pls/pls_engine.hpp"
#include "pls/pls_reports.hpp"

namespace mspc {

/// The partial least squares model between a predictor and a dependent block.
class CPLSModel : public CMultivariate {
 public:
  explicit CPLSModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
  /// Whether a run prepared the blocks, even one whose fit stored no component (its reports
  /// then say so).
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
  /// The settings of the Results dialog, kept with the model while its dialogs come and go.
  PLSReportOptions& report_options() { return report_options_; }
  const PLSReportOptions& report_options() const { return report_options_; }
  /// What the reports read.
  PLSReportData report_data() const { return {engine_, predictors_, dependents_}; }

 protected:
  /// Make the screened and scaled blocks the model's and fit components by `fit_options`. The
  /// blocks become the model's only here, so a preparation that stopped before leaves nothing.
  /// A cancel during the fit (`UserAbort`) keeps the components stored before it.
  void FitBlocks(WorkingData x, WorkingData y, const PLSFitOptions& fit_options);

  RemovalNotes removal_notes_;
  WorkingData predictors_;
  WorkingData dependents_;
  PLSEngine engine_;
  PLSReportOptions report_options_;
  bool prepared_ = false;
};

/// The fit options of a PLS model from the options of its Startup.
PLSFitOptions PLSFitOptionsFrom(const StartupOptions& options);

}  // namespace mspc
