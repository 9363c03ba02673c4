#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "batch/batch_pls_reports.hpp"
#include "batch/bmpls_model.hpp"
#include "frame/pls_results.hpp"

namespace mspc {

class CBatchPLSResults;
class CMPLSModel;
class CBMPLSModel;

/// The automation twin shared by the Results dialogs of the batch PLS models: the properties
/// and commands of `PLSResults`, the trajectory and plot settings (`BatchPlotProperties`, then
/// `NumberOfEigenvaluesToPlot`, 0: every component), and the batch reports.
class BatchPLSResults : public PLSResults {
 public:
  explicit BatchPLSResults(CBatchPLSResults& dialog);

  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

 private:
  CBatchPLSResults& batch_dialog_;
};

class TMPLSResults final : public BatchPLSResults {
 public:
  using BatchPLSResults::BatchPLSResults;
  std::string TwinName() const override;
};

/// The BMPLS Results twin: BMPLS has no Details dialog, so it has no `Details` command.
class BMPLSResults final : public BatchPLSResults {
 public:
  using BatchPLSResults::BatchPLSResults;
  std::string TwinName() const override;
  std::vector<AutomationCommand> Commands() override;
};

/// The Results dialog of a batch PLS model: the PLS reports of its blocks, and the reports over
/// batches and times (scores, loadings over time, variable trajectories). The settings live in
/// the model.
class CBatchPLSResults : public CPLSResults {
 public:
  explicit CBatchPLSResults(CMSPC& analysis);

  /// The unfolding's counts and labels of the current model.
  virtual const BatchData& batch_data() const = 0;
  virtual TrajectoryOptions& trajectory_options() const = 0;
  virtual BatchReportSettings& settings() const = 0;
  /// Process column `variable` of every batch at every time in the variable's own units.
  virtual DMatrix TrajectoryValues(std::size_t variable) const = 0;

  bool Eigenvalues();
  bool ScreePlotOfEigenvalues();
  bool LineplotsOfScores();
  bool ScatterplotsOfScores();
  bool ScoreScatterSpreadsheet();
  bool LineplotsOfLoadings();
  bool ScatterplotsOfLoadings();
  bool LineplotsOfDToModel();
  bool ScaledData();
  /// "Distance to model" with the T² of each observation beside its distance.
  bool DToModelSpreadsheet() override;
  /// The score charts with their limits: over the batches (one row per batch), or over time
  /// between per-time limits (one row per batch and time).
  virtual bool ScoreControlChart();
  virtual bool ScoreControlChartSheet();
  bool VariableTrajectoryPlot();
  bool VariableTrajectorySpreadsheet();
  /// The model document and KVB code of the kind; its C file is the fixed note that C
  /// deployment is not generated for a PLS kind.
  bool CodeGeneratorPMML();
  bool CodeGeneratorCLang();
  bool CodeGeneratorKVB();

 protected:
  BatchPLSReportData report_data() const;
  bool ResolvePlotComponents(std::vector<int>& components);
  /// Exactly two components for a scatterplot, or a refusal shown.
  bool ResolvePlotPair(std::vector<int>& components);
  bool ScoreLimits(std::vector<ControlLimitSet>& limits);
  /// One score chart over the batches per plotted component, its points marked when `markers`.
  bool ScoreLineplots(bool markers);
  /// The rows of the batches to display; when none is chosen, every batch (`all_when_none`) or
  /// none with a warning. A label the model does not know is refused.
  bool BatchesToDisplay(bool all_when_none, std::vector<std::size_t>& rows);
  /// The trajectory bands' constants, or a refusal shown.
  bool TrajectoryOptionsUsable();
  /// The process column of the trajectory reports; false after a refusal.
  bool ResolveTrajectoryVariable(std::size_t& variable);
  /// The trajectory values in the units the settings ask for.
  DMatrix ShownTrajectoryValues(std::size_t variable) const;
};

/// The TMPLS Results dialog (step 115).
class CTMPLSResults final : public CBatchPLSResults {
 public:
  explicit CTMPLSResults(CMSPC& analysis);

  AutomationObject& Automation() override { return twin_; }
  const BatchData& batch_data() const override;
  TrajectoryOptions& trajectory_options() const override;
  BatchReportSettings& settings() const override;
  DMatrix TrajectoryValues(std::size_t variable) const override;

  /// The predictors per variable and time, then the dependents.
  bool DescriptiveStatistics() override;
  /// The importance of every predictor column, then of every process variable over time.
  bool SpreadsheetOfImportanceOfPredictors() override;
  /// The PLS contribution plots, then per plotted component the score contribution of the
  /// trajectory variable over the batch's times.
  bool ContributionPlot() override;

 protected:
  int DetailsStep() const override;

 private:
  CMPLSModel& batch_model() const;

  TMPLSResults twin_;
};

/// The BMPLS Results dialog (step 118): the score control charts are score trajectories with
/// per-time limits, SPE(Q) adds the lines of every time, and the predictions are of the time.
class CBMPLSResults final : public CBatchPLSResults {
 public:
  explicit CBMPLSResults(CMSPC& analysis);

  AutomationObject& Automation() override { return twin_; }
  const BatchData& batch_data() const override;
  TrajectoryOptions& trajectory_options() const override;
  BatchReportSettings& settings() const override;
  DMatrix TrajectoryValues(std::size_t variable) const override;

  bool ScoreControlChart() override;
  bool ScoreControlChartSheet() override;
  bool SPEQChart() override;
  bool SPEQSpreadsheet() override;
  bool Predictions() override;

 private:
  CBMPLSModel& batch_model() const;
  bool ScoreTrajectories(std::vector<int>& components, std::vector<TimeLimits>& trajectories);

  BMPLSResults twin_;
};

}  // namespace mspc
