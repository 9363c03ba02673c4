#include "frame/hierarchical_model.hpp"

namespace mspc {

CHierarchicalModel::CHierarchicalModel(CAnalysisSupport* analysis) : CBaseModel(analysis) {}

ModelKind CHierarchicalModel::Kind() const { return ModelKind::kHierarchical; }

}  // namespace mspc
