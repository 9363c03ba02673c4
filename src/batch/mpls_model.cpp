#include "batch/mpls_model.hpp"

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "frame/data_preparation.hpp"
#include "models/missing.hpp"

namespace mspc {
CMPLSModel::CMPLSModel(CAnalysisSupport* analysis) : BatchPLSModel(analysis) {}

ModelKind CMPLSModel::Kind() const { return ModelKind::kTMPLS; }

void CMPLSModel::Run(const StartupOptions& options) {
  RunBatchFit(options,
              {BatchLayout::kBatchRows,
               true,
               ScreeningKind::kTMPLSPredictors,
               ScreeningKind::kTMPLSDependents});
}

DMatrix CMPLSModel::TrajectoryValues(std::size_t variable) const {
  const PLSEngine& engine = engine_;
  const DMatrix residuals = engine.XResiduals();
  // The residual of a cell the fit used; for a cell of a removed column the scaled value
  // itself, since no component took anything from it; missing for a missing cell or a removed
  // batch.
  const ResidualOf residual = [&](std::size_t row, std::size_t col) {
    if (engine.IsRowExcluded(row)) return kMissingValue;
    if (engine.IsValidX(row, col)) return residuals(row, col);
    return engine.ScaledX()(row, col);
  };
  const std::vector<CPLSNode>& nodes = engine.Nodes();
  DMatrix loadings(nodes.size(), engine.XCols(), 0.0);
  for (std::size_t component = 0; component < nodes.size(); ++component) {
    for (std::size_t col = 0; col < engine.XCols(); ++col) {
      loadings(component, col) = nodes[component].p[col];
    }
  }
  return RebuildTimeWiseValues(residual,
                               engine.XScores(),
                               loadings,
                               engine.XScaling().mean,
                               engine.XScaling().scale,
                               batch_data_.columns_per_time,
                               variable);
}

TrajectoryBands CMPLSModel::Trajectory(std::size_t variable) const {
  return ComputeTrajectoryBands(TrajectoryValues(variable), trajectory_options_);
}

}  // namespace mspc
