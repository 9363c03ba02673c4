#include "frame/batch_pls_results.hpp"

#include <algorithm>
#include <utility>

#include "batch/batch_report_pieces.hpp"
#include "batch/bmpls_model.hpp"
#include "batch/mpls_model.hpp"
#include "frame/batch_plot_properties.hpp"
#include "frame/mspc.hpp"
#include "frame/report_pieces.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"
#include "pca/pca_reports.hpp"
#include "pls/pls_model.hpp"

namespace mspc {
namespace {

template <typename Model>
Model& FittedBatchModel(CMSPC& analysis) {
  auto* model = dynamic_cast<Model*>(analysis.CurrentModel());
  if (model == nullptr || !model->IsFitted()) {
    throw AnalysisStop::With(MessageId::kNoModelForStartup);
  }
  return *model;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// BatchPLSResults: the twin.

BatchPLSResults::BatchPLSResults(CBatchPLSResults& dialog)
    : PLSResults(dialog), batch_dialog_(dialog) {}

std::vector<AutomationProperty> BatchPLSResults::Properties() {
  std::vector<AutomationProperty> properties = PLSResults::Properties();
  for (AutomationProperty& property : BatchPlotProperties([this] {
         BatchReportSettings& settings = batch_dialog_.settings();
         return BatchPlotSettings{batch_dialog_.trajectory_options(),
                                  settings.limits_as_regions,
                                  settings.use_original_scale,
                                  settings.display_text_labels,
                                  settings.show_markers,
                                  settings.variable_for_trajectory,
                                  settings.batches_to_display};
       })) {
    properties.push_back(std::move(property));
  }
  properties.push_back(MakeFieldProperty("NumberOfEigenvaluesToPlot", [this]() -> int& {
    return batch_dialog_.settings().eigenvalues_to_plot;
  }));
  return properties;
}

#define MSPC_BATCH_COMMAND(Name)                                              \
  AutomationCommand {                                                         \
#Name, [this] { return Guarded(batch_dialog_, &CBatchPLSResults::Name); } \
  }

std::vector<AutomationCommand> BatchPLSResults::Commands() {
  std::vector<AutomationCommand> commands = PLSResults::Commands();
  for (AutomationCommand& command : std::vector<AutomationCommand>{
           MSPC_BATCH_COMMAND(Eigenvalues),
           MSPC_BATCH_COMMAND(ScreePlotOfEigenvalues),
           MSPC_BATCH_COMMAND(LineplotsOfScores),
           MSPC_BATCH_COMMAND(ScatterplotsOfScores),
           MSPC_BATCH_COMMAND(ScoreScatterSpreadsheet),
           MSPC_BATCH_COMMAND(LineplotsOfLoadings),
           MSPC_BATCH_COMMAND(ScatterplotsOfLoadings),
           MSPC_BATCH_COMMAND(LineplotsOfDToModel),
           MSPC_BATCH_COMMAND(ScaledData),
           MSPC_BATCH_COMMAND(ScoreControlChart),
           MSPC_BATCH_COMMAND(ScoreControlChartSheet),
           MSPC_BATCH_COMMAND(VariableTrajectoryPlot),
           MSPC_BATCH_COMMAND(VariableTrajectorySpreadsheet),
           MSPC_BATCH_COMMAND(CodeGeneratorPMML),
           MSPC_BATCH_COMMAND(CodeGeneratorCLang),
           MSPC_BATCH_COMMAND(CodeGeneratorKVB),
       }) {
    // A batch command of the same name as a PLS one (the exports) takes its place.
    const auto same = std::find_if(commands.begin(), commands.end(), [&](const auto& existing) {
      return existing.name == command.name;
    });
    if (same != commands.end()) {
      *same = std::move(command);
    } else {
      commands.push_back(std::move(command));
    }
  }
  return commands;
}

#undef MSPC_BATCH_COMMAND

std::string TMPLSResults::TwinName() const { return "TMPLSResults"; }
std::string BMPLSResults::TwinName() const { return "BMPLSResults"; }

std::vector<AutomationCommand> BMPLSResults::Commands() {
  std::vector<AutomationCommand> commands = BatchPLSResults::Commands();
  std::erase_if(commands,
                [](const AutomationCommand& command) { return command.name == "Details"; });
  return commands;
}

// ---------------------------------------------------------------------------------------------
// CBatchPLSResults: the reports over batches and times.

CBatchPLSResults::CBatchPLSResults(CMSPC& analysis) : CPLSResults(analysis) {}

BatchPLSReportData CBatchPLSResults::report_data() const {
  return {model().report_data(), batch_data()};
}

bool CBatchPLSResults::ResolvePlotComponents(std::vector<int>& components) {
  const CPLSModel& fitted = model();
  if (const auto refusal = ResolveComponentsToPlot(fitted.report_options().components_to_plot,
                                                   fitted.engine().ComponentCount(),
                                                   components)) {
    return Refuse(refusal->id, refusal->text);
  }
  return true;
}

bool CBatchPLSResults::ResolvePlotPair(std::vector<int>& components) {
  if (!ResolvePlotComponents(components)) return false;
  if (components.size() != 2) return Refuse(MessageId::kScatterplotNeedsTwoComponents);
  return true;
}

bool CBatchPLSResults::ScoreLineplots(bool markers) {
  std::vector<int> components;
  std::vector<ControlLimitSet> limits;
  if (!HasComponents()) return true;
  if (!ResolvePlotComponents(components) || !ScoreLimits(limits)) return false;
  for (const int component : components) {
    Route(BatchPLSScoreLineplot(report_data(),
                                component,
                                limits[static_cast<std::size_t>(component - 1)],
                                model().report_options().score,
                                markers,
                                settings().display_text_labels));
  }
  return true;
}

bool CBatchPLSResults::ScoreLimits(std::vector<ControlLimitSet>& limits) {
  if (!ScoreLimitsUsable()) return false;
  limits = ComputePLSScoreLimits(
      model().engine(), PLSScoreType::kXScores, score_limits(), probability());
  return true;
}

bool CBatchPLSResults::BatchesToDisplay(bool all_when_none, std::vector<std::size_t>& rows) {
  rows.clear();
  const BatchData& data = batch_data();
  for (const std::string& label : settings().batches_to_display) {
    const auto found = std::find(data.batch_labels.begin(), data.batch_labels.end(), label);
    if (found == data.batch_labels.end()) {
      return Refuse(MessageId::kObservationNotInModel,
                    FormatMessage(MessageId::kObservationNotInModel, label));
    }
    rows.push_back(static_cast<std::size_t>(found - data.batch_labels.begin()));
  }
  if (!rows.empty()) return true;
  // Charts of every batch draw them all; a trajectory plot without chosen batches still shows
  // the mean and the bands.
  if (all_when_none) {
    for (std::size_t batch = 0; batch < data.num_batches; ++batch) rows.push_back(batch);
  } else {
    analysis().ShowMessage(MessageKind::kWarning, MessageId::kSelectBatchesToDisplay);
  }
  return true;
}

bool CBatchPLSResults::ResolveTrajectoryVariable(std::size_t& variable) {
  return ResolveProcessColumn(
      batch_data().process_columns, settings().variable_for_trajectory, variable);
}

DMatrix CBatchPLSResults::ShownTrajectoryValues(std::size_t variable) const {
  DMatrix values = TrajectoryValues(variable);
  if (settings().use_original_scale) return values;
  // In scaled units every value is centred and divided as the model's column was.
  const BatchData& data = batch_data();
  const BlockScaling& scaling = model().engine().XScaling();
  const bool one_row_per_batch = data.layout == BatchLayout::kBatchRows;
  for (std::size_t batch = 0; batch < values.rows(); ++batch) {
    for (std::size_t time = 0; time < values.cols(); ++time) {
      const std::size_t col =
          one_row_per_batch ? time * data.columns_per_time + variable : variable;
      double& value = values(batch, time);
      if (IsMissing(value)) continue;
      value -= scaling.mean[col];
      if (!IsTolerantZero(scaling.scale[col])) value /= scaling.scale[col];
    }
  }
  return values;
}

bool CBatchPLSResults::Eigenvalues() {
  if (!HasComponents()) return true;
  Route(BatchPLSEigenvalues(model().engine()));
  return true;
}

bool CBatchPLSResults::ScreePlotOfEigenvalues() {
  if (!HasComponents()) return true;
  const int count = settings().eigenvalues_to_plot;
  if (count < 0) return Refuse(MessageId::kEigenvaluesToPlotNegative);
  Route(BatchPLSScreePlot(model().engine(), count));
  return true;
}

bool CBatchPLSResults::LineplotsOfScores() { return ScoreLineplots(false); }

bool CBatchPLSResults::ScatterplotsOfScores() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolvePlotPair(components)) return false;
  Route(BatchPLSScoreScatterplot(
      report_data(), components[0], components[1], settings().display_text_labels));
  return true;
}

bool CBatchPLSResults::ScoreScatterSpreadsheet() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolvePlotPair(components)) return false;
  Route(BatchPLSScoreScatterSpreadsheet(report_data(), components[0], components[1]));
  return true;
}

bool CBatchPLSResults::LineplotsOfLoadings() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolvePlotComponents(components)) return false;
  for (const int component : components) Route(BatchPLSLoadingLineplot(report_data(), component));
  return true;
}

bool CBatchPLSResults::ScatterplotsOfLoadings() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolvePlotPair(components)) return false;
  Route(BatchPLSLoadingScatterplot(report_data(), components[0], components[1]));
  return true;
}

bool CBatchPLSResults::LineplotsOfDToModel() {
  PLSMonitoring monitoring;
  if (!Monitoring(monitoring)) return false;
  Route(BatchPLSDistanceLineplot(report_data(), monitoring));
  return true;
}

bool CBatchPLSResults::ScaledData() {
  Route(BatchPLSScaledData(report_data()));
  return true;
}

bool CBatchPLSResults::DToModelSpreadsheet() {
  PLSMonitoring monitoring;
  if (!Monitoring(monitoring)) return false;
  Route(BatchPLSDistanceSpreadsheet(report_data(), monitoring));
  NotePooledDistance(monitoring);
  return true;
}

bool CBatchPLSResults::ScoreControlChart() { return ScoreLineplots(settings().show_markers); }

bool CBatchPLSResults::ScoreControlChartSheet() {
  // The batches' scores with those beyond their component's control limits highlighted.
  std::vector<ControlLimitSet> limits;
  if (!HasComponents()) return true;
  if (!ScoreLimits(limits)) return false;
  Spreadsheet sheet = PLSXScoreSpreadsheet(model().report_data());
  for (std::size_t row = 0; row < sheet.rows.size(); ++row) {
    for (std::size_t a = 0; a < sheet.rows[row].cells.size() && a < limits.size(); ++a) {
      const double* score = std::get_if<double>(&sheet.rows[row].cells[a]);
      if (score != nullptr &&
          !IsInsideBand(*score, limits[a].lower_control, limits[a].upper_control)) {
        sheet.highlights.emplace_back(static_cast<int>(row), static_cast<int>(a));
      }
    }
  }
  Route(sheet);
  return true;
}

bool CBatchPLSResults::TrajectoryOptionsUsable() {
  if (const auto refusal = trajectory_options().Validate()) return Refuse(*refusal);
  return true;
}

bool CBatchPLSResults::VariableTrajectoryPlot() {
  std::size_t variable = 0;
  if (!TrajectoryOptionsUsable() || !ResolveTrajectoryVariable(variable)) return false;
  std::vector<std::size_t> batches;
  if (!BatchesToDisplay(false, batches)) return false;
  const DMatrix values = ShownTrajectoryValues(variable);
  const TrajectoryOptions& options = trajectory_options();
  Route(TrajectoryPlot(batch_data(),
                       batch_data().process_columns[variable].name,
                       values,
                       ComputeTrajectoryBands(values, options),
                       options,
                       settings().limits_as_regions,
                       batches));
  return true;
}

bool CBatchPLSResults::VariableTrajectorySpreadsheet() {
  std::size_t variable = 0;
  if (!TrajectoryOptionsUsable() || !ResolveTrajectoryVariable(variable)) return false;
  const DMatrix values = ShownTrajectoryValues(variable);
  Route(TrajectorySheet(batch_data(),
                        batch_data().process_columns[variable].name,
                        values,
                        ComputeTrajectoryBands(values, trajectory_options())));
  return true;
}

// ---------------------------------------------------------------------------------------------
// TMPLS.

CTMPLSResults::CTMPLSResults(CMSPC& analysis) : CBatchPLSResults(analysis), twin_(*this) {}

CMPLSModel& CTMPLSResults::batch_model() const { return FittedBatchModel<CMPLSModel>(analysis()); }
const BatchData& CTMPLSResults::batch_data() const { return batch_model().batch_data(); }
TrajectoryOptions& CTMPLSResults::trajectory_options() const {
  return batch_model().trajectory_options();
}
BatchReportSettings& CTMPLSResults::settings() const { return batch_model().report_settings(); }
DMatrix CTMPLSResults::TrajectoryValues(std::size_t variable) const {
  return batch_model().TrajectoryValues(variable);
}
int CTMPLSResults::DetailsStep() const { return kStepTMPLSDetails; }

bool CTMPLSResults::DescriptiveStatistics() {
  Route(BatchDescriptiveStatistics(report_data()));
  const std::vector<Spreadsheet> blocks = PLSDescriptiveStatistics(model().report_data());
  if (blocks.size() > 1) Route(blocks.back());
  return true;
}

bool CTMPLSResults::SpreadsheetOfImportanceOfPredictors() {
  if (!CPLSResults::SpreadsheetOfImportanceOfPredictors()) return false;
  if (model().engine().ComponentCount() == 0) return true;
  Route(BatchVariableImportance(report_data(), model().report_options().sort_by_importance));
  return true;
}

bool CTMPLSResults::ContributionPlot() {
  if (!CPLSResults::ContributionPlot()) return false;
  if (model().engine().ComponentCount() == 0) return true;
  std::size_t row = 0;
  std::vector<int> components;
  std::size_t variable = 0;
  if (!ResolveContribution(row, components) || !ResolveTrajectoryVariable(variable)) return false;
  const CMPLSModel& fitted = batch_model();
  const WorkingData& predictors = fitted.predictors();
  for (const int component : components) {
    Route(BatchScoreContributionOverTime(batch_data(),
                                         PLSScoreContributions(fitted.engine(), row, component),
                                         fitted.engine().ComponentCount(),
                                         CaseNumber(predictors, row),
                                         CaseLabel(predictors, row),
                                         component,
                                         variable));
  }
  return true;
}

// ---------------------------------------------------------------------------------------------
// BMPLS.

CBMPLSResults::CBMPLSResults(CMSPC& analysis) : CBatchPLSResults(analysis), twin_(*this) {}

CBMPLSModel& CBMPLSResults::batch_model() const {
  return FittedBatchModel<CBMPLSModel>(analysis());
}
const BatchData& CBMPLSResults::batch_data() const { return batch_model().batch_data(); }
TrajectoryOptions& CBMPLSResults::trajectory_options() const {
  return batch_model().trajectory_options();
}
BatchReportSettings& CBMPLSResults::settings() const { return batch_model().report_settings(); }
DMatrix CBMPLSResults::TrajectoryValues(std::size_t variable) const {
  return batch_model().TrajectoryValues(variable);
}

bool CBMPLSResults::ScoreTrajectories(std::vector<int>& components,
                                      std::vector<TimeLimits>& trajectories) {
  if (!ScoreLimitsUsable() || !ResolvePlotComponents(components)) return false;
  const ScoreLimitOptions& options = score_limits();
  for (const int component : components) {
    trajectories.push_back(batch_model().ScoreTrajectory(component, options, probability()));
  }
  return true;
}

bool CBMPLSResults::ScoreControlChart() {
  std::vector<int> components;
  std::vector<TimeLimits> trajectories;
  if (!HasComponents()) return true;
  if (!ScoreTrajectories(components, trajectories)) return false;
  std::vector<std::size_t> batches;
  if (!BatchesToDisplay(true, batches)) return false;
  for (std::size_t index = 0; index < components.size(); ++index) {
    Route(ScoreTrajectoryPlot(batch_data(),
                              components[index],
                              trajectories[index].values,
                              trajectories[index].limits,
                              model().report_options().score,
                              batches));
  }
  return true;
}

bool CBMPLSResults::ScoreControlChartSheet() {
  std::vector<int> components;
  std::vector<TimeLimits> trajectories;
  if (!HasComponents()) return true;
  if (!ScoreTrajectories(components, trajectories)) return false;
  for (std::size_t index = 0; index < components.size(); ++index) {
    Route(ScoreTrajectorySheet(batch_data(),
                               components[index],
                               trajectories[index].values,
                               trajectories[index].limits,
                               model().report_options().score));
  }
  return true;
}

bool CBMPLSResults::SPEQChart() {
  // The chart of every observation with the model's lines, then the lines of every time.
  std::vector<std::size_t> batches;
  if (!BatchesToDisplay(true, batches) || !CPLSResults::SPEQChart()) return false;
  const TimeLimits spe = batch_model().SPEByTime(model().report_options().chart, probability());
  Route(SPEByTimeChart(batch_data(), spe.values, spe.limits, batches));
  return true;
}

bool CBMPLSResults::SPEQSpreadsheet() {
  if (!CPLSResults::SPEQSpreadsheet()) return false;
  const TimeLimits spe = batch_model().SPEByTime(model().report_options().chart, probability());
  Route(SPEByTimeSheet(batch_data(), spe.values, spe.limits));
  return true;
}

bool CBMPLSResults::Predictions() {
  Route(TimePredictionSpreadsheet(model().report_data()));
  return true;
}

}  // namespace mspc
