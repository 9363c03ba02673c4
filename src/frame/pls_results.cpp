#include "frame/pls_results.hpp"

#include <cmath>
#include <stdexcept>

#include "frame/automation_property.hpp"
#include "frame/mspc.hpp"
#include "pca/pca_reports.hpp"
#include "pls/pls_model.hpp"

namespace mspc {
namespace {

ScoreLimitOptions SwitchScoreLimitType(const ScoreLimitOptions& current, ScoreLimitType type) {
  if (current.type == type) return current;
  ScoreLimitOptions switched = ScoreLimitOptions::Defaults(type);
  switched.warning = current.warning;
  return switched;
}

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

std::string PLSResults::TwinName() const { return "PLSResults"; }

#define MSPC_RESULTS_PROPERTY(Name) \
  MakeProperty(#Name, *this, &PLSResults::get_##Name, &PLSResults::put_##Name)

std::vector<AutomationProperty> PLSResults::Properties() {
  // The kind of score limit comes before its values: choosing a kind resets the values.
  return {
      MSPC_RESULTS_PROPERTY(TSquareControlLimit),
      MSPC_RESULTS_PROPERTY(TSquareWarning),
      MSPC_RESULTS_PROPERTY(TSquareWarningLimit),
      MSPC_RESULTS_PROPERTY(ComputeScoreLimitFromP),
      MSPC_RESULTS_PROPERTY(ComputeScoreLimitFromStdDev),
      MSPC_RESULTS_PROPERTY(ScoreControlLimit),
      MSPC_RESULTS_PROPERTY(ScoreWarning),
      MSPC_RESULTS_PROPERTY(ScoreWarningLimit),
      MSPC_RESULTS_PROPERTY(ScoreType),
      MSPC_RESULTS_PROPERTY(ObservationForContribution),
      MSPC_RESULTS_PROPERTY(ComponentsToPlot),
      MSPC_RESULTS_PROPERTY(SortVariablesByImportance),
      MSPC_RESULTS_PROPERTY(ExportFileName),
      MakeReadOnlyProperty("NumberOfComponents", *this, &PLSResults::get_NumberOfComponents),
  };
}

#undef MSPC_RESULTS_PROPERTY

#define MSPC_RESULTS_COMMAND(Name) MakeCommand(#Name, *this, &PLSResults::Name)

std::vector<AutomationCommand> PLSResults::Commands() {
  return {
      MSPC_RESULTS_COMMAND(Summary),
      MSPC_RESULTS_COMMAND(SummaryView),
      MSPC_RESULTS_COMMAND(DescriptiveStatistics),
      MSPC_RESULTS_COMMAND(XScoreSpreadsheet),
      MSPC_RESULTS_COMMAND(YScoreSpreadsheet),
      MSPC_RESULTS_COMMAND(XWeightSpreadsheet),
      MSPC_RESULTS_COMMAND(LoadingSpreadsheet),
      MSPC_RESULTS_COMMAND(Coefficients),
      MSPC_RESULTS_COMMAND(Predictions),
      MSPC_RESULTS_COMMAND(Residuals),
      MSPC_RESULTS_COMMAND(SpreadsheetOfImportanceOfPredictors),
      MSPC_RESULTS_COMMAND(GraphOfImportanceOfPredictors),
      MSPC_RESULTS_COMMAND(TSquareChart),
      MSPC_RESULTS_COMMAND(TSquareSpreadsheet),
      MSPC_RESULTS_COMMAND(SPEQChart),
      MSPC_RESULTS_COMMAND(SPEQSpreadsheet),
      MSPC_RESULTS_COMMAND(DToModelSpreadsheet),
      MSPC_RESULTS_COMMAND(BarChartOfDToModel),
      MSPC_RESULTS_COMMAND(ScoreControlSpreadsheet),
      MSPC_RESULTS_COMMAND(ContributionSpreadsheet),
      MSPC_RESULTS_COMMAND(ContributionPlot),
      MSPC_RESULTS_COMMAND(AddNextComponent),
      MSPC_RESULTS_COMMAND(RemoveLastComponent),
      MSPC_RESULTS_COMMAND(RemoveAllComponent),
      MSPC_RESULTS_COMMAND(AutoFitMoreComponents),
      MSPC_RESULTS_COMMAND(Details),
      MSPC_RESULTS_COMMAND(CodeGeneratorPMML),
      MSPC_RESULTS_COMMAND(CodeGeneratorCLang),
      MSPC_RESULTS_COMMAND(CodeGeneratorKVB),
  };
}

#undef MSPC_RESULTS_COMMAND

PLSReportOptions& PLSResults::options() const { return dialog_.model().report_options(); }

double PLSResults::get_TSquareControlLimit() const { return options().chart.control_percent; }
void PLSResults::put_TSquareControlLimit(double value) { options().chart.control_percent = value; }
bool PLSResults::get_TSquareWarning() const { return options().chart.warning; }
void PLSResults::put_TSquareWarning(bool value) { options().chart.warning = value; }
double PLSResults::get_TSquareWarningLimit() const { return options().chart.warning_percent; }
void PLSResults::put_TSquareWarningLimit(double value) { options().chart.warning_percent = value; }
bool PLSResults::get_ComputeScoreLimitFromP() const {
  return options().score.type == ScoreLimitType::kPValue;
}
void PLSResults::put_ComputeScoreLimitFromP(bool value) {
  if (value) options().score = SwitchScoreLimitType(options().score, ScoreLimitType::kPValue);
}
bool PLSResults::get_ComputeScoreLimitFromStdDev() const {
  return options().score.type == ScoreLimitType::kStandardDeviations;
}
void PLSResults::put_ComputeScoreLimitFromStdDev(bool value) {
  if (value) {
    options().score = SwitchScoreLimitType(options().score, ScoreLimitType::kStandardDeviations);
  }
}
double PLSResults::get_ScoreControlLimit() const { return options().score.control; }
void PLSResults::put_ScoreControlLimit(double value) { options().score.control = value; }
bool PLSResults::get_ScoreWarning() const { return options().score.warning; }
void PLSResults::put_ScoreWarning(bool value) { options().score.warning = value; }
double PLSResults::get_ScoreWarningLimit() const { return options().score.warning_value; }
void PLSResults::put_ScoreWarningLimit(double value) { options().score.warning_value = value; }
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
std::string PLSResults::get_ExportFileName() const { return options().export_file_name; }
void PLSResults::put_ExportFileName(const std::string& value) {
  options().export_file_name = value;
}
int PLSResults::get_NumberOfComponents() const { return dialog_.model().engine().ComponentCount(); }

bool PLSResults::Guarded(bool (CPLSResults::*command)()) {
  return GuardCommand(dialog_.analysis(), [this, command] { return (dialog_.*command)(); });
}

bool PLSResults::Summary() { return Guarded(&CPLSResults::Summary); }
bool PLSResults::SummaryView() { return Guarded(&CPLSResults::SummaryView); }
bool PLSResults::DescriptiveStatistics() { return Guarded(&CPLSResults::DescriptiveStatistics); }
bool PLSResults::XScoreSpreadsheet() { return Guarded(&CPLSResults::XScoreSpreadsheet); }
bool PLSResults::YScoreSpreadsheet() { return Guarded(&CPLSResults::YScoreSpreadsheet); }
bool PLSResults::XWeightSpreadsheet() { return Guarded(&CPLSResults::XWeightSpreadsheet); }
bool PLSResults::LoadingSpreadsheet() { return Guarded(&CPLSResults::LoadingSpreadsheet); }
bool PLSResults::Coefficients() { return Guarded(&CPLSResults::Coefficients); }
bool PLSResults::Predictions() { return Guarded(&CPLSResults::Predictions); }
bool PLSResults::Residuals() { return Guarded(&CPLSResults::Residuals); }
bool PLSResults::SpreadsheetOfImportanceOfPredictors() {
  return Guarded(&CPLSResults::SpreadsheetOfImportanceOfPredictors);
}
bool PLSResults::GraphOfImportanceOfPredictors() {
  return Guarded(&CPLSResults::GraphOfImportanceOfPredictors);
}
bool PLSResults::TSquareChart() { return Guarded(&CPLSResults::TSquareChart); }
bool PLSResults::TSquareSpreadsheet() { return Guarded(&CPLSResults::TSquareSpreadsheet); }
bool PLSResults::SPEQChart() { return Guarded(&CPLSResults::SPEQChart); }
bool PLSResults::SPEQSpreadsheet() { return Guarded(&CPLSResults::SPEQSpreadsheet); }
bool PLSResults::DToModelSpreadsheet() { return Guarded(&CPLSResults::DToModelSpreadsheet); }
bool PLSResults::BarChartOfDToModel() { return Guarded(&CPLSResults::BarChartOfDToModel); }
bool PLSResults::ScoreControlSpreadsheet() {
  return Guarded(&CPLSResults::ScoreControlSpreadsheet);
}
bool PLSResults::ContributionSpreadsheet() {
  return Guarded(&CPLSResults::ContributionSpreadsheet);
}
bool PLSResults::ContributionPlot() { return Guarded(&CPLSResults::ContributionPlot); }
bool PLSResults::AddNextComponent() { return Guarded(&CPLSResults::AddNextComponent); }
bool PLSResults::RemoveLastComponent() { return Guarded(&CPLSResults::RemoveLastComponent); }
bool PLSResults::RemoveAllComponent() { return Guarded(&CPLSResults::RemoveAllComponent); }
bool PLSResults::AutoFitMoreComponents() { return Guarded(&CPLSResults::AutoFitMoreComponents); }
bool PLSResults::Details() { return Guarded(&CPLSResults::Details); }

// ---------------------------------------------------------------------------------------------
// CPLSResults: the dialog.

CPLSResults::CPLSResults(CMSPC& analysis) : CAnalysisModelessDialog(analysis), twin_(*this) {}

CPLSModel& CPLSResults::model() const { return FittedPLSModel(analysis()); }

const ProbabilityFunctions& CPLSResults::probability() const {
  const ProbabilityFunctions* functions = analysis().host().probability;
  if (functions == nullptr) throw std::logic_error("the host supplies no probability functions");
  return *functions;
}

void CPLSResults::Route(const RoutedOutput& output) { analysis().RouteOutput(output); }

bool CPLSResults::Refuse(MessageId id, const std::string& text) {
  analysis().ShowText(MessageKind::kStop, id, text);
  return false;
}

bool CPLSResults::HasComponents() {
  if (model().engine().ComponentCount() > 0) return true;
  analysis().ShowMessage(MessageKind::kWarning, MessageId::kReportNeedsComponent);
  return false;
}

bool CPLSResults::Monitoring(PLSMonitoring& monitoring) {
  const CPLSModel& fitted = model();
  if (const auto refusal = fitted.report_options().chart.Validate()) {
    return Refuse(*refusal, FormatMessage(*refusal));
  }
  monitoring = ComputePLSMonitoring(fitted.engine(), fitted.report_options().chart, probability());
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
  const double pooled = monitoring.distance.pooled;
  if (!analysis().IsOleAutomation() && std::isfinite(pooled)) {
    analysis().ShowMessage(MessageKind::kNote, MessageId::kNormalizedDistance, pooled);
  }
  return true;
}

bool CPLSResults::BarChartOfDToModel() {
  PLSMonitoring monitoring;
  if (!Monitoring(monitoring)) return false;
  Route(PLSDistanceBarChart(model().report_data(), monitoring));
  return true;
}

bool CPLSResults::ScoreControlSpreadsheet() {
  if (!HasComponents()) return true;
  const PLSReportOptions& options = model().report_options();
  if (const auto refusal = options.score.Validate()) {
    return Refuse(*refusal, FormatMessage(*refusal));
  }
  if (options.score_type != static_cast<int>(PLSScoreType::kXScores) &&
      options.score_type != static_cast<int>(PLSScoreType::kYScores)) {
    return Refuse(MessageId::kScoreTypeOutOfRange, FormatMessage(MessageId::kScoreTypeOutOfRange));
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

bool CPLSResults::AddNextComponent() {
  if (const auto refusal = model().engine().AddNextComponent()) {
    return Refuse(*refusal, FormatMessage(*refusal));
  }
  return true;
}

bool CPLSResults::RemoveLastComponent() {
  PLSEngine& engine = model().engine();
  if (engine.ComponentCount() == 0) {
    return Refuse(MessageId::kNoComponentToRemove, FormatMessage(MessageId::kNoComponentToRemove));
  }
  engine.RemoveLastComponent();
  return true;
}

bool CPLSResults::RemoveAllComponent() {
  model().engine().RemoveAllComponents();
  return true;
}

bool CPLSResults::AutoFitMoreComponents() {
  // Nothing more to fit is news, not a failure: the model stays as it was. A cancel keeps the
  // components stored before it.
  if (const auto refusal = model().engine().AutoFitMoreComponents()) {
    analysis().ShowMessage(MessageKind::kWarning, *refusal);
  }
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

std::string PLSDetails::TwinName() const { return name_; }

std::vector<AutomationProperty> PLSDetails::Properties() {
  return {MakeProperty("Component", *this, &PLSDetails::get_Component, &PLSDetails::put_Component)};
}

std::vector<AutomationCommand> PLSDetails::Commands() {
  return {MakeCommand("VariableStatistics", *this, &PLSDetails::VariableStatistics),
          MakeCommand("Close", *this, &PLSDetails::Close)};
}

int PLSDetails::get_Component() const { return dialog_.component(); }
void PLSDetails::put_Component(int value) { dialog_.set_component(value); }

bool PLSDetails::VariableStatistics() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.VariableStatistics(); });
}

bool PLSDetails::Close() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.Close(); });
}

CPLSDetails::CPLSDetails(CMSPC& analysis) : CPLSDetails(analysis, "PLSDetails", kStepPLSResults) {}

CPLSDetails::CPLSDetails(CMSPC& analysis, std::string twin_name, int results_step)
    : CAnalysisModelessDialog(analysis),
      results_step_(results_step),
      twin_(*this, std::move(twin_name)) {}

bool CPLSDetails::VariableStatistics() {
  const CPLSModel& model = FittedPLSModel(analysis());
  const int components = model.engine().ComponentCount();
  if (components == 0) {
    analysis().ShowMessage(MessageKind::kWarning, MessageId::kReportNeedsComponent);
    return true;
  }
  const int component = component_ == 0 ? components : component_;
  if (component < 1 || component > components) {
    analysis().ShowMessage(MessageKind::kStop, MessageId::kDetailsComponentOutOfRange, components);
    return false;
  }
  for (const Spreadsheet& sheet : PLSVariableStatistics(model.report_data(), component)) {
    analysis().RouteOutput(sheet);
  }
  return true;
}

bool CPLSDetails::Close() {
  analysis().ExitDialog(results_step_, kDirectionBack, 0);
  return true;
}

}  // namespace mspc
