#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "deploy/pls_document.hpp"
#include "frame/analysis_dialog.hpp"
#include "frame/results_base.hpp"
#include "frame/steps.hpp"
#include "host/automation.hpp"
#include "pls/pls_reports.hpp"

namespace mspc {

class CPLSModel;
class CPLSResults;
class CPLSDetails;

/// Automation twin of the PLS Results dialog: the limit settings of `ResultsTwin`, the plot and
/// contribution settings, one command per report, the component commands, `Details` and the
/// exports (the model document, C code of its fixed comment lines, KVB code).
///
/// `ScoreType` says whose scores the score limits are of: 0 the X scores, 1 the Y scores.
class PLSResults : public ResultsTwin {
 public:
  explicit PLSResults(CPLSResults& dialog);

  std::string TwinName() const override;
  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

  int get_ScoreType() const;
  void put_ScoreType(int value);
  std::string get_ObservationForContribution() const;
  void put_ObservationForContribution(const std::string& value);
  std::vector<int> get_ComponentsToPlot() const;
  void put_ComponentsToPlot(const std::vector<int>& value);
  bool get_SortVariablesByImportance() const;
  void put_SortVariablesByImportance(bool value);

 private:
  PLSReportOptions& options() const;

  CPLSResults& dialog_;
};

/// The PLS Results dialog (step 112): the reports of the current PLS model and the commands
/// that change its number of components. Its settings live in the model. The Results dialogs of
/// the batch PLS models derive from it and replace the commands whose reports differ.
class CPLSResults : public ResultsDialog {
 public:
  explicit CPLSResults(CMSPC& analysis);

  AutomationObject& Automation() override { return twin_; }
  /// The current model; throws `AnalysisStop` when it is not a fitted PLS model.
  CPLSModel& model() const;
  ChartLimitOptions& chart_limits() const override;
  ScoreLimitOptions& score_limits() const override;
  std::string& export_file_name() const override;
  ComponentEditor& components() const override;

  bool Summary();
  bool SummaryView();
  virtual bool DescriptiveStatistics();
  bool XScoreSpreadsheet();
  bool YScoreSpreadsheet();
  bool XWeightSpreadsheet();
  bool LoadingSpreadsheet();
  bool Coefficients();
  virtual bool Predictions();
  bool Residuals();
  virtual bool SpreadsheetOfImportanceOfPredictors();
  bool GraphOfImportanceOfPredictors();
  bool TSquareChart();
  bool TSquareSpreadsheet();
  virtual bool SPEQChart();
  virtual bool SPEQSpreadsheet();
  virtual bool DToModelSpreadsheet();
  bool BarChartOfDToModel();
  bool ScoreControlSpreadsheet();
  bool ContributionSpreadsheet();
  virtual bool ContributionPlot();
  bool Details();
  bool CodeGeneratorPMML();
  bool CodeGeneratorCLang();
  bool CodeGeneratorKVB();

 protected:
  /// The step of the kind's Details dialog.
  virtual int DetailsStep() const;
  /// The fitted model as its document holds it, under checked limit settings; false after
  /// showing a refusal.
  bool ExportModel(LoadedPLSModel& exported);
  /// The monitoring statistics with the checked chart limits; false after showing a refusal.
  bool Monitoring(PLSMonitoring& monitoring);
  bool ResolveContribution(std::size_t& row, std::vector<int>& components);
  /// Outside automation the pooled distance to the model is a note as well.
  void NotePooledDistance(const PLSMonitoring& monitoring);

 private:
  /// The component commands over the current model's engine.
  class EngineComponents final : public ComponentEditor {
   public:
    explicit EngineComponents(const CPLSResults& dialog) : dialog_(dialog) {}
    int ComponentCount() const override;
    std::optional<MessageId> AddNextComponent() override;
    bool RemoveLastComponent() override;
    void RemoveAllComponents() override;
    int AutoFitMoreComponents(std::optional<MessageId>& refusal) override;

   private:
    const CPLSResults& dialog_;
  };

  PLSResults twin_;
  mutable EngineComponents components_{*this};
};

/// The PLS Details dialog (step 113), opened from PLS Results and returning to it; the TMPLS
/// Details dialog (step 116) is the same dialog over a TMPLS model, returning to its Results.
class CPLSDetails final : public DetailsDialog {
 public:
  explicit CPLSDetails(CMSPC& analysis) : CPLSDetails(analysis, "PLSDetails", kStepPLSResults) {}
  /// The Details dialog under the twin name `twin_name`, returning to `results_step`.
  CPLSDetails(CMSPC& analysis, std::string twin_name, int results_step)
      : DetailsDialog(analysis, results_step, std::move(twin_name)) {}

 protected:
  int ComponentCount() const override;
  /// R²X per predictor; R²Y, PRESS and Q² per dependent column.
  void RouteStatistics(int component) override;
};

}  // namespace mspc
