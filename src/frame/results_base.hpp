#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "frame/analysis_dialog.hpp"
#include "frame/output_auto_update.hpp"
#include "host/automation.hpp"
#include "host/messages.hpp"
#include "models/component_editor.hpp"
#include "models/monitoring.hpp"

namespace mspc {

struct BatchColumn;
class ProbabilityFunctions;

/// The score limit settings after choosing `type`: the same settings when the type is already
/// chosen, else that type's defaults, keeping whether a warning limit is drawn.
ScoreLimitOptions SwitchScoreLimitType(const ScoreLimitOptions& current, ScoreLimitType type);

/// What every model's Results dialog has: the limits of the monitoring charts, the commands that
/// change the number of components, the export of a text document into the output folder, and
/// the checks the reports share. A kind's dialog derives from it and adds its reports.
class ResultsDialog : public CAnalysisModelessDialog {
 public:
  explicit ResultsDialog(CMSPC& analysis) : CAnalysisModelessDialog(analysis) {}

  /// The settings of the current fitted model (they live in the model, so they outlast the
  /// dialog); each throws `AnalysisStop` when there is no fitted model of the dialog's kind.
  virtual ChartLimitOptions& chart_limits() const = 0;
  virtual ScoreLimitOptions& score_limits() const = 0;
  virtual std::string& export_file_name() const = 0;
  virtual ComponentEditor& components() const = 0;

  bool AddNextComponent();
  bool RemoveLastComponent();
  bool RemoveAllComponent();
  bool AutoFitMoreComponents();

 protected:
  void Route(const RoutedOutput& output);
  /// Show the refusal `text` under `id`; answers false.
  bool Refuse(MessageId id, const std::string& text);
  bool Refuse(MessageId id) { return Refuse(id, FormatMessage(id)); }
  /// Whether the model has a component; if not, warn that the report needs one.
  bool HasComponents();
  const ProbabilityFunctions& probability() const;
  /// Whether the chart (T², SPE(Q)) or score limits are in range; if not, refuse.
  bool ChartLimitsUsable();
  bool ScoreLimitsUsable();
  /// The process column of a batch model's trajectory reports, the one named `name` (empty:
  /// the first), or a refusal shown.
  bool ResolveProcessColumn(const std::vector<BatchColumn>& columns,
                            const std::string& name,
                            std::size_t& variable);
  /// Save `text` as the export file name with `extension` into the host's documents and route
  /// it as a text report titled `title`.
  bool SaveAndShow(const std::string& extension, MessageId title, const std::string& text);
};

/// The automation twin's side of `ResultsDialog`: the limit properties, `ExportFileName`, the
/// read-only `NumberOfComponents` and the four component commands. The Hotelling T² and SPE(Q)
/// charts share one pair of limits; the score limits are set by p-value or by a number of
/// standard deviations, and choosing the other kind puts that kind's defaults in place, so a
/// script sets the kind before the values. Settings are checked when a report uses them.
class ResultsTwin : public AutomationObject {
 public:
  explicit ResultsTwin(ResultsDialog& dialog) : dialog_(dialog) {}

  double get_TSquareControlLimit() const;
  void put_TSquareControlLimit(double value);
  bool get_TSquareWarning() const;
  void put_TSquareWarning(bool value);
  double get_TSquareWarningLimit() const;
  void put_TSquareWarningLimit(double value);
  bool get_ComputeScoreLimitFromP() const;
  void put_ComputeScoreLimitFromP(bool value);
  bool get_ComputeScoreLimitFromStdDev() const;
  void put_ComputeScoreLimitFromStdDev(bool value);
  double get_ScoreControlLimit() const;
  void put_ScoreControlLimit(double value);
  bool get_ScoreWarning() const;
  void put_ScoreWarning(bool value);
  double get_ScoreWarningLimit() const;
  void put_ScoreWarningLimit(double value);
  std::string get_ExportFileName() const;
  void put_ExportFileName(const std::string& value);
  /// The number of accepted components (read only).
  int get_NumberOfComponents() const;

  bool AddNextComponent();
  bool RemoveLastComponent();
  bool RemoveAllComponent();
  bool AutoFitMoreComponents();

 protected:
  /// The limit properties, the kind of score limit before its values.
  std::vector<AutomationProperty> LimitProperties();
  /// `ExportFileName` and `NumberOfComponents`.
  std::vector<AutomationProperty> ExportProperties();
  /// The four component commands.
  std::vector<AutomationCommand> ComponentCommands();
  /// Run a command of the dialog at the host boundary (`GuardCommand`).
  template <typename Dialog, typename Command>
  bool Guarded(Dialog& dialog, Command command) {
    return GuardCommand(dialog.analysis(), [&dialog, command] { return (dialog.*command)(); });
  }

 private:
  ResultsDialog& dialog_;
};

class DetailsDialog;

/// Automation twin of a Details dialog: per-variable statistics of one component.
class DetailsTwin final : public AutomationObject {
 public:
  DetailsTwin(DetailsDialog& dialog, std::string name) : dialog_(dialog), name_(std::move(name)) {}

  std::string TwinName() const override { return name_; }
  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

  /// The component the statistics are of (1-based); 0: the last stored component.
  int get_Component() const;
  void put_Component(int value);

  /// The statistics of every variable for the component.
  bool VariableStatistics();
  /// Go back to the Results dialog.
  bool Close();

 private:
  DetailsDialog& dialog_;
  std::string name_;
};

/// What every Details dialog has: opened from a Results dialog and returning to it, it shows
/// the statistics of every variable for one component of the current fitted model. A kind's
/// dialog says how many components there are and routes the statistics.
class DetailsDialog : public CAnalysisModelessDialog {
 public:
  /// `results_step`: the Results step Close returns to; `twin_name`: the automation name.
  DetailsDialog(CMSPC& analysis, int results_step, std::string twin_name)
      : CAnalysisModelessDialog(analysis),
        results_step_(results_step),
        twin_(*this, std::move(twin_name)) {}

  AutomationObject& Automation() override { return twin_; }
  int component() const { return component_; }
  void set_component(int value) { component_ = value; }

  /// Route the statistics of the chosen component (0: the last one). Without components a
  /// warning says a component is needed; a component out of range stops the command.
  bool VariableStatistics();
  bool Close();

 protected:
  /// The components of the current fitted model; throws `AnalysisStop` when there is none.
  virtual int ComponentCount() const = 0;
  /// Route the statistics of every variable for `component` (1-based).
  virtual void RouteStatistics(int component) = 0;

 private:
  int component_ = 0;
  int results_step_;
  DetailsTwin twin_;
};

}  // namespace mspc
