#include "batch/batch_pls_model.hpp"

#include <utility>

#include "frame/data_preparation.hpp"
#include "models/missing.hpp"

namespace mspc {

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

BatchPLSModel::BatchPLSModel(CAnalysisSupport* analysis) : CPLSModel(analysis) {}

void BatchPLSModel::CheckScreenedBatches(const BatchData& /*data*/) {}

void BatchPLSModel::RunBatchFit(const StartupOptions& options, const BatchFit& fit) {
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
    data = PrepareBatchData(analysis(), BatchRequestFrom(options, fit.layout, fit.with_dependents));
    ScreenBatchBlock(analysis(),
                     ScreeningOptionsFrom(options, VariableNames(data.predictors)),
                     fit.predictors,
                     removal_notes_,
                     data,
                     data.predictors);
    CheckScreenedBatches(data);
    ScreenBatchDependents(analysis(),
                          options,
                          fit.dependents,
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

}  // namespace mspc
