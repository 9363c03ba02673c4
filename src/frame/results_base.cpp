#include "frame/results_base.hpp"

#include <algorithm>
#include <stdexcept>

#include "batch/batch_reader.hpp"
#include "frame/automation_property.hpp"
#include "frame/model_export_commands.hpp"
#include "frame/mspc.hpp"
#include "host/document_store.hpp"

namespace mspc {

ScoreLimitOptions SwitchScoreLimitType(const ScoreLimitOptions& current, ScoreLimitType type) {
  if (current.type == type) return current;
  ScoreLimitOptions switched = ScoreLimitOptions::Defaults(type);
  switched.warning = current.warning;
  return switched;
}

// ---------------------------------------------------------------------------------------------
// ResultsDialog.

void ResultsDialog::Route(const RoutedOutput& output) { analysis().RouteOutput(output); }

bool ResultsDialog::Refuse(MessageId id, const std::string& text) {
  analysis().ShowText(MessageKind::kStop, id, text);
  return false;
}

bool ResultsDialog::HasComponents() {
  if (components().ComponentCount() > 0) return true;
  // Not a refusal: the command ran, and there is nothing to show until a component is added.
  analysis().ShowMessage(MessageKind::kWarning, MessageId::kReportNeedsComponent);
  return false;
}

const ProbabilityFunctions& ResultsDialog::probability() const {
  const ProbabilityFunctions* functions = analysis().host().probability;
  // Every host supplies its quantile functions; without them no limit can be drawn.
  if (functions == nullptr) throw std::logic_error("the host supplies no probability functions");
  return *functions;
}

bool ResultsDialog::ChartLimitsUsable() {
  if (const auto refusal = chart_limits().Validate()) return Refuse(*refusal);
  return true;
}

bool ResultsDialog::ScoreLimitsUsable() {
  if (const auto refusal = score_limits().Validate()) return Refuse(*refusal);
  return true;
}

bool ResultsDialog::ResolveProcessColumn(const std::vector<BatchColumn>& columns,
                                         const std::string& name,
                                         std::size_t& variable) {
  const auto found = std::find_if(columns.begin(), columns.end(), [&](const BatchColumn& column) {
    return name.empty() || column.name == name;
  });
  if (found == columns.end()) {
    return Refuse(MessageId::kTrajectoryVariableUnknown,
                  FormatMessage(MessageId::kTrajectoryVariableUnknown, name));
  }
  variable = static_cast<std::size_t>(found - columns.begin());
  return true;
}

bool ResultsDialog::SaveAndShow(const std::string& extension,
                                MessageId title,
                                const std::string& text) {
  return SaveAndShowExport(analysis(), export_file_name() + extension, title, text);
}

bool ResultsDialog::AddNextComponent() {
  if (const auto refusal = components().AddNextComponent()) return Refuse(*refusal);
  return true;
}

bool ResultsDialog::RemoveLastComponent() {
  if (!components().RemoveLastComponent()) return Refuse(MessageId::kNoComponentToRemove);
  return true;
}

bool ResultsDialog::RemoveAllComponent() {
  components().RemoveAllComponents();
  return true;
}

bool ResultsDialog::AutoFitMoreComponents() {
  std::optional<MessageId> refusal;
  components().AutoFitMoreComponents(refusal);
  // Nothing more to fit is news, not a failure: the model stays as it was.
  if (refusal) analysis().ShowMessage(MessageKind::kWarning, *refusal);
  return true;
}

// ---------------------------------------------------------------------------------------------
// ResultsTwin.

double ResultsTwin::get_TSquareControlLimit() const {
  return dialog_.chart_limits().control_percent;
}
void ResultsTwin::put_TSquareControlLimit(double value) {
  dialog_.chart_limits().control_percent = value;
}
bool ResultsTwin::get_TSquareWarning() const { return dialog_.chart_limits().warning; }
void ResultsTwin::put_TSquareWarning(bool value) { dialog_.chart_limits().warning = value; }
double ResultsTwin::get_TSquareWarningLimit() const {
  return dialog_.chart_limits().warning_percent;
}
void ResultsTwin::put_TSquareWarningLimit(double value) {
  dialog_.chart_limits().warning_percent = value;
}

bool ResultsTwin::get_ComputeScoreLimitFromP() const {
  return dialog_.score_limits().type == ScoreLimitType::kPValue;
}
void ResultsTwin::put_ComputeScoreLimitFromP(bool value) {
  ScoreLimitOptions& score = dialog_.score_limits();
  if (value) score = SwitchScoreLimitType(score, ScoreLimitType::kPValue);
}
bool ResultsTwin::get_ComputeScoreLimitFromStdDev() const {
  return dialog_.score_limits().type == ScoreLimitType::kStandardDeviations;
}
void ResultsTwin::put_ComputeScoreLimitFromStdDev(bool value) {
  ScoreLimitOptions& score = dialog_.score_limits();
  if (value) score = SwitchScoreLimitType(score, ScoreLimitType::kStandardDeviations);
}
double ResultsTwin::get_ScoreControlLimit() const { return dialog_.score_limits().control; }
void ResultsTwin::put_ScoreControlLimit(double value) { dialog_.score_limits().control = value; }
bool ResultsTwin::get_ScoreWarning() const { return dialog_.score_limits().warning; }
void ResultsTwin::put_ScoreWarning(bool value) { dialog_.score_limits().warning = value; }
double ResultsTwin::get_ScoreWarningLimit() const { return dialog_.score_limits().warning_value; }
void ResultsTwin::put_ScoreWarningLimit(double value) {
  dialog_.score_limits().warning_value = value;
}
std::string ResultsTwin::get_ExportFileName() const { return dialog_.export_file_name(); }
void ResultsTwin::put_ExportFileName(const std::string& value) {
  dialog_.export_file_name() = value;
}
int ResultsTwin::get_NumberOfComponents() const { return dialog_.components().ComponentCount(); }

bool ResultsTwin::AddNextComponent() { return Guarded(dialog_, &ResultsDialog::AddNextComponent); }
bool ResultsTwin::RemoveLastComponent() {
  return Guarded(dialog_, &ResultsDialog::RemoveLastComponent);
}
bool ResultsTwin::RemoveAllComponent() {
  return Guarded(dialog_, &ResultsDialog::RemoveAllComponent);
}
bool ResultsTwin::AutoFitMoreComponents() {
  return Guarded(dialog_, &ResultsDialog::AutoFitMoreComponents);
}

#define MSPC_RESULTS_PROPERTY(Name) \
  MakeProperty(#Name, *this, &ResultsTwin::get_##Name, &ResultsTwin::put_##Name)

std::vector<AutomationProperty> ResultsTwin::LimitProperties() {
  return {
      MSPC_RESULTS_PROPERTY(TSquareControlLimit),
      MSPC_RESULTS_PROPERTY(TSquareWarning),
      MSPC_RESULTS_PROPERTY(TSquareWarningLimit),
      MSPC_RESULTS_PROPERTY(ComputeScoreLimitFromP),
      MSPC_RESULTS_PROPERTY(ComputeScoreLimitFromStdDev),
      MSPC_RESULTS_PROPERTY(ScoreControlLimit),
      MSPC_RESULTS_PROPERTY(ScoreWarning),
      MSPC_RESULTS_PROPERTY(ScoreWarningLimit),
  };
}

std::vector<AutomationProperty> ResultsTwin::ExportProperties() {
  return {
      MSPC_RESULTS_PROPERTY(ExportFileName),
      MakeReadOnlyProperty("NumberOfComponents", *this, &ResultsTwin::get_NumberOfComponents),
  };
}

#undef MSPC_RESULTS_PROPERTY

std::vector<AutomationCommand> ResultsTwin::ComponentCommands() {
  return {
      MakeCommand("AddNextComponent", *this, &ResultsTwin::AddNextComponent),
      MakeCommand("RemoveLastComponent", *this, &ResultsTwin::RemoveLastComponent),
      MakeCommand("RemoveAllComponent", *this, &ResultsTwin::RemoveAllComponent),
      MakeCommand("AutoFitMoreComponents", *this, &ResultsTwin::AutoFitMoreComponents),
  };
}

std::vector<AutomationProperty> DetailsTwin::Properties() {
  return {
      MakeProperty("Component", *this, &DetailsTwin::get_Component, &DetailsTwin::put_Component)};
}

std::vector<AutomationCommand> DetailsTwin::Commands() {
  return {MakeCommand("VariableStatistics", *this, &DetailsTwin::VariableStatistics),
          MakeCommand("Close", *this, &DetailsTwin::Close)};
}

int DetailsTwin::get_Component() const { return dialog_.component(); }
void DetailsTwin::put_Component(int value) { dialog_.set_component(value); }

bool DetailsTwin::VariableStatistics() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.VariableStatistics(); });
}

bool DetailsTwin::Close() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.Close(); });
}

bool DetailsDialog::VariableStatistics() {
  const int components = ComponentCount();
  if (components == 0) {
    analysis().ShowMessage(MessageKind::kWarning, MessageId::kReportNeedsComponent);
    return true;
  }
  const int component = component_ == 0 ? components : component_;
  if (component < 1 || component > components) {
    analysis().ShowMessage(MessageKind::kStop, MessageId::kDetailsComponentOutOfRange, components);
    return false;
  }
  RouteStatistics(component);
  return true;
}

bool DetailsDialog::Close() {
  analysis().ExitDialog(results_step_, kDirectionBack, 0);
  return true;
}

}  // namespace mspc
