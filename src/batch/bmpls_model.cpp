#include "batch/bmpls_model.hpp"

namespace mspc {

CBMPLSModel::CBMPLSModel(CAnalysisSupport* analysis) : CPLSModel(analysis) {}

ModelKind CBMPLSModel::Kind() const { return ModelKind::kBMPLS; }

}  // namespace mspc
