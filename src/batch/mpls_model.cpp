#include "batch/mpls_model.hpp"

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "frame/data_preparation.hpp"
#include "models/missing.hpp"

namespace mspc {
namespace {

std::vector<std::string> VariableNames(const WorkingData& block) {
  std::vector<std::string> names;
  for (const VariableInfo& info : block.variables) names.push_back(info.name);
  return names;
}

}  // namespace

void ScreenBatchDependents(CAnalysisSupport& analysis,
                           const StartupOptions& options,
                           ScreeningKind kind,
                           RemovalNotes& notes,
                           const BatchData& data,
                           const std::vector<bool>& removed_rows,
                           WorkingData& block) {
  ScreeningOptions screening = ScreeningOptionsFrom(options, VariableNames(block));
  screening.reword_stop = RawDataRewording(analysis, data);
  // The user's deviations are given for the process variables; a dependent without one (the
  // time of a batch-time model, or a dependent left out of the list) keeps the usual scale.
  if (screening.scaling == ScalingMode::UserDefinedStandardDeviations) {
    for (const double scale : screening.user_scales) {
      if (IsMissing(scale)) screening.scaling = ScalingMode::UnitStandardDeviations;
    }
  }
  block.removed_cases = removed_rows;
  // Rows are compared with the case flags before the screen: none of them was removed by the
  // dependents' own case screen, which the dependents do not have.
  ScreenWorkingColumns(analysis, screening, kind, notes, block, removed_rows);
  if (analysis.host().output != nullptr) ReportRemovals(block.removals, *analysis.host().output);
  ComputeColumnScales(screening, block);
}

CMPLSModel::CMPLSModel(CAnalysisSupport* analysis) : CPLSModel(analysis) {}

ModelKind CMPLSModel::Kind() const { return ModelKind::kTMPLS; }

void CMPLSModel::Run(const StartupOptions& options) {
  // A new run replaces the fit; if it fails, no part of the old or the new one remains.
  prepared_ = false;
  engine_ = PLSEngine();
  predictors_ = WorkingData{};
  dependents_ = WorkingData{};
  batch_data_ = BatchData{};

  const PLSFitOptions fit_options = PLSFitOptionsFrom(options);
  if (const std::optional<MessageId> refusal = fit_options.Validate()) {
    throw AnalysisStop::With(*refusal);
  }
  BatchData data;
  {
    ReadingProgress progress(analysis());
    data = PrepareBatchData(analysis(), BatchRequestFrom(options, BatchLayout::kBatchRows, true));
    ScreenBatchBlock(analysis(),
                     ScreeningOptionsFrom(options, VariableNames(data.predictors)),
                     ScreeningKind::kTMPLSPredictors,
                     removal_notes_,
                     data,
                     data.predictors);
    ScreenBatchDependents(analysis(),
                          options,
                          ScreeningKind::kTMPLSDependents,
                          removal_notes_,
                          data,
                          data.predictors.removed_cases,
                          data.dependents);
  }
  WorkingData x = std::move(data.predictors);
  WorkingData y = std::move(data.dependents);
  data.predictors = WorkingData{};
  data.dependents = WorkingData{};
  batch_data_ = std::move(data);
  try {
    FitBlocks(std::move(x), std::move(y), fit_options);
  } catch (const UserAbort&) {
    // The components stored before the cancel are a model of their own: keep them.
    analysis().ShowMessage(MessageKind::kNote, MessageId::kCancelledByUser);
  }
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
