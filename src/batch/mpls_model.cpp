#include "batch/mpls_model.hpp"

namespace mspc {

CMPLSModel::CMPLSModel(CAnalysisSupport* analysis) : CPLSModel(analysis) {}

ModelKind CMPLSModel::Kind() const { return ModelKind::kTMPLS; }

}  // namespace mspc
