#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "deploy/tmpca_document.hpp"
#include "frame/pca_results.hpp"
#include "host/automation.hpp"

namespace mspc {

class CMPCAModel;
class CMPCAResults;

/// Automation twin of the TMPCA Results dialog: the limit settings of `ResultsTwin`, the
/// settings of the plots and the variable trajectories, one command per report, the component
/// commands, `Details` and the exports.
///
/// `VariableForTrajectory` names the process variable of the trajectory reports (empty: the
/// first); `BatchesToDisplay` lists the batch labels the trajectory plot draws.
class TMPCAResults final : public PCAModelResultsTwin {
 public:
  explicit TMPCAResults(CMPCAResults& dialog);

  std::string TwinName() const override;
  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

 private:
  CMPCAResults& dialog_;
};

/// The TMPCA Results dialog (step 106): the reports of the current time-wise model and the
/// commands that change its number of components. Its settings live in the model.
class CMPCAResults final : public PCAModelResults {
 public:
  explicit CMPCAResults(CMSPC& analysis);

  AutomationObject& Automation() override { return twin_; }
  /// The current model; throws `AnalysisStop` when it is not a fitted TMPCA model.
  CMPCAModel& model() const;
  CPCAModel& pca_model() const override;

  // One operation per report command; each answers false when it was refused.
  bool Summary();
  bool SummaryView();
  bool DescriptiveStatistics();
  bool Eigenvalues();
  bool ScreePlotOfEigenvalues();
  bool EigenvectorSpreadsheet();
  bool LoadingSpreadsheet();
  bool LineplotsOfLoadings();
  bool ScatterplotsOfLoadings();
  bool XScoreSpreadsheet();
  bool LineplotsOfScores();
  bool ScatterplotsOfScores();
  bool ScoreScatterSpreadsheet();
  bool ScoreControlChart();
  bool ScoreControlChartSheet();
  bool ScoreControlSpreadsheet();
  bool TSquareChart();
  bool TSquareSpreadsheet();
  bool SPEQChart();
  bool SPEQSpreadsheet();
  bool DToModelSpreadsheet();
  bool BarChartOfDToModel();
  bool LineplotsOfDToModel();
  bool SpreadsheetOfImportanceOfPredictors();
  bool GraphOfImportanceOfPredictors();
  /// The residuals in the variables' own units and in scaled units.
  bool Residuals();
  bool ScaledData();
  bool ContributionPlot();
  bool VariableTrajectorySpreadsheet();
  bool VariableTrajectoryPlot();
  /// Open the TMPCA Details dialog; closing it comes back to Results.
  bool Details();
  bool CodeGeneratorPMML();
  bool CodeGeneratorCLang();
  bool CodeGeneratorKVB();

 private:
  /// Route a graph, without its point labels unless `DisplayTextLabels` is on.
  void RouteGraph(Graph graph);
  /// The process column of the trajectory reports, or a refusal shown.
  bool ResolveTrajectoryVariable(std::size_t& variable);
  bool TrajectoryOptionsUsable();
  /// Whether an export may go ahead: the limits it writes are in range.
  bool ExportUsable();
  /// The fitted model as its document holds it, under the dialog's limit settings.
  LoadedTMPCAModel ExportModel();

  TMPCAResults twin_;
};

}  // namespace mspc
