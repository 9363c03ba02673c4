#include "models/base_model.hpp"

#include "host/errors.hpp"

namespace mspc {

CBaseModel::CBaseModel(CAnalysisSupport* analysis)
    : analysis_(analysis), reader_(std::make_unique<CNewDataReader>(analysis)) {
  ++live_models_;
}

CBaseModel::~CBaseModel() { --live_models_; }

void CBaseModel::ApplyOptions(const StartupOptions& options) {
  startup_options_ = options;
  reader_->AutoRemoveVariables = options.auto_remove_variables ? 1 : 0;
  reader_->AutoRemoveCases = options.auto_remove_cases ? 1 : 0;
}

void CBaseModel::Run(const StartupOptions& /*options*/) {
  throw AnalysisStop::With(MessageId::kFittingNotAvailable);
}

CMultivariate::CMultivariate(CAnalysisSupport* analysis) : CBaseModel(analysis) {}

void CMultivariate::ApplyOptions(const StartupOptions& options) {
  CBaseModel::ApplyOptions(options);
  fit_options_.component_mode = options.component_mode;
  fit_options_.max_components = options.num_components;
  fit_options_.eigenvalue_limit = options.min_eigenvalue;
  fit_options_.cross_validation_method = CrossValidationMethodNumber(options.cross_validation);
  fit_options_.max_iterations = options.max_iterations;
  fit_options_.convergence_criterion = options.convergence_criterion;
}

}  // namespace mspc
