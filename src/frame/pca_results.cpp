#include "frame/pca_results.hpp"

#include <cmath>
#include <utility>

#include "export/c_code.hpp"
#include "export/kvb_code.hpp"
#include "export/model_document.hpp"
#include "frame/automation_property.hpp"
#include "frame/mspc.hpp"
#include "host/data_table.hpp"
#include "pca/pca_model.hpp"

namespace mspc {

// ---------------------------------------------------------------------------------------------
// PCAModelResults: what the PCA and TMPCA Results dialogs share.

ChartLimitOptions& PCAModelResults::chart_limits() const {
  return pca_model().report_options().chart;
}
ScoreLimitOptions& PCAModelResults::score_limits() const {
  return pca_model().report_options().score;
}
std::string& PCAModelResults::export_file_name() const {
  return pca_model().report_options().export_file_name;
}
ComponentEditor& PCAModelResults::components() const { return pca_model(); }

bool PCAModelResults::ResolvePlotComponents(std::vector<int>& components) {
  const CPCAModel& fitted = pca_model();
  if (const auto refusal = ResolveComponentsToPlot(
          fitted.report_options().components_to_plot, fitted.ComponentCount(), components)) {
    return Refuse(refusal->id, refusal->text);
  }
  return true;
}

bool PCAModelResults::ResolvePlotPair(std::vector<int>& components) {
  if (!ResolvePlotComponents(components)) return false;
  if (components.size() != 2 || components[0] == components[1]) {
    return Refuse(MessageId::kScatterplotNeedsTwoComponents);
  }
  return true;
}

bool PCAModelResults::ResolveContributionRow(std::size_t& row) {
  const CPCAModel& fitted = pca_model();
  if (const auto refusal = ResolveObservation(
          fitted.engine(), fitted.working_data(), fitted.report_options().observation, row)) {
    return Refuse(refusal->id, refusal->text);
  }
  return true;
}

void PCAModelResults::NoteNormalizedDistance() {
  // Scripts read the pooled distance from the report's footnote.
  const double pooled = ComputeModelDistance(pca_model().engine()).pooled;
  if (!analysis().IsOleAutomation() && std::isfinite(pooled)) {
    analysis().ShowMessage(MessageKind::kNote, MessageId::kNormalizedDistance, pooled);
  }
}

bool PCAModelResults::ContributionSpreadsheet() {
  std::size_t row = 0;
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolveContributionRow(row) || !ResolvePlotComponents(components)) return false;
  const PCAEngine& engine = pca_model().engine();
  const WorkingData& data = pca_model().working_data();
  Route(PCAT2ContributionSpreadsheet(engine, data, row));
  for (int component : components) {
    Route(PCAScoreContributionSpreadsheet(engine, data, row, component));
  }
  Route(PCASPEContributionSpreadsheet(engine, data, row));
  return true;
}

// ---------------------------------------------------------------------------------------------
// PCAModelResultsTwin: the plot settings of the PCA and TMPCA twins.

#define MSPC_PLOT_PROPERTY(Name) \
  MakeProperty(#Name, *this, &PCAModelResultsTwin::get_##Name, &PCAModelResultsTwin::put_##Name)

PCAReportOptions& PCAModelResultsTwin::options() const {
  return dialog_.pca_model().report_options();
}

std::string PCAModelResultsTwin::get_ObservationForContribution() const {
  return options().observation;
}
void PCAModelResultsTwin::put_ObservationForContribution(const std::string& value) {
  options().observation = value;
}
std::vector<int> PCAModelResultsTwin::get_ComponentsToPlot() const {
  return options().components_to_plot;
}
void PCAModelResultsTwin::put_ComponentsToPlot(const std::vector<int>& value) {
  options().components_to_plot = value;
}
bool PCAModelResultsTwin::get_SortVariablesByImportance() const {
  return options().sort_by_importance;
}
void PCAModelResultsTwin::put_SortVariablesByImportance(bool value) {
  options().sort_by_importance = value;
}
int PCAModelResultsTwin::get_NumberOfEigenvaluesToPlot() const {
  return options().eigenvalues_to_plot;
}
void PCAModelResultsTwin::put_NumberOfEigenvaluesToPlot(int value) {
  options().eigenvalues_to_plot = value;
}

std::vector<AutomationProperty> PCAModelResultsTwin::PlotProperties() {
  return {
      MSPC_PLOT_PROPERTY(ObservationForContribution),
      MSPC_PLOT_PROPERTY(ComponentsToPlot),
      MSPC_PLOT_PROPERTY(SortVariablesByImportance),
      MSPC_PLOT_PROPERTY(NumberOfEigenvaluesToPlot),
  };
}

#undef MSPC_PLOT_PROPERTY

// ---------------------------------------------------------------------------------------------
// PCAResults: the twin.

PCAResults::PCAResults(CPCAResults& dialog) : PCAModelResultsTwin(dialog), dialog_(dialog) {}

std::string PCAResults::TwinName() const { return "PCAResults"; }

std::vector<AutomationProperty> PCAResults::Properties() {
  std::vector<AutomationProperty> properties = LimitProperties();
  for (AutomationProperty& property : PlotProperties()) properties.push_back(std::move(property));
  for (AutomationProperty& property : ExportProperties()) properties.push_back(std::move(property));
  return properties;
}

#define MSPC_RESULTS_COMMAND(Name) MakeCommand(#Name, *this, &PCAResults::Name)

std::vector<AutomationCommand> PCAResults::Commands() {
  std::vector<AutomationCommand> commands = {
      MSPC_RESULTS_COMMAND(Summary),
      MSPC_RESULTS_COMMAND(SummaryView),
      MSPC_RESULTS_COMMAND(DescriptiveStatistics),
      MSPC_RESULTS_COMMAND(Eigenvalues),
      MSPC_RESULTS_COMMAND(ScreePlotOfEigenvalues),
      MSPC_RESULTS_COMMAND(LoadingSpreadsheet),
      MSPC_RESULTS_COMMAND(LineplotsOfLoadings),
      MSPC_RESULTS_COMMAND(ScatterplotsOfLoadings),
      MSPC_RESULTS_COMMAND(XScoreSpreadsheet),
      MSPC_RESULTS_COMMAND(LineplotsOfScores),
      MSPC_RESULTS_COMMAND(ScatterplotsOfScores),
      MSPC_RESULTS_COMMAND(TSquareChart),
      MSPC_RESULTS_COMMAND(TSquareSpreadsheet),
      MSPC_RESULTS_COMMAND(SPEQChart),
      MSPC_RESULTS_COMMAND(SPEQSpreadsheet),
      MSPC_RESULTS_COMMAND(DToModelSpreadsheet),
      MSPC_RESULTS_COMMAND(BarChartOfDToModel),
      MSPC_RESULTS_COMMAND(SpreadsheetOfImportanceOfPredictors),
      MSPC_RESULTS_COMMAND(Residuals),
      MSPC_RESULTS_COMMAND(ContributionSpreadsheet),
      MSPC_RESULTS_COMMAND(ContributionPlot),
      MSPC_RESULTS_COMMAND(ScaledData),
  };
  for (AutomationCommand& command : ComponentCommands()) commands.push_back(std::move(command));
  commands.push_back(MSPC_RESULTS_COMMAND(Details));
  commands.push_back(MSPC_RESULTS_COMMAND(CodeGeneratorPMML));
  commands.push_back(MSPC_RESULTS_COMMAND(CodeGeneratorCLang));
  commands.push_back(MSPC_RESULTS_COMMAND(CodeGeneratorKVB));
  return commands;
}

#undef MSPC_RESULTS_COMMAND

bool PCAResults::Summary() { return Guarded(&CPCAResults::Summary); }
bool PCAResults::SummaryView() { return Guarded(&CPCAResults::SummaryView); }
bool PCAResults::DescriptiveStatistics() { return Guarded(&CPCAResults::DescriptiveStatistics); }
bool PCAResults::Eigenvalues() { return Guarded(&CPCAResults::Eigenvalues); }
bool PCAResults::ScreePlotOfEigenvalues() { return Guarded(&CPCAResults::ScreePlotOfEigenvalues); }
bool PCAResults::LoadingSpreadsheet() { return Guarded(&CPCAResults::LoadingSpreadsheet); }
bool PCAResults::LineplotsOfLoadings() { return Guarded(&CPCAResults::LineplotsOfLoadings); }
bool PCAResults::ScatterplotsOfLoadings() { return Guarded(&CPCAResults::ScatterplotsOfLoadings); }
bool PCAResults::XScoreSpreadsheet() { return Guarded(&CPCAResults::XScoreSpreadsheet); }
bool PCAResults::LineplotsOfScores() { return Guarded(&CPCAResults::LineplotsOfScores); }
bool PCAResults::ScatterplotsOfScores() { return Guarded(&CPCAResults::ScatterplotsOfScores); }
bool PCAResults::TSquareChart() { return Guarded(&CPCAResults::TSquareChart); }
bool PCAResults::CodeGeneratorPMML() { return Guarded(&CPCAResults::CodeGeneratorPMML); }
bool PCAResults::CodeGeneratorCLang() { return Guarded(&CPCAResults::CodeGeneratorCLang); }
bool PCAResults::CodeGeneratorKVB() { return Guarded(&CPCAResults::CodeGeneratorKVB); }
bool PCAResults::TSquareSpreadsheet() { return Guarded(&CPCAResults::TSquareSpreadsheet); }
bool PCAResults::SPEQChart() { return Guarded(&CPCAResults::SPEQChart); }
bool PCAResults::SPEQSpreadsheet() { return Guarded(&CPCAResults::SPEQSpreadsheet); }
bool PCAResults::DToModelSpreadsheet() { return Guarded(&CPCAResults::DToModelSpreadsheet); }
bool PCAResults::BarChartOfDToModel() { return Guarded(&CPCAResults::BarChartOfDToModel); }
bool PCAResults::SpreadsheetOfImportanceOfPredictors() {
  return Guarded(&CPCAResults::SpreadsheetOfImportanceOfPredictors);
}
bool PCAResults::Residuals() { return Guarded(&CPCAResults::Residuals); }
bool PCAResults::ContributionSpreadsheet() {
  return Guarded(&CPCAResults::ContributionSpreadsheet);
}
bool PCAResults::ContributionPlot() { return Guarded(&CPCAResults::ContributionPlot); }
bool PCAResults::ScaledData() { return Guarded(&CPCAResults::ScaledData); }
bool PCAResults::Details() { return Guarded(&CPCAResults::Details); }

// ---------------------------------------------------------------------------------------------
// CPCAResults: the dialog.

CPCAResults::CPCAResults(CMSPC& analysis) : PCAModelResults(analysis), twin_(*this) {}

CPCAModel& CPCAResults::model() const {
  auto* model = dynamic_cast<CPCAModel*>(analysis().CurrentModel());
  if (model == nullptr || !model->IsFitted()) {
    throw AnalysisStop::With(MessageId::kNoModelForStartup);
  }
  return *model;
}

bool CPCAResults::Summary() {
  Route(PCASummary(model().engine()));
  return true;
}

bool CPCAResults::SummaryView() {
  Route(PCASummaryOverview(model().engine()));
  return true;
}

bool CPCAResults::DescriptiveStatistics() {
  Route(PCADescriptiveStatistics(model().engine(), model().working_data()));
  return true;
}

bool CPCAResults::Eigenvalues() {
  Route(PCAEigenvalues(model().engine(), model().working_data()));
  return true;
}

bool CPCAResults::ScreePlotOfEigenvalues() {
  const int count = model().report_options().eigenvalues_to_plot;
  if (count < 0) {
    return Refuse(MessageId::kEigenvaluesToPlotNegative);
  }
  Route(PCAScreePlot(model().engine(), count));
  return true;
}

bool CPCAResults::LoadingSpreadsheet() {
  if (!HasComponents()) return true;
  Route(PCALoadingSpreadsheet(model().engine(), model().working_data()));
  return true;
}

bool CPCAResults::LineplotsOfLoadings() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolvePlotComponents(components)) return false;
  for (int component : components) {
    Route(PCALoadingLineplot(model().engine(), model().working_data(), component));
  }
  return true;
}

bool CPCAResults::ScatterplotsOfLoadings() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolvePlotPair(components)) return false;
  Route(PCALoadingScatterplot(
      model().engine(), model().working_data(), components[0], components[1]));
  return true;
}

bool CPCAResults::XScoreSpreadsheet() {
  if (!HasComponents()) return true;
  Route(PCAScoreSpreadsheet(model().engine(), model().working_data()));
  return true;
}

bool CPCAResults::LineplotsOfScores() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ScoreLimitsUsable() || !ResolvePlotComponents(components)) return false;
  for (int component : components) {
    Route(PCAScoreLineplot(model().engine(),
                           model().working_data(),
                           component,
                           model().report_options().score,
                           probability()));
  }
  return true;
}

bool CPCAResults::ScatterplotsOfScores() {
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ScoreLimitsUsable() || !ResolvePlotPair(components)) return false;
  Route(PCAScoreScatterplot(model().engine(),
                            model().working_data(),
                            components[0],
                            components[1],
                            model().report_options().score,
                            probability()));
  return true;
}

bool CPCAResults::TSquareChart() {
  if (!HasComponents()) return true;
  if (!ChartLimitsUsable()) return false;
  Route(PCAT2Chart(
      model().engine(), model().working_data(), model().report_options().chart, probability()));
  return true;
}

LoadedPCAModel CPCAResults::ExportModel() {
  const CPCAModel& fitted = model();
  LoadedPCAModel exported = PCADocumentModel(fitted.engine(),
                                             fitted.working_data(),
                                             fitted.startup_options().scaling,
                                             fitted.report_options(),
                                             probability());
  exported.title = std::string(MessageText(MessageId::kAnalysisName));
  if (const DataTable* table = analysis().host().table) exported.data_source = table->SourceName();
  return exported;
}

bool CPCAResults::CodeGeneratorPMML() {
  if (!ChartLimitsUsable() || !ScoreLimitsUsable()) return false;
  std::string text;
  WritePCADocument(ExportModel(), text);
  return SaveAndShow(".pmml", MessageId::kPCADocumentTitle, text);
}

bool CPCAResults::CodeGeneratorCLang() {
  if (!ChartLimitsUsable() || !ScoreLimitsUsable()) return false;
  return SaveAndShow(".c", MessageId::kPCACCodeTitle, GeneratePCACCode(ExportModel()));
}

bool CPCAResults::CodeGeneratorKVB() {
  if (!ChartLimitsUsable() || !ScoreLimitsUsable()) return false;
  return SaveAndShow(".kvb", MessageId::kPCAKVBTitle, GeneratePCAKVBCode(ExportModel()));
}

bool CPCAResults::TSquareSpreadsheet() {
  if (!HasComponents()) return true;
  if (!ChartLimitsUsable()) return false;
  Route(PCAT2Spreadsheet(
      model().engine(), model().working_data(), model().report_options().chart, probability()));
  return true;
}

bool CPCAResults::SPEQChart() {
  if (!ChartLimitsUsable()) return false;
  Route(PCASPEChart(
      model().engine(), model().working_data(), model().report_options().chart, probability()));
  return true;
}

bool CPCAResults::SPEQSpreadsheet() {
  if (!ChartLimitsUsable()) return false;
  Route(PCASPESpreadsheet(
      model().engine(), model().working_data(), model().report_options().chart, probability()));
  return true;
}

bool CPCAResults::DToModelSpreadsheet() {
  Route(PCADistanceSpreadsheet(model().engine(), model().working_data()));
  NoteNormalizedDistance();
  return true;
}

bool CPCAResults::BarChartOfDToModel() {
  Route(PCADistanceBarChart(model().engine(), model().working_data()));
  return true;
}

bool CPCAResults::SpreadsheetOfImportanceOfPredictors() {
  Route(PCAVariableImportance(
      model().engine(), model().working_data(), model().report_options().sort_by_importance));
  return true;
}

bool CPCAResults::Residuals() {
  Route(PCAResiduals(model().engine(), model().working_data()));
  return true;
}

bool CPCAResults::ContributionPlot() {
  std::size_t row = 0;
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolveContributionRow(row) || !ResolvePlotComponents(components)) return false;
  const PCAEngine& engine = model().engine();
  const WorkingData& data = model().working_data();
  Route(PCAT2ContributionPlot(engine, data, row));
  for (int component : components) Route(PCAScoreContributionPlot(engine, data, row, component));
  Route(PCASPEContributionPlot(engine, data, row));
  return true;
}

bool CPCAResults::ScaledData() {
  Route(PCAScaledData(model().engine(), model().working_data()));
  return true;
}

bool CPCAResults::Details() {
  model();
  analysis().ExitDialog(kStepPCADetails, kDirectionForward, 0);
  return true;
}

// ---------------------------------------------------------------------------------------------
// PCA Details.

int CPCADetails::ComponentCount() const {
  auto* model = dynamic_cast<CPCAModel*>(analysis().CurrentModel());
  if (model == nullptr || !model->IsFitted()) {
    throw AnalysisStop::With(MessageId::kNoModelForStartup);
  }
  return model->engine().ComponentCount();
}

void CPCADetails::RouteStatistics(int component) {
  const auto& model = dynamic_cast<const CPCAModel&>(*analysis().CurrentModel());
  analysis().RouteOutput(PCAVariableStatistics(model.engine(), model.working_data(), component));
}

}  // namespace mspc
