#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "deploy/pca_document.hpp"
#include "frame/analysis_dialog.hpp"
#include "frame/results_base.hpp"
#include "frame/steps.hpp"
#include "host/automation.hpp"
#include "pca/pca_reports.hpp"

namespace mspc {

class CPCAModel;
class CPCAResults;
class CPCADetails;
class ProbabilityFunctions;

/// What the Results dialogs of the principal components models (PCA, TMPCA) share: their
/// settings in the model's `report_options()`, the checks of the plotted components and of the
/// contributions' observation, and the reports that read the same for both.
class PCAModelResults : public ResultsDialog {
 public:
  using ResultsDialog::ResultsDialog;

  /// The current model; throws `AnalysisStop` when it is not a fitted model of the dialog's kind.
  virtual CPCAModel& pca_model() const = 0;
  ChartLimitOptions& chart_limits() const override;
  ScoreLimitOptions& score_limits() const override;
  std::string& export_file_name() const override;
  ComponentEditor& components() const override;

  /// The T², score and SPE(Q) contribution spreadsheets of the chosen observation.
  bool ContributionSpreadsheet();

 protected:
  /// The components to plot, or a refusal shown.
  bool ResolvePlotComponents(std::vector<int>& components);
  /// Two different components for a scatterplot, or a refusal shown.
  bool ResolvePlotPair(std::vector<int>& components);
  /// The observation of the contributions, or a refusal shown.
  bool ResolveContributionRow(std::size_t& row);
  /// Outside automation the pooled distance to the model is a note as well.
  void NoteNormalizedDistance();
};

/// The twin's side of `PCAModelResults`: beside the limits of `ResultsTwin`, the settings of the
/// plots, the contributions and the importance report.
class PCAModelResultsTwin : public ResultsTwin {
 public:
  explicit PCAModelResultsTwin(PCAModelResults& dialog) : ResultsTwin(dialog), dialog_(dialog) {}

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

 protected:
  /// The four settings above, as properties.
  std::vector<AutomationProperty> PlotProperties();

 private:
  PCAReportOptions& options() const;

  PCAModelResults& dialog_;
};

/// Automation twin of the PCA Results dialog: the limit and plot settings, one command per
/// report, the component commands, and `Details`.
class PCAResults final : public PCAModelResultsTwin {
 public:
  explicit PCAResults(CPCAResults& dialog);

  std::string TwinName() const override;
  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

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
  /// Open the PCA Details dialog; closing it comes back to Results.
  bool Details();
  /// Write the model document as `<ExportFileName>.pmml` and show it as a text report.
  bool CodeGeneratorPMML();
  /// Write C code that scores new cases as `<ExportFileName>.c` and show it.
  bool CodeGeneratorCLang();
  /// Write KVB code that scores new cases and draws their chart as `<ExportFileName>.kvb`.
  bool CodeGeneratorKVB();

 private:
  bool Guarded(bool (CPCAResults::*command)()) { return ResultsTwin::Guarded(dialog_, command); }

  CPCAResults& dialog_;
};

/// The PCA Results dialog (step 103): produces the reports of the current PCA model and changes
/// its number of components. Its settings live in the model, so they outlast the dialog.
class CPCAResults final : public PCAModelResults {
 public:
  explicit CPCAResults(CMSPC& analysis);

  AutomationObject& Automation() override { return twin_; }
  /// The current model; throws `AnalysisStop` when it is not a fitted PCA model.
  CPCAModel& model() const;
  CPCAModel& pca_model() const override { return model(); }

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
  bool ContributionPlot();
  bool ScaledData();
  bool Details();
  bool CodeGeneratorPMML();
  bool CodeGeneratorCLang();
  bool CodeGeneratorKVB();

 private:
  /// The fitted model with its limits, as its exports hold it.
  LoadedPCAModel ExportModel();

  PCAResults twin_;
};

/// The Details dialog of a principal components model (PCA at step 104, TMPCA at step 107),
/// opened from its Results dialog and returning to it. For TMPCA the variables are the
/// unfolded columns, each a variable at a time.
class CPCADetails final : public DetailsDialog {
 public:
  explicit CPCADetails(CMSPC& analysis,
                       int results_step = kStepPCAResults,
                       std::string twin_name = "PCADetails")
      : DetailsDialog(analysis, results_step, std::move(twin_name)) {}

 protected:
  int ComponentCount() const override;
  /// R²X, R²X(Cumul.), PRESS and Q² of every variable.
  void RouteStatistics(int component) override;
};

}  // namespace mspc
