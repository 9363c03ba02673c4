#include "pca/pca_model.hpp"

#include <utility>

#include "frame/data_preparation.hpp"

namespace mspc {
namespace {

// The largest selection a PCA accepts: far above any plant data set, low enough that the
// column count always fits the 32-bit counts of the model document.
constexpr int kMaxPCAVariables = 100000;

}  // namespace

CPCAModel::CPCAModel(CAnalysisSupport* analysis) : CMultivariate(analysis) {}

ModelKind CPCAModel::Kind() const { return ModelKind::kPCA; }

void CPCAModel::Run(const StartupOptions& options) {
  PreparationRequest request;
  request.selection.variables = options.variables;
  request.selection.categorical = options.categorical_variables;
  request.screening = ScreeningOptionsFrom(options, options.variables);
  request.kind = ScreeningKind::kPCA;
  request.limits.max_variables = kMaxPCAVariables;
  request.apply_memory_limit = options.apply_memory_limit;
  request.memory_limit_mb = options.memory_limit_mb;
  WorkingData data = PrepareWorkingData(analysis(), *data_reader(), request, removal_notes_);
  working_data_ = std::move(data);
  throw AnalysisStop::With(MessageId::kFittingNotAvailable);
}

}  // namespace mspc
