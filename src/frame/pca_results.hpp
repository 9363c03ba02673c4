#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "frame/analysis_dialog.hpp"
#include "frame/output_auto_update.hpp"
#include "host/automation.hpp"
#include "pca/pca_reports.hpp"

namespace mspc {

class CPCAModel;
class CPCAResults;
class CPCADetails;
class ProbabilityFunctions;

/// Automation twin of the PCA Results dialog: the limit and plot settings as properties, one
/// command per report, the commands that change the number of components, and `Details`.
///
/// The Hotelling T² and SPE(Q) charts share one pair of limits (`TSquareControlLimit`,
/// `TSquareWarning`, `TSquareWarningLimit`). The score limits are set by p-value or by a number
/// of standard deviations; choosing the other kind puts that kind's default values in place, so
/// a script sets the kind before the values. Settings are checked when a report uses them: a
/// value out of range refuses the report with the message that says why.
class PCAResults final : public AutomationObject {
 public:
  explicit PCAResults(CPCAResults& dialog) : dialog_(dialog) {}

  std::string TwinName() const override;
  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

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
  /// A case name or a 1-based case number; empty: the observation with the largest T².
  std::string get_ObservationForContribution() const;
  void put_ObservationForContribution(const std::string& value);
  /// `[a]` or `[a, b]`; empty: components 1 and 2.
  std::vector<int> get_ComponentsToPlot() const;
  void put_ComponentsToPlot(const std::vector<int>& value);
  bool get_SortVariablesByImportance() const;
  void put_SortVariablesByImportance(bool value);
  int get_NumberOfEigenvaluesToPlot() const;
  void put_NumberOfEigenvaluesToPlot(int value);
  std::string get_ExportFileName() const;
  void put_ExportFileName(const std::string& value);
  /// The number of accepted components (read only).
  int get_NumberOfComponents() const;

  bool Summary();
  bool SummaryView();
  bool DescriptiveStatistics();
  bool Eigenvalues();
  bool ScreePlotOfEigenvalues();
  bool LoadingSpreadsheet();
  bool LineplotsOfLoadings();
  bool ScatterplotsOfLoadings();
  bool XScoreSpreadsheet();
  bool LineplotsOfScores();
  bool ScatterplotsOfScores();
  bool TSquareChart();
  bool TSquareSpreadsheet();
  bool SPEQChart();
  bool SPEQSpreadsheet();
  bool DToModelSpreadsheet();
  bool BarChartOfDToModel();
  bool SpreadsheetOfImportanceOfPredictors();
  bool Residuals();
  bool ContributionSpreadsheet();
  bool ContributionPlot();
  bool ScaledData();
  bool AddNextComponent();
  bool RemoveLastComponent();
  bool RemoveAllComponent();
  bool AutoFitMoreComponents();
  /// Open the PCA Details dialog; closing it comes back to Results.
  bool Details();

 private:
  bool Guarded(bool (CPCAResults::*command)());
  PCAReportOptions& options() const;

  CPCAResults& dialog_;
};

/// The PCA Results dialog (step 103): produces the reports of the current PCA model and changes
/// its number of components. Its settings live in the model, so they outlast the dialog.
class CPCAResults final : public CAnalysisModelessDialog {
 public:
  explicit CPCAResults(CMSPC& analysis);

  AutomationObject& Automation() override { return twin_; }
  /// The current model; throws `AnalysisStop` when it is not a fitted PCA model.
  CPCAModel& model() const;

  // One operation per command of the twin; each answers false when it was refused.
  bool Summary();
  bool SummaryView();
  bool DescriptiveStatistics();
  bool Eigenvalues();
  bool ScreePlotOfEigenvalues();
  bool LoadingSpreadsheet();
  bool LineplotsOfLoadings();
  bool ScatterplotsOfLoadings();
  bool XScoreSpreadsheet();
  bool LineplotsOfScores();
  bool ScatterplotsOfScores();
  bool TSquareChart();
  bool TSquareSpreadsheet();
  bool SPEQChart();
  bool SPEQSpreadsheet();
  bool DToModelSpreadsheet();
  bool BarChartOfDToModel();
  bool SpreadsheetOfImportanceOfPredictors();
  bool Residuals();
  bool ContributionSpreadsheet();
  bool ContributionPlot();
  bool ScaledData();
  bool AddNextComponent();
  bool RemoveLastComponent();
  bool RemoveAllComponent();
  bool AutoFitMoreComponents();
  bool Details();

 private:
  void Route(const RoutedOutput& output);
  bool Refuse(MessageId id, const std::string& text);
  /// Whether the model has a component; if not, warn that the report needs one.
  bool HasComponents();
  const ProbabilityFunctions& probability() const;
  /// The checked chart limits, or a refusal shown.
  bool ChartLimitsUsable();
  bool ScoreLimitsUsable();
  bool ResolvePlotComponents(std::vector<int>& components);
  bool ResolveContributionRow(std::size_t& row);

  PCAResults twin_;
};

/// Automation twin of the PCA Details dialog: per-variable statistics of one component.
class PCADetails final : public AutomationObject {
 public:
  explicit PCADetails(CPCADetails& dialog) : dialog_(dialog) {}

  std::string TwinName() const override;
  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

  /// The component the statistics are of (1-based); 0: the last accepted component.
  int get_Component() const;
  void put_Component(int value);

  /// R²X, R²X(Cumul.), PRESS and Q² of every variable for the component.
  bool VariableStatistics();
  /// Go back to the PCA Results dialog.
  bool Close();

 private:
  CPCADetails& dialog_;
};

/// The PCA Details dialog (step 104), opened from PCA Results and returning to it.
class CPCADetails final : public CAnalysisModelessDialog {
 public:
  explicit CPCADetails(CMSPC& analysis);

  AutomationObject& Automation() override { return twin_; }
  int component() const { return component_; }
  void set_component(int value) { component_ = value; }

  bool VariableStatistics();
  bool Close();

 private:
  int component_ = 0;
  PCADetails twin_;
};

}  // namespace mspc
