#include "batch/mpca_model.hpp"

namespace mspc {

CMPCAModel::CMPCAModel(CAnalysisSupport* analysis) : CPCAModel(analysis) {}

ModelKind CMPCAModel::Kind() const { return ModelKind::kTMPCA; }

}  // namespace mspc
