#include "frame/mpca_results.hpp"

#include <algorithm>
#include <utility>

#include "batch/mpca_model.hpp"
#include "batch/mpca_reports.hpp"
#include "export/tmpca_export.hpp"
#include "frame/batch_plot_properties.hpp"
#include "frame/mspc.hpp"
#include "frame/report_pieces.hpp"
#include "frame/steps.hpp"
#include "pca/pca_reports.hpp"

namespace mspc {

// ---------------------------------------------------------------------------------------------
// TMPCAResults: the twin.

TMPCAResults::TMPCAResults(CMPCAResults& dialog) : PCAModelResultsTwin(dialog), dialog_(dialog) {}

std::string TMPCAResults::TwinName() const { return "TMPCAResults"; }

std::vector<AutomationProperty> TMPCAResults::Properties() {
  std::vector<AutomationProperty> properties = LimitProperties();
  for (AutomationProperty& property : PlotProperties()) properties.push_back(std::move(property));
  for (AutomationProperty& property : BatchPlotProperties([this] {
         TimeWiseReportOptions& options = dialog_.model().time_wise_options();
         return BatchPlotSettings{options.trajectory,
                                  options.limits_as_regions,
                                  options.original_scale,
                                  options.text_labels,
                                  options.markers,
                                  options.trajectory_variable,
                                  options.batches_to_display};
       })) {
    properties.push_back(std::move(property));
  }
  for (AutomationProperty& property : ExportProperties()) properties.push_back(std::move(property));
  return properties;
}

#define MSPC_TMPCA_COMMAND(Name)                                    \
  AutomationCommand {                                               \
#Name, [this] { return Guarded(dialog_, &CMPCAResults::Name); } \
  }

std::vector<AutomationCommand> TMPCAResults::Commands() {
  std::vector<AutomationCommand> commands = {
      MSPC_TMPCA_COMMAND(Summary),
      MSPC_TMPCA_COMMAND(SummaryView),
      MSPC_TMPCA_COMMAND(DescriptiveStatistics),
      MSPC_TMPCA_COMMAND(Eigenvalues),
      MSPC_TMPCA_COMMAND(ScreePlotOfEigenvalues),
      MSPC_TMPCA_COMMAND(EigenvectorSpreadsheet),
      MSPC_TMPCA_COMMAND(LoadingSpreadsheet),
      MSPC_TMPCA_COMMAND(LineplotsOfLoadings),
      MSPC_TMPCA_COMMAND(ScatterplotsOfLoadings),
      MSPC_TMPCA_COMMAND(XScoreSpreadsheet),
      MSPC_TMPCA_COMMAND(LineplotsOfScores),
      MSPC_TMPCA_COMMAND(ScatterplotsOfScores),
      MSPC_TMPCA_COMMAND(ScoreScatterSpreadsheet),
      MSPC_TMPCA_COMMAND(ScoreControlChart),
      MSPC_TMPCA_COMMAND(ScoreControlChartSheet),
      MSPC_TMPCA_COMMAND(ScoreControlSpreadsheet),
      MSPC_TMPCA_COMMAND(TSquareChart),
      MSPC_TMPCA_COMMAND(TSquareSpreadsheet),
      MSPC_TMPCA_COMMAND(SPEQChart),
      MSPC_TMPCA_COMMAND(SPEQSpreadsheet),
      MSPC_TMPCA_COMMAND(DToModelSpreadsheet),
      MSPC_TMPCA_COMMAND(BarChartOfDToModel),
      MSPC_TMPCA_COMMAND(LineplotsOfDToModel),
      MSPC_TMPCA_COMMAND(SpreadsheetOfImportanceOfPredictors),
      MSPC_TMPCA_COMMAND(GraphOfImportanceOfPredictors),
      MSPC_TMPCA_COMMAND(Residuals),
      MSPC_TMPCA_COMMAND(ScaledData),
      MSPC_TMPCA_COMMAND(ContributionSpreadsheet),
      MSPC_TMPCA_COMMAND(ContributionPlot),
      MSPC_TMPCA_COMMAND(VariableTrajectorySpreadsheet),
      MSPC_TMPCA_COMMAND(VariableTrajectoryPlot),
  };
  for (AutomationCommand& command : ComponentCommands()) commands.push_back(std::move(command));
  for (AutomationCommand& command : std::vector<AutomationCommand>{
           MSPC_TMPCA_COMMAND(Details),
           MSPC_TMPCA_COMMAND(CodeGeneratorPMML),
           MSPC_TMPCA_COMMAND(CodeGeneratorCLang),
           MSPC_TMPCA_COMMAND(CodeGeneratorKVB),
       }) {
    commands.push_back(std::move(command));
  }
  return commands;
}

#undef MSPC_TMPCA_COMMAND

// ---------------------------------------------------------------------------------------------
// CMPCAResults: the dialog.

CMPCAResults::CMPCAResults(CMSPC& analysis) : PCAModelResults(analysis), twin_(*this) {}

CMPCAModel& CMPCAResults::model() const {
  auto* model = dynamic_cast<CMPCAModel*>(analysis().CurrentModel());
  if (model == nullptr || !model->IsFitted()) {
    throw AnalysisStop::With(MessageId::kNoModelForStartup);
  }
  return *model;
}

CPCAModel& CMPCAResults::pca_model() const { return model(); }

void CMPCAResults::RouteGraph(Graph graph) {
  if (!model().time_wise_options().text_labels) {
    for (GraphSeries& series : graph.series) series.labels.clear();
  }
  Route(graph);
}

bool CMPCAResults::ResolveTrajectoryVariable(std::size_t& variable) {
  const CMPCAModel& fitted = model();
  return ResolveProcessColumn(fitted.batch_data().process_columns,
                              fitted.time_wise_options().trajectory_variable,
                              variable);
}

bool CMPCAResults::TrajectoryOptionsUsable() {
  if (const auto refusal = model().time_wise_options().trajectory.Validate()) {
    return Refuse(*refusal);
  }
  return true;
}

bool CMPCAResults::Summary() {
  Route(WithBatchRows(PCASummary(model().engine())));
  return true;
}

bool CMPCAResults::SummaryView() {
  RouteGraph(PCASummaryOverview(model().engine()));
  return true;
}

bool CMPCAResults::DescriptiveStatistics() {
  Route(TMPCADescriptiveStatistics(model()));
  return true;
}

bool CMPCAResults::Eigenvalues() {
  Route(TMPCAEigenvalues(model()));
  return true;
}

bool CMPCAResults::ScreePlotOfEigenvalues() {
  const int count = model().report_options().eigenvalues_to_plot;
  if (count < 0) return Refuse(MessageId::kEigenvaluesToPlotNegative);
  RouteGraph(PCAScreePlot(model().engine(), count));
  return true;
}

bool CMPCAResults::EigenvectorSpreadsheet() {
  if (!HasComponents()) return true;
  Route(TMPCAEigenvectorSpreadsheet(model()));
  return true;
}

bool CMPCAResults::LoadingSpreadsheet() {
  if (!HasComponents()) return true;
  Route(TMPCALoadingSpreadsheet(model()));
  return true;
}

bool CMPCAResults::LineplotsOfLoadings() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolvePlotComponents(components)) return false;
  for (int component : components) RouteGraph(TMPCALoadingLineplot(model(), component));
  return true;
}

bool CMPCAResults::ScatterplotsOfLoadings() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolvePlotPair(components)) return false;
  RouteGraph(TMPCALoadingScatterplot(model(), components[0], components[1]));
  return true;
}

bool CMPCAResults::XScoreSpreadsheet() {
  if (!HasComponents()) return true;
  Route(TMPCAScoreSpreadsheet(model()));
  return true;
}

bool CMPCAResults::LineplotsOfScores() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ScoreLimitsUsable() || !ResolvePlotComponents(components)) return false;
  for (int component : components) {
    RouteGraph(TMPCAScoreControlChart(
        model(), component, /*markers=*/false, score_limits(), probability()));
  }
  return true;
}

bool CMPCAResults::ScatterplotsOfScores() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ScoreLimitsUsable() || !ResolvePlotPair(components)) return false;
  RouteGraph(PCAScoreScatterplot(model().engine(),
                                 model().working_data(),
                                 components[0],
                                 components[1],
                                 score_limits(),
                                 probability()));
  return true;
}

bool CMPCAResults::ScoreScatterSpreadsheet() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolvePlotPair(components)) return false;
  Route(TMPCAScoreScatterSpreadsheet(model(), components[0], components[1]));
  return true;
}

bool CMPCAResults::ScoreControlChart() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ScoreLimitsUsable() || !ResolvePlotComponents(components)) return false;
  const bool markers = model().time_wise_options().markers;
  for (int component : components) {
    RouteGraph(TMPCAScoreControlChart(model(), component, markers, score_limits(), probability()));
  }
  return true;
}

bool CMPCAResults::ScoreControlChartSheet() {
  if (!HasComponents()) return true;
  if (!ScoreLimitsUsable()) return false;
  Route(TMPCAScoreControlSheet(model(), score_limits(), probability()));
  return true;
}

bool CMPCAResults::ScoreControlSpreadsheet() {
  if (!HasComponents()) return true;
  if (!ScoreLimitsUsable()) return false;
  Route(TMPCAScoreLimits(model(), score_limits(), probability()));
  return true;
}

bool CMPCAResults::TSquareChart() {
  if (!HasComponents()) return true;
  if (!ChartLimitsUsable()) return false;
  Graph graph = PCAT2Chart(model().engine(), model().working_data(), chart_limits(), probability());
  graph.x_label = ReportText(MessageId::kBatchHeader);
  RouteGraph(std::move(graph));
  return true;
}

bool CMPCAResults::TSquareSpreadsheet() {
  if (!HasComponents()) return true;
  if (!ChartLimitsUsable()) return false;
  Route(WithBatchRows(
      PCAT2Spreadsheet(model().engine(), model().working_data(), chart_limits(), probability())));
  return true;
}

bool CMPCAResults::SPEQChart() {
  if (!ChartLimitsUsable()) return false;
  Graph graph =
      PCASPEChart(model().engine(), model().working_data(), chart_limits(), probability());
  graph.x_label = ReportText(MessageId::kBatchHeader);
  RouteGraph(std::move(graph));
  return true;
}

bool CMPCAResults::SPEQSpreadsheet() {
  if (!ChartLimitsUsable()) return false;
  Route(WithBatchRows(
      PCASPESpreadsheet(model().engine(), model().working_data(), chart_limits(), probability())));
  return true;
}

bool CMPCAResults::DToModelSpreadsheet() {
  Route(TMPCADistanceSpreadsheet(model()));
  NoteNormalizedDistance();
  return true;
}

bool CMPCAResults::BarChartOfDToModel() {
  Graph graph = PCADistanceBarChart(model().engine(), model().working_data());
  graph.x_label = ReportText(MessageId::kBatchHeader);
  RouteGraph(std::move(graph));
  return true;
}

bool CMPCAResults::LineplotsOfDToModel() {
  RouteGraph(TMPCADistanceLineplot(model()));
  return true;
}

bool CMPCAResults::SpreadsheetOfImportanceOfPredictors() {
  Route(TMPCAVariableImportance(model(), model().report_options().sort_by_importance));
  return true;
}

bool CMPCAResults::GraphOfImportanceOfPredictors() {
  RouteGraph(TMPCAVariableImportanceChart(model(), model().report_options().sort_by_importance));
  return true;
}

bool CMPCAResults::Residuals() {
  Route(TMPCAResiduals(model(), /*original_units=*/true));
  Route(TMPCAResiduals(model(), /*original_units=*/false));
  return true;
}

bool CMPCAResults::ScaledData() {
  Route(TMPCAScaledData(model()));
  return true;
}

bool CMPCAResults::ContributionPlot() {
  std::size_t row = 0;
  std::size_t variable = 0;
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolveContributionRow(row) || !ResolvePlotComponents(components) ||
      !ResolveTrajectoryVariable(variable)) {
    return false;
  }
  const CMPCAModel& fitted = model();
  const PCAEngine& engine = fitted.engine();
  const WorkingData& data = fitted.working_data();
  RouteGraph(PCAT2ContributionPlot(engine, data, row));
  for (int component : components) {
    RouteGraph(PCAScoreContributionPlot(engine, data, row, component));
    // The same contribution of the trajectory variable, followed over the batch's times.
    RouteGraph(TMPCABatchScoreContribution(fitted, row, component, variable));
  }
  RouteGraph(PCASPEContributionPlot(engine, data, row));
  return true;
}

bool CMPCAResults::VariableTrajectorySpreadsheet() {
  std::size_t variable = 0;
  if (!TrajectoryOptionsUsable() || !ResolveTrajectoryVariable(variable)) return false;
  Route(TMPCATrajectorySpreadsheet(model(), variable));
  return true;
}

bool CMPCAResults::VariableTrajectoryPlot() {
  std::size_t variable = 0;
  if (!TrajectoryOptionsUsable() || !ResolveTrajectoryVariable(variable)) return false;
  const CMPCAModel& fitted = model();
  const PCAEngine& engine = fitted.engine();
  std::vector<std::size_t> rows;
  for (const std::string& batch : fitted.time_wise_options().batches_to_display) {
    const std::vector<std::size_t> model_rows =
        IncludedIndices(engine.ExcludedRows(), engine.Rows());
    const auto found =
        std::find_if(model_rows.begin(), model_rows.end(), [&](std::size_t candidate) {
          return CaseLabel(fitted.working_data(), candidate) == batch;
        });
    if (found == model_rows.end()) {
      return Refuse(MessageId::kObservationNotInModel,
                    FormatMessage(MessageId::kObservationNotInModel, batch));
    }
    rows.push_back(*found);
  }
  // Without chosen batches the plot still shows the mean and the bands.
  if (rows.empty())
    analysis().ShowMessage(MessageKind::kWarning, MessageId::kSelectBatchesToDisplay);
  RouteGraph(TMPCATrajectoryPlot(fitted, variable, rows));
  return true;
}

bool CMPCAResults::Details() {
  model();
  analysis().ExitDialog(kStepTMPCADetails, kDirectionForward, 0);
  return true;
}

bool CMPCAResults::ExportUsable() { return ChartLimitsUsable() && ScoreLimitsUsable(); }

LoadedTMPCAModel CMPCAResults::ExportModel() {
  const CMPCAModel& fitted = model();
  LoadedTMPCAModel exported = TMPCADocumentModel(fitted, fitted.report_options(), probability());
  exported.unfolded.title = std::string(MessageText(MessageId::kAnalysisName));
  if (const DataTable* table = analysis().host().table) {
    exported.unfolded.data_source = table->SourceName();
  }
  return exported;
}

bool CMPCAResults::CodeGeneratorPMML() {
  if (!ExportUsable()) return false;
  std::string text;
  WriteTMPCADocument(ExportModel(), text);
  return SaveAndShow(".pmml", MessageId::kTMPCADocumentTitle, text);
}

bool CMPCAResults::CodeGeneratorCLang() {
  if (!ExportUsable()) return false;
  return SaveAndShow(".c", MessageId::kTMPCACCodeTitle, GenerateTMPCACCode(ExportModel()));
}

bool CMPCAResults::CodeGeneratorKVB() {
  if (!ExportUsable()) return false;
  return SaveAndShow(".kvb", MessageId::kTMPCAKVBTitle, GenerateTMPCAKVBCode(ExportModel()));
}

}  // namespace mspc
