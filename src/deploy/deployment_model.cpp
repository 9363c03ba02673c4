#include "deploy/deployment_model.hpp"

namespace mspc {

CDeploymentModel::CDeploymentModel(CAnalysisSupport* analysis) : CMultivariate(analysis) {}

ModelKind CDeploymentModel::Kind() const { return ModelKind::kDeployment; }

}  // namespace mspc
