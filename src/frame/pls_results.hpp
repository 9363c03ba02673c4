#pragma once

#include <string>
#include <utility>
#include <vector>

#include "deploy/pls_document.hpp"
#include "frame/analysis_dialog.hpp"
#include "frame/output_auto_update.hpp"
#include "host/automation.hpp"
#include "pls/pls_reports.hpp"

namespace mspc {

class CPLSModel;
class CPLSResults;
class CPLSDetails;
class ProbabilityFunctions;

/// Automation twin of the PLS Results dialog: the limit settings as properties, one command per
/// report, the commands that change the number of components, and `Details`.
///
/// The Hotelling T² and SPE(Q) charts of the X block share one pair of limits. The score limits
/// are set by p-value or by a number of standard deviations (choosing the other kind puts that
/// kind's defaults in place), and `ScoreType` says whose scores they are of: 0 the X scores,
/// 1 the Y scores. Settings are checked when a report uses them.
class PLSResults : public AutomationObject {
 public:
  explicit PLSResults(CPLSResults& dialog) : dialog_(dialog) {}

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
  int get_ScoreType() const;
  void put_ScoreType(int value);
  std::string get_ObservationForContribution() const;
  void put_ObservationForContribution(const std::string& value);
  std::vector<int> get_ComponentsToPlot() const;
  void put_ComponentsToPlot(const std::vector<int>& value);
  bool get_SortVariablesByImportance() const;
  void put_SortVariablesByImportance(bool value);
  std::string get_ExportFileName() const;
  void put_ExportFileName(const std::string& value);
  int get_NumberOfComponents() const;

  bool Summary();
  bool SummaryView();
  bool DescriptiveStatistics();
  bool XScoreSpreadsheet();
  bool YScoreSpreadsheet();
  bool XWeightSpreadsheet();
  bool LoadingSpreadsheet();
  bool Coefficients();
  bool Predictions();
  bool Residuals();
  bool SpreadsheetOfImportanceOfPredictors();
  bool GraphOfImportanceOfPredictors();
  bool TSquareChart();
  bool TSquareSpreadsheet();
  bool SPEQChart();
  bool SPEQSpreadsheet();
  bool DToModelSpreadsheet();
  bool BarChartOfDToModel();
  bool ScoreControlSpreadsheet();
  bool ContributionSpreadsheet();
  bool ContributionPlot();
  bool AddNextComponent();
  bool RemoveLastComponent();
  bool RemoveAllComponent();
  bool AutoFitMoreComponents();
  /// Open the PLS Details dialog; closing it comes back to Results.
  bool Details();
  /// Write the model document, C code (its fixed comment lines) or KVB code as
  /// `<ExportFileName>.pmml`, `.c` or `.kvb`, and show it as a text report.
  bool CodeGeneratorPMML();
  bool CodeGeneratorCLang();
  bool CodeGeneratorKVB();

 protected:
  bool Guarded(bool (CPLSResults::*command)());
  PLSReportOptions& options() const;

 private:
  CPLSResults& dialog_;
};

/// The PLS Results dialog (step 112): the reports of the current PLS model and the commands
/// that change its number of components. Its settings live in the model. The Results dialogs of
/// the batch PLS models derive from it and replace the commands whose reports differ.
class CPLSResults : public CAnalysisModelessDialog {
 public:
  explicit CPLSResults(CMSPC& analysis);

  AutomationObject& Automation() override { return twin_; }
  /// The current model; throws `AnalysisStop` when it is not a fitted PLS model.
  CPLSModel& model() const;

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
  bool ContributionPlot();
  bool AddNextComponent();
  bool RemoveLastComponent();
  bool RemoveAllComponent();
  bool AutoFitMoreComponents();
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
  void Route(const RoutedOutput& output);
  bool Refuse(MessageId id, const std::string& text);
  bool HasComponents();
  const ProbabilityFunctions& probability() const;
  /// The monitoring statistics with the checked chart limits; false after showing a refusal.
  bool Monitoring(PLSMonitoring& monitoring);
  bool ResolveContribution(std::size_t& row, std::vector<int>& components);

 private:
  PLSResults twin_;
};

/// Automation twin of the PLS Details dialog: per-variable statistics of one component.
class PLSDetails final : public AutomationObject {
 public:
  PLSDetails(CPLSDetails& dialog, std::string name) : dialog_(dialog), name_(std::move(name)) {}

  std::string TwinName() const override;
  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

  /// The component the statistics are of (1-based); 0: the last stored component.
  int get_Component() const;
  void put_Component(int value);

  /// R²X per predictor; R²Y, PRESS and Q² per dependent column, for the component.
  bool VariableStatistics();
  /// Go back to the PLS Results dialog.
  bool Close();

 private:
  CPLSDetails& dialog_;
  std::string name_;
};

/// The PLS Details dialog (step 113), opened from PLS Results and returning to it; the TMPLS
/// Details dialog (step 116) is the same dialog over a TMPLS model, returning to its Results.
class CPLSDetails final : public CAnalysisModelessDialog {
 public:
  explicit CPLSDetails(CMSPC& analysis);
  /// The Details dialog under the twin name `twin_name`, returning to `results_step`.
  CPLSDetails(CMSPC& analysis, std::string twin_name, int results_step);

  AutomationObject& Automation() override { return twin_; }
  int component() const { return component_; }
  void set_component(int value) { component_ = value; }

  bool VariableStatistics();
  bool Close();

 private:
  int component_ = 0;
  int results_step_;
  PLSDetails twin_;
};

}  // namespace mspc
