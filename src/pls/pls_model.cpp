#include "pls/pls_model.hpp"

namespace mspc {

CPLSModel::CPLSModel(CAnalysisSupport* analysis) : CMultivariate(analysis) {}

ModelKind CPLSModel::Kind() const { return ModelKind::kPLS; }

}  // namespace mspc
