#include "batch/mpca_model.hpp"

#include <string>
#include <utility>
#include <vector>

#include "frame/data_preparation.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"

namespace mspc {
namespace {

// Centre every valid cell by its column mean and divide it by the column scale (a scale of
// zero leaves the cell centred only), in place: the engine then takes the matrix over, so the
// unfolded data are never held twice.
void CenterAndScaleInPlace(WorkingData& block) {
  DMatrix& x = block.x;
  for (std::size_t row = 0; row < x.rows(); ++row) {
    for (std::size_t col = 0; col < x.cols(); ++col) {
      double& cell = x(row, col);
      if (IsMissing(cell)) continue;
      cell -= block.mean[col];
      if (!IsTolerantZero(block.scale[col])) cell /= block.scale[col];
    }
  }
}

}  // namespace

CMPCAModel::CMPCAModel(CAnalysisSupport* analysis) : CPCAModel(analysis) {}

ModelKind CMPCAModel::Kind() const { return ModelKind::kTMPCA; }

void CMPCAModel::Run(const StartupOptions& options) {
  ResetFit();
  batch_data_ = BatchData{};
  time_wise_options_ = TimeWiseReportOptions{};

  BatchData data;
  {
    ReadingProgress progress(analysis());
    data = PrepareBatchData(analysis(), BatchRequestFrom(options, BatchLayout::kBatchRows, false));
    ScreenBatchBlock(analysis(),
                     ScreeningOptionsFrom(options, VariableNames(data.predictors)),
                     ScreeningKind::kPCA,
                     removal_notes_,
                     data,
                     data.predictors);
  }

  WorkingData block = std::move(data.predictors);
  data.predictors = WorkingData{};
  CenterAndScaleInPlace(block);
  std::unique_ptr<PCAEngine> engine = NewEngine(options);
  engine->LoadScaled(std::move(block.x), block.removed_cases, block.removed_columns);
  block.x = DMatrix();
  batch_data_ = std::move(data);
  InstallFit(std::move(block), std::move(engine));
}

DMatrix CMPCAModel::TrajectoryValues(std::size_t variable) const {
  const PCAEngine& fit = engine();
  // The residual of a cell the fit used; for a cell of a removed column the scaled value
  // itself, since no component took anything from it; missing for a missing cell or a removed
  // batch.
  const ResidualOf residual = [&fit](std::size_t row, std::size_t col) {
    if (fit.IsRowExcluded(row) || fit.IsMissingCell(row, col)) return kMissingValue;
    if (fit.IsValidCell(row, col)) return fit.Residual(row, col);
    return fit.ScaledInput()(row, col);
  };
  const WorkingData& block = working_data();
  return RebuildTimeWiseValues(residual,
                               fit.Scores(),
                               fit.Loadings(),
                               block.mean,
                               block.scale,
                               batch_data_.columns_per_time,
                               variable);
}

TrajectoryBands CMPCAModel::Trajectory(std::size_t variable) const {
  return ComputeTrajectoryBands(TrajectoryValues(variable), time_wise_options_.trajectory);
}

}  // namespace mspc
