#pragma once

#include <memory>
#include <string>
#include <utility>

#include "frame/analysis_support.hpp"
#include "frame/data_reader.hpp"
#include "frame/startup_options.hpp"

namespace mspc {

/// The kind of a model object, one per row of the MSPC Startup list (plus the hierarchical
/// model, reachable by automation only).
enum class ModelKind { kPCA, kPLS, kTMPCA, kTMPLS, kBMPLS, kDeployment, kHierarchical };

/// The base of every model: a back pointer to the owning analysis, the model's own data reader
/// and the options its Startup dialog stored.
///
/// The analysis is seen through its host base `CAnalysisSupport` (the analysis object `CMSPC`
/// derives from it): models sit below the analysis object and do not include from it.
class CBaseModel {
 public:
  /// Create the model's data reader bound to `analysis`.
  explicit CBaseModel(CAnalysisSupport* analysis);
  virtual ~CBaseModel();
  CBaseModel(const CBaseModel&) = delete;
  CBaseModel& operator=(const CBaseModel&) = delete;

  virtual ModelKind Kind() const = 0;
  /// Whether the model holds a fit that Results and Details dialogs can show.
  virtual bool IsFitted() const { return false; }

  /// Store the Startup dialog's validated options in the model and its data reader.
  virtual void ApplyOptions(const StartupOptions& options);
  /// Read, screen, scale and fit the data by the stored options. Throws `AnalysisStop` with
  /// the message of the check that failed; a failure leaves no partial fit behind.
  virtual void Run(const StartupOptions& options);

  CAnalysisSupport& analysis() const { return *analysis_; }
  CNewDataReader* data_reader() const { return reader_.get(); }
  const StartupOptions& startup_options() const { return startup_options_; }
  const std::string& name() const { return name_; }
  void set_name(std::string name) { name_ = std::move(name); }
  /// The range of component counts a fit may reach: cross-validation stops at the upper end.
  int MinComponentLimit() const { return min_component_limit_; }
  int MaxComponentLimit() const { return max_component_limit_; }

  /// Number of model objects alive in the process; the analysis owns at most one, so a count
  /// above one (or any left after the analysis is gone) is a leak.
  static int LiveModels() { return live_models_; }

 private:
  CAnalysisSupport* analysis_;
  std::unique_ptr<CNewDataReader> reader_;
  int min_component_limit_ = 1;
  int max_component_limit_ = 50;
  std::string name_;
  StartupOptions startup_options_;

  inline static int live_models_ = 0;
};

/// The options of a multivariate fit, with the defaults every model starts from.
struct FitOptions {
  ComponentMode component_mode = ComponentMode::AutoFitByCrossValidation;
  int max_components = 1;           // the fixed number of components, at least 1
  double eigenvalue_limit = 1.0;    // components while the eigenvalue exceeds this
  int cross_validation_method = 1;  // 0 off, 1 V-fold, 2 the kind's second method
  int max_iterations = 50;          // NIPALS iterations per component, 1..1000
  double convergence_criterion = 0.0001;
  bool grouped_cross_validation = false;  // hold out by fold numbers rather than single rows
};

/// The base of every fitted model kind: the fit options.
class CMultivariate : public CBaseModel {
 public:
  explicit CMultivariate(CAnalysisSupport* analysis);

  /// Store the options and map them onto the fit options.
  void ApplyOptions(const StartupOptions& options) override;

  const FitOptions& fit_options() const { return fit_options_; }
  FitOptions& fit_options() { return fit_options_; }

 private:
  FitOptions fit_options_;
};

}  // namespace mspc
