#include "frame/pca_results.hpp"

#include <cmath>
#include <stdexcept>

#include "frame/automation_property.hpp"
#include "frame/mspc.hpp"
#include "pca/pca_model.hpp"

namespace mspc {
namespace {

// The score limit settings of a kind, keeping whether a warning limit is drawn.
ScoreLimitOptions SwitchScoreLimitType(const ScoreLimitOptions& current, ScoreLimitType type) {
  if (current.type == type) return current;
  ScoreLimitOptions switched = ScoreLimitOptions::Defaults(type);
  switched.warning = current.warning;
  return switched;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// PCAResults: the twin.

std::string PCAResults::TwinName() const { return "PCAResults"; }

#define MSPC_RESULTS_PROPERTY(Name) \
  MakeProperty(#Name, *this, &PCAResults::get_##Name, &PCAResults::put_##Name)

std::vector<AutomationProperty> PCAResults::Properties() {
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
      MSPC_RESULTS_PROPERTY(ObservationForContribution),
      MSPC_RESULTS_PROPERTY(ComponentsToPlot),
      MSPC_RESULTS_PROPERTY(SortVariablesByImportance),
      MSPC_RESULTS_PROPERTY(NumberOfEigenvaluesToPlot),
      MSPC_RESULTS_PROPERTY(ExportFileName),
      MakeReadOnlyProperty("NumberOfComponents", *this, &PCAResults::get_NumberOfComponents),
  };
}

#undef MSPC_RESULTS_PROPERTY

#define MSPC_RESULTS_COMMAND(Name) MakeCommand(#Name, *this, &PCAResults::Name)

std::vector<AutomationCommand> PCAResults::Commands() {
  return {
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
      MSPC_RESULTS_COMMAND(AddNextComponent),
      MSPC_RESULTS_COMMAND(RemoveLastComponent),
      MSPC_RESULTS_COMMAND(RemoveAllComponent),
      MSPC_RESULTS_COMMAND(AutoFitMoreComponents),
      MSPC_RESULTS_COMMAND(Details),
  };
}

#undef MSPC_RESULTS_COMMAND

PCAReportOptions& PCAResults::options() const { return dialog_.model().report_options(); }

double PCAResults::get_TSquareControlLimit() const { return options().chart.control_percent; }
void PCAResults::put_TSquareControlLimit(double value) { options().chart.control_percent = value; }
bool PCAResults::get_TSquareWarning() const { return options().chart.warning; }
void PCAResults::put_TSquareWarning(bool value) { options().chart.warning = value; }
double PCAResults::get_TSquareWarningLimit() const { return options().chart.warning_percent; }
void PCAResults::put_TSquareWarningLimit(double value) { options().chart.warning_percent = value; }

bool PCAResults::get_ComputeScoreLimitFromP() const {
  return options().score.type == ScoreLimitType::kPValue;
}
void PCAResults::put_ComputeScoreLimitFromP(bool value) {
  if (value) options().score = SwitchScoreLimitType(options().score, ScoreLimitType::kPValue);
}
bool PCAResults::get_ComputeScoreLimitFromStdDev() const {
  return options().score.type == ScoreLimitType::kStandardDeviations;
}
void PCAResults::put_ComputeScoreLimitFromStdDev(bool value) {
  if (value) {
    options().score = SwitchScoreLimitType(options().score, ScoreLimitType::kStandardDeviations);
  }
}
double PCAResults::get_ScoreControlLimit() const { return options().score.control; }
void PCAResults::put_ScoreControlLimit(double value) { options().score.control = value; }
bool PCAResults::get_ScoreWarning() const { return options().score.warning; }
void PCAResults::put_ScoreWarning(bool value) { options().score.warning = value; }
double PCAResults::get_ScoreWarningLimit() const { return options().score.warning_value; }
void PCAResults::put_ScoreWarningLimit(double value) { options().score.warning_value = value; }

std::string PCAResults::get_ObservationForContribution() const { return options().observation; }
void PCAResults::put_ObservationForContribution(const std::string& value) {
  options().observation = value;
}
std::vector<int> PCAResults::get_ComponentsToPlot() const { return options().components_to_plot; }
void PCAResults::put_ComponentsToPlot(const std::vector<int>& value) {
  options().components_to_plot = value;
}
bool PCAResults::get_SortVariablesByImportance() const { return options().sort_by_importance; }
void PCAResults::put_SortVariablesByImportance(bool value) { options().sort_by_importance = value; }
int PCAResults::get_NumberOfEigenvaluesToPlot() const { return options().eigenvalues_to_plot; }
void PCAResults::put_NumberOfEigenvaluesToPlot(int value) { options().eigenvalues_to_plot = value; }
std::string PCAResults::get_ExportFileName() const { return options().export_file_name; }
void PCAResults::put_ExportFileName(const std::string& value) {
  options().export_file_name = value;
}
int PCAResults::get_NumberOfComponents() const { return dialog_.model().engine().ComponentCount(); }

bool PCAResults::Guarded(bool (CPCAResults::*command)()) {
  return GuardCommand(dialog_.analysis(), [this, command] { return (dialog_.*command)(); });
}

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
bool PCAResults::AddNextComponent() { return Guarded(&CPCAResults::AddNextComponent); }
bool PCAResults::RemoveLastComponent() { return Guarded(&CPCAResults::RemoveLastComponent); }
bool PCAResults::RemoveAllComponent() { return Guarded(&CPCAResults::RemoveAllComponent); }
bool PCAResults::AutoFitMoreComponents() { return Guarded(&CPCAResults::AutoFitMoreComponents); }
bool PCAResults::Details() { return Guarded(&CPCAResults::Details); }

// ---------------------------------------------------------------------------------------------
// CPCAResults: the dialog.

CPCAResults::CPCAResults(CMSPC& analysis) : CAnalysisModelessDialog(analysis), twin_(*this) {}

CPCAModel& CPCAResults::model() const {
  auto* model = dynamic_cast<CPCAModel*>(analysis().CurrentModel());
  if (model == nullptr || !model->IsFitted()) {
    throw AnalysisStop::With(MessageId::kNoModelForStartup);
  }
  return *model;
}

const ProbabilityFunctions& CPCAResults::probability() const {
  const ProbabilityFunctions* functions = analysis().host().probability;
  // Every host supplies its quantile functions; without them no limit can be drawn.
  if (functions == nullptr) throw std::logic_error("the host supplies no probability functions");
  return *functions;
}

void CPCAResults::Route(const RoutedOutput& output) { analysis().RouteOutput(output); }

bool CPCAResults::Refuse(MessageId id, const std::string& text) {
  analysis().ShowText(MessageKind::kStop, id, text);
  return false;
}

bool CPCAResults::HasComponents() {
  if (model().engine().ComponentCount() > 0) return true;
  // Not a refusal: the command ran, and there is nothing to show until a component is added.
  analysis().ShowMessage(MessageKind::kWarning, MessageId::kReportNeedsComponent);
  return false;
}

bool CPCAResults::ChartLimitsUsable() {
  if (const auto refusal = model().report_options().chart.Validate()) {
    return Refuse(*refusal, FormatMessage(*refusal));
  }
  return true;
}

bool CPCAResults::ScoreLimitsUsable() {
  if (const auto refusal = model().report_options().score.Validate()) {
    return Refuse(*refusal, FormatMessage(*refusal));
  }
  return true;
}

bool CPCAResults::ResolvePlotComponents(std::vector<int>& components) {
  const CPCAModel& fitted = model();
  if (const auto refusal = ResolveComponentsToPlot(fitted.report_options().components_to_plot,
                                                   fitted.engine().ComponentCount(),
                                                   components)) {
    return Refuse(refusal->id, refusal->text);
  }
  return true;
}

bool CPCAResults::ResolveContributionRow(std::size_t& row) {
  const CPCAModel& fitted = model();
  if (const auto refusal = ResolveObservation(
          fitted.engine(), fitted.working_data(), fitted.report_options().observation, row)) {
    return Refuse(refusal->id, refusal->text);
  }
  return true;
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
    return Refuse(MessageId::kEigenvaluesToPlotNegative,
                  FormatMessage(MessageId::kEigenvaluesToPlotNegative));
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
  if (!ResolvePlotComponents(components)) return false;
  if (components.size() != 2 || components[0] == components[1]) {
    return Refuse(MessageId::kScatterplotNeedsTwoComponents,
                  FormatMessage(MessageId::kScatterplotNeedsTwoComponents));
  }
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
  if (!ScoreLimitsUsable() || !ResolvePlotComponents(components)) return false;
  if (components.size() != 2 || components[0] == components[1]) {
    return Refuse(MessageId::kScatterplotNeedsTwoComponents,
                  FormatMessage(MessageId::kScatterplotNeedsTwoComponents));
  }
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
  const CPCAModel& fitted = model();
  Route(PCADistanceSpreadsheet(fitted.engine(), fitted.working_data()));
  // The pooled distance is an informative note as well; scripts read it from the footnote.
  const double pooled = ComputeModelDistance(fitted.engine()).pooled;
  if (!analysis().IsOleAutomation() && std::isfinite(pooled)) {
    analysis().ShowMessage(MessageKind::kNote, MessageId::kNormalizedDistance, pooled);
  }
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

bool CPCAResults::ContributionSpreadsheet() {
  std::size_t row = 0;
  std::vector<int> components;
  if (!HasComponents()) return true;
  if (!ResolveContributionRow(row) || !ResolvePlotComponents(components)) return false;
  const PCAEngine& engine = model().engine();
  const WorkingData& data = model().working_data();
  Route(PCAT2ContributionSpreadsheet(engine, data, row));
  for (int component : components) {
    Route(PCAScoreContributionSpreadsheet(engine, data, row, component));
  }
  Route(PCASPEContributionSpreadsheet(engine, data, row));
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

bool CPCAResults::AddNextComponent() {
  if (const auto refusal = model().AddNextComponent()) {
    return Refuse(*refusal, FormatMessage(*refusal));
  }
  return true;
}

bool CPCAResults::RemoveLastComponent() {
  if (!model().RemoveLastComponent()) {
    return Refuse(MessageId::kNoComponentToRemove, FormatMessage(MessageId::kNoComponentToRemove));
  }
  return true;
}

bool CPCAResults::RemoveAllComponent() {
  model().RemoveAllComponents();
  return true;
}

bool CPCAResults::AutoFitMoreComponents() {
  std::optional<MessageId> refusal;
  model().AutoFitMoreComponents(refusal);
  // Nothing more to fit is news, not a failure: the model stays as it was.
  if (refusal) analysis().ShowMessage(MessageKind::kWarning, *refusal);
  return true;
}

bool CPCAResults::Details() {
  model();
  analysis().ExitDialog(kStepPCADetails, kDirectionForward, 0);
  return true;
}

// ---------------------------------------------------------------------------------------------
// PCA Details.

std::string PCADetails::TwinName() const { return "PCADetails"; }

std::vector<AutomationProperty> PCADetails::Properties() {
  return {MakeProperty("Component", *this, &PCADetails::get_Component, &PCADetails::put_Component)};
}

std::vector<AutomationCommand> PCADetails::Commands() {
  return {MakeCommand("VariableStatistics", *this, &PCADetails::VariableStatistics),
          MakeCommand("Close", *this, &PCADetails::Close)};
}

int PCADetails::get_Component() const { return dialog_.component(); }
void PCADetails::put_Component(int value) { dialog_.set_component(value); }

bool PCADetails::VariableStatistics() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.VariableStatistics(); });
}

bool PCADetails::Close() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.Close(); });
}

CPCADetails::CPCADetails(CMSPC& analysis) : CAnalysisModelessDialog(analysis), twin_(*this) {}

bool CPCADetails::VariableStatistics() {
  auto* model = dynamic_cast<CPCAModel*>(analysis().CurrentModel());
  if (model == nullptr || !model->IsFitted()) {
    throw AnalysisStop::With(MessageId::kNoModelForStartup);
  }
  const int components = model->engine().ComponentCount();
  if (components == 0) {
    analysis().ShowMessage(MessageKind::kWarning, MessageId::kReportNeedsComponent);
    return true;
  }
  const int component = component_ == 0 ? components : component_;
  if (component < 1 || component > components) {
    analysis().ShowMessage(MessageKind::kStop, MessageId::kDetailsComponentOutOfRange, components);
    return false;
  }
  analysis().RouteOutput(PCAVariableStatistics(model->engine(), model->working_data(), component));
  return true;
}

bool CPCADetails::Close() {
  analysis().ExitDialog(kStepPCAResults, kDirectionBack, 0);
  return true;
}

}  // namespace mspc
