#include "pca/pca_model.hpp"

namespace mspc {

CPCAModel::CPCAModel(CAnalysisSupport* analysis) : CMultivariate(analysis) {}

ModelKind CPCAModel::Kind() const { return ModelKind::kPCA; }

}  // namespace mspc
