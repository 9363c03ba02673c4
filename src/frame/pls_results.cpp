#include "frame/pls_results.hpp"

#include <cmath>
#include <utility>

#include "frame/automation_property.hpp"
#include "frame/mspc.hpp"
#include "pca/pca_reports.hpp"
#include "pls/pls_model.hpp"

namespace mspc {
namespace {

CPLSModel& FittedPLSModel(CMSPC& analysis) {
  auto* model = dynamic_cast<CPLSModel*>(analysis.CurrentModel());
  if (model == nullptr || !model->IsFitted()) {
    throw AnalysisStop::With(MessageId::kNoModelForStartup);
  }
  return *model;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// PLSResults: the twin.

PLSResults::PLSResults(CPLSResults& dialog) : ResultsTwin(dialog), dialog_(dialog) {}

std::string PLSResults::TwinName() const { return "PLSResults"; }

#define MSPC_PLS_PROPERTY(Name) \
  MakeProperty(#Name, *this, &PLSResults::get_##Name, &PLSResults::put_##Name)

std::vector<AutomationProperty> PLSResults::Properties() {
  std::vector<AutomationProperty> properties = LimitProperties();
  for (AutomationProperty& property : std::vector<AutomationProperty>{
           MSPC_PLS_PROPERTY(ScoreType),
           MSPC_PLS_PROPERTY(ObservationForContribution),
           MSPC_PLS_PROPERTY(ComponentsToPlot),
           MSPC_PLS_PROPERTY(SortVariablesByImportance),
       }) {
    properties.push_back(std::move(property));
  }
  for (AutomationProperty& property : ExportProperties()) properties.push_back(std::move(property));
  return properties;
}

#undef MSPC_PLS_PROPERTY

#define MSPC_PLS_COMMAND(Name)                                     \
  AutomationCommand {                                              \
#Name, [this] { return Guarded(dialog_, &CPLSResults::Name); } \
  }

std::vector<AutomationCommand> PLSResults::Commands() {
  std::vector<AutomationCommand> commands = {
      MSPC_PLS_COMMAND(Summary),
      MSPC_PLS_COMMAND(SummaryView),
      MSPC_PLS_COMMAND(DescriptiveStatistics),
      MSPC_PLS_COMMAND(XScoreSpreadsheet),
      MSPC_PLS_COMMAND(YScoreSpreadsheet),
      MSPC_PLS_COMMAND(XWeightSpreadsheet),
      MSPC_PLS_COMMAND(LoadingSpreadsheet),
      MSPC_PLS_COMMAND(Coefficients),
      MSPC_PLS_COMMAND(Predictions),
      MSPC_PLS_COMMAND(Residuals),
      MSPC_PLS_COMMAND(SpreadsheetOfImportanceOfPredictors),
      MSPC_PLS_COMMAND(GraphOfImportanceOfPredictors),
      MSPC_PLS_COMMAND(TSquareChart),
      MSPC_PLS_COMMAND(TSquareSpreadsheet),
      MSPC_PLS_COMMAND(SPEQChart),
      MSPC_PLS_COMMAND(SPEQSpreadsheet),
      MSPC_PLS_COMMAND(DToModelSpreadsheet),
      MSPC_PLS_COMMAND(BarChartOfDToModel),
      MSPC_PLS_COMMAND(ScoreControlSpreadsheet),
      MSPC_PLS_COMMAND(ContributionSpreadsheet),
      MSPC_PLS_COMMAND(ContributionPlot),
  };
  for (AutomationCommand& command : ComponentCommands()) commands.push_back(std::move(command));
  for (AutomationCommand& command : std::vector<AutomationCommand>{
           MSPC_PLS_COMMAND(Details),
           MSPC_PLS_COMMAND(CodeGeneratorPMML),
           MSPC_PLS_COMMAND(CodeGeneratorCLang),
           MSPC_PLS_COMMAND(CodeGeneratorKVB),
       }) {
    commands.push_back(std::move(command));
  }
  return commands;
}

#undef MSPC_PLS_COMMAND

PLSReportOptions& PLSResults::options() const { return dialog_.model().report_options(); }

int PLSResults::get_ScoreType() const { return options().score_type; }
void PLSResults::put_ScoreType(int value) { options().score_type = value; }
std::string PLSResults::get_ObservationForContribution() const { return options().observation; }
void PLSResults::put_ObservationForContribution(const std::string& value) {
  options().observation = value;
}
std::vector<int> PLSResults::get_ComponentsToPlot() const { return options().components_to_plot; }
void PLSResults::put_ComponentsToPlot(const std::vector<int>& value) {
  options().components_to_plot = value;
}
bool PLSResults::get_SortVariablesByImportance() const { return options().sort_by_importance; }
void PLSResults::put_SortVariablesByImportance(bool value) { options().sort_by_importance = value; }

// ---------------------------------------------------------------------------------------------
// CPLSResults: the dialog.

CPLSResults::CPLSResults(CMSPC& analysis) : ResultsDialog(analysis), twin_(*this) {}

CPLSModel& CPLSResults::model() const { return FittedPLSModel(analysis()); }
ChartLimitOptions& CPLSResults::chart_limits() const { return model().report_options().chart; }
ScoreLimitOptions& CPLSResults::score_limits() const { return model().report_options().score; }
std::string& CPLSResults::export_file_name() const {
  return model().report_options().export_file_name;
}
ComponentEditor& CPLSResults::components() const { return components_; }

int CPLSResults::EngineComponents::ComponentCount() const {
  return dialog_.model().engine().ComponentCount();
}
std::optional<MessageId> CPLSResults::EngineComponents::AddNextComponent() {
  return dialog_.model().engine().AddNextComponent();
}
bool CPLSResults::EngineComponents::RemoveLastComponent() {
  PLSEngine& engine = dialog_.model().engine();
  if (engine.ComponentCount() == 0) return false;
  engine.RemoveLastComponent();
  return true;
}
void CPLSResults::EngineComponents::RemoveAllComponents() {
  dialog_.model().engine().RemoveAllComponents();
}
int CPLSResults::EngineComponents::AutoFitMoreComponents(std::optional<MessageId>& refusal) {
  // A cancel keeps the components stored before it.
  PLSEngine& engine = dialog_.model().engine();
  const int before = engine.ComponentCount();
  refusal = engine.AutoFitMoreComponents();
  return engine.ComponentCount() - before;
}

bool CPLSResults::Monitoring(PLSMonitoring& monitoring) {
  if (!ChartLimitsUsable()) return false;
  monitoring = ComputePLSMonitoring(model().engine(), chart_limits(), probability());
  return true;
}

bool CPLSResults::ResolveContribution(std::size_t& row, std::vector<int>& components) {
  const CPLSModel& fitted = model();
  const PLSEngine& engine = fitted.engine();
  if (const auto refusal = ResolveComponentsToPlot(
          fitted.report_options().components_to_plot, engine.ComponentCount(), components)) {
    return Refuse(refusal->id, refusal->text);
  }
  const std::vector<double> t2 = ComputeHotellingT2(
      engine.XScores(), engine.XScoreStandardDeviations(), engine.ExcludedRows());
  std::vector<std::size_t> rows;
  for (std::size_t candidate = 0; candidate < engine.Rows(); ++candidate) {
    if (!engine.IsRowExcluded(candidate)) rows.push_back(candidate);
  }
  if (const auto refusal = ResolveObservation(
          rows, fitted.predictors(), fitted.report_options().observation, t2, row)) {
    return Refuse(refusal->id, refusal->text);
  }
  return true;
}

bool CPLSResults::Summary() {
  Route(PLSSummary(model().engine()));
  return true;
}

bool CPLSResults::SummaryView() {
  Route(PLSSummaryOverview(model().engine()));
  return true;
}

bool CPLSResults::DescriptiveStatistics() {
  for (const Spreadsheet& sheet : PLSDescriptiveStatistics(model().report_data())) Route(sheet);
  return true;
}

bool CPLSResults::XScoreSpreadsheet() {
  if (!HasComponents()) return true;
  Route(PLSXScoreSpreadsheet(model().report_data()));
  return true;
}

bool CPLSResults::YScoreSpreadsheet() {
  if (!HasComponents()) return true;
  Route(PLSYScoreSpreadsheet(model().report_data()));
  return true;
}

bool CPLSResults::XWeightSpreadsheet() {
  if (!HasComponents()) return true;
  Route(PLSXWeightSpreadsheet(model().report_data()));
  return true;
}

bool CPLSResults::LoadingSpreadsheet() {
  if (!HasComponents()) return true;
  Route(PLSXLoadingSpreadsheet(model().report_data()));
  Route(PLSYLoadingSpreadsheet(model().report_data()));
  return true;
}

bool CPLSResults::Coefficients() {
  for (const Spreadsheet& sheet : PLSCoefficientSpreadsheets(model().report_data())) Route(sheet);
  return true;
}

bool CPLSResults::Predictions() {
  Route(PLSPredictionSpreadsheet(model().report_data()));
  return true;
}

bool CPLSResults::Residuals() {
  for (const Spreadsheet& sheet : PLSResidualSpreadsheets(model().report_data())) Route(sheet);
  return true;
}

bool CPLSResults::SpreadsheetOfImportanceOfPredictors() {
  if (!HasComponents()) return true;
  Route(
      PLSImportanceSpreadsheet(model().report_data(), model().report_options().sort_by_importance));
  return true;
}

bool CPLSResults::GraphOfImportanceOfPredictors() {
  if (!HasComponents()) return true;
  Route(PLSImportanceGraph(model().report_data(), model().report_options().sort_by_importance));
  return true;
}

bool CPLSResults::TSquareChart() {
  PLSMonitoring monitoring;
  if (!HasComponents()) return true;
  if (!Monitoring(monitoring)) return false;
  Route(PLST2Chart(model().report_data(), monitoring));
  return true;
}

bool CPLSResults::TSquareSpreadsheet() {
  PLSMonitoring monitoring;
  if (!HasComponents()) return true;
  if (!Monitoring(monitoring)) return false;
  Route(PLST2Spreadsheet(model().report_data(), monitoring));
  return true;
}

bool CPLSResults::SPEQChart() {
  PLSMonitoring monitoring;
  if (!Monitoring(monitoring)) return false;
  Route(PLSSPEChart(model().report_data(), monitoring));
  return true;
}

bool CPLSResults::SPEQSpreadsheet() {
  PLSMonitoring monitoring;
  if (!Monitoring(monitoring)) return false;
  Route(PLSSPESpreadsheet(model().report_data(), monitoring));
  return true;
}

bool CPLSResults::DToModelSpreadsheet() {
  PLSMonitoring monitoring;
  if (!Monitoring(monitoring)) return false;
  Route(PLSDistanceSpreadsheet(model().report_data(), monitoring));
  NotePooledDistance(monitoring);
  return true;
}

void CPLSResults::NotePooledDistance(const PLSMonitoring& monitoring) {
  const double pooled = monitoring.distance.pooled;
  if (!analysis().IsOleAutomation() && std::isfinite(pooled)) {
    analysis().ShowMessage(MessageKind::kNote, MessageId::kNormalizedDistance, pooled);
  }
}

bool CPLSResults::BarChartOfDToModel() {
  PLSMonitoring monitoring;
  if (!Monitoring(monitoring)) return false;
  Route(PLSDistanceBarChart(model().report_data(), monitoring));
  return true;
}

bool CPLSResults::ScoreControlSpreadsheet() {
  if (!HasComponents()) return true;
  if (!ScoreLimitsUsable()) return false;
  const PLSReportOptions& options = model().report_options();
  if (options.score_type != static_cast<int>(PLSScoreType::kXScores) &&
      options.score_type != static_cast<int>(PLSScoreType::kYScores)) {
    return Refuse(MessageId::kScoreTypeOutOfRange);
  }
  Route(PLSScoreLimitSpreadsheet(model().report_data(),
                                 static_cast<PLSScoreType>(options.score_type),
                                 options.score,
                                 probability()));
  return true;
}

bool CPLSResults::ContributionSpreadsheet() {
  std::size_t row = 0;
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolveContribution(row, components)) return false;
  const PLSReportData data = model().report_data();
  Route(PLST2ContributionSpreadsheet(data, row));
  for (int component : components) Route(PLSScoreContributionSpreadsheet(data, row, component));
  Route(PLSSPEContributionSpreadsheet(data, row));
  return true;
}

bool CPLSResults::ContributionPlot() {
  std::size_t row = 0;
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolveContribution(row, components)) return false;
  const PLSReportData data = model().report_data();
  Route(PLST2ContributionPlot(data, row));
  for (int component : components) Route(PLSScoreContributionPlot(data, row, component));
  Route(PLSSPEContributionPlot(data, row));
  return true;
}

int CPLSResults::DetailsStep() const { return kStepPLSDetails; }

bool CPLSResults::Details() {
  model();
  analysis().ExitDialog(DetailsStep(), kDirectionForward, 0);
  return true;
}

// ---------------------------------------------------------------------------------------------
// PLS Details.

int CPLSDetails::ComponentCount() const {
  return FittedPLSModel(analysis()).engine().ComponentCount();
}

void CPLSDetails::RouteStatistics(int component) {
  for (const Spreadsheet& sheet :
       PLSVariableStatistics(FittedPLSModel(analysis()).report_data(), component)) {
    analysis().RouteOutput(sheet);
  }
}

}  // namespace mspc
