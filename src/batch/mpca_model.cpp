#include "batch/mpca_model.hpp"

#include <cstdint>
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

std::vector<std::string> VariableNames(const WorkingData& block) {
  std::vector<std::string> names;
  for (const VariableInfo& info : block.variables) names.push_back(info.name);
  return names;
}

}  // namespace

CMPCAModel::CMPCAModel(CAnalysisSupport* analysis) : CPCAModel(analysis) {}

ModelKind CMPCAModel::Kind() const { return ModelKind::kTMPCA; }

PCAFitOptions CMPCAModel::TimeWiseEngineOptions(const StartupOptions& options) const {
  const FitOptions& fit = fit_options();
  PCAFitOptions engine_options;
  engine_options.component_mode = fit.component_mode;
  engine_options.max_components = fit.max_components;
  engine_options.eigenvalue_limit = fit.eigenvalue_limit;
  engine_options.max_iterations = fit.max_iterations;
  engine_options.convergence = fit.convergence_criterion;
  engine_options.cross_validation_method = fit.cross_validation_method;
  engine_options.grouped = fit.grouped_cross_validation;
  engine_options.folds = options.num_folds;
  // The seed's bits as given; a negative seed is as good a seed as any other.
  engine_options.seed = static_cast<std::uint64_t>(static_cast<std::int64_t>(options.random_seed));
  engine_options.random_folds = options.random_folds;
  return engine_options;
}

void CMPCAModel::Run(const StartupOptions& options) {
  // A new run replaces the fit; if it fails, no part of the old or the new one remains.
  time_wise_engine_.reset();
  batch_data_ = BatchData{};

  BatchData data;
  {
    ReadingProgress progress(analysis());
    data = PrepareBatchData(analysis(), BatchRequestFrom(options, BatchLayout::kBatchRows, false));
    ScreenBatchBlock(analysis(),
                     ScreeningOptionsFrom(options, VariableNames(data.predictors)),
                     ScreeningKind::kPCA,
                     batch_removal_notes_,
                     data,
                     data.predictors);
  }

  WorkingData& block = data.predictors;
  CenterAndScaleInPlace(block);
  auto engine = std::make_unique<PCAEngine>(TimeWiseEngineOptions(options));
  engine->SetProgress(analysis().host().progress);
  engine->SetRandomSource(analysis().host().random);
  engine->LoadScaled(std::move(block.x), block.removed_cases, block.removed_columns);
  block.x = DMatrix();
  bool cancelled = false;
  try {
    engine->AutoFit();
  } catch (const UserAbort&) {
    // The components accepted before the cancel are a model of their own: keep them.
    cancelled = true;
  }
  batch_data_ = std::move(data);
  time_wise_engine_ = std::move(engine);
  if (cancelled) analysis().ShowMessage(MessageKind::kNote, MessageId::kCancelledByUser);
}

DMatrix CMPCAModel::TrajectoryValues(std::size_t variable) const {
  const PCAEngine& engine = *time_wise_engine_;
  // The residual of a cell the fit used; for a cell of a removed column the scaled value
  // itself, since no component took anything from it; missing for a missing cell or a removed
  // batch.
  const ResidualOf residual = [&engine](std::size_t row, std::size_t col) {
    if (engine.IsRowExcluded(row) || engine.IsMissingCell(row, col)) return kMissingValue;
    if (engine.IsValidCell(row, col)) return engine.Residual(row, col);
    return engine.ScaledInput()(row, col);
  };
  const WorkingData& block = batch_data_.predictors;
  return RebuildTimeWiseValues(residual,
                               engine.Scores(),
                               engine.Loadings(),
                               block.mean,
                               block.scale,
                               batch_data_.columns_per_time,
                               variable);
}

TrajectoryBands CMPCAModel::Trajectory(std::size_t variable) const {
  return ComputeTrajectoryBands(TrajectoryValues(variable), trajectory_options_);
}

}  // namespace mspc
