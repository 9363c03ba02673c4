#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "frame/analysis_dialog.hpp"
#include "frame/startup_options.hpp"
#include "host/automation.hpp"

namespace mspc {

class ModelStartupDialog;

/// The automation twin of a kind's Startup dialog: every option as a `get_`/`put_` pair and the
/// commands OK and Cancel. `Properties()` lists the options the kind shows (`ExposesProperty`).
///
/// A `put_` takes any value of the right type and keeps it until OK, where ranges are checked;
/// only a value that can never be right (a name that is no variable of the data table, a
/// malformed factor-code entry) throws `AutomationError`. The three choices (scaling,
/// cross-validation method, component mode) are groups of flags: putting true selects that
/// member of its group, putting false changes nothing, as with radio buttons.
class StartupTwin : public AutomationObject {
 public:
  explicit StartupTwin(ModelStartupDialog& dialog) : dialog_(dialog) {}

  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

  int get_MaxIterations() const;
  void put_MaxIterations(int value);
  double get_EpsilonOfConvergence() const;
  void put_EpsilonOfConvergence(double value);
  bool get_ApplyMemoryLimit() const;
  void put_ApplyMemoryLimit(bool value);
  /// The limit is held in 16 bits: a value above 32767 wraps around and reads negative until
  /// OK resets it to the default.
  int get_MemoryLimitInMB() const;
  void put_MemoryLimitInMB(int value);
  double get_MinPercentageOfValidCases() const;
  void put_MinPercentageOfValidCases(double value);
  double get_MinPercentageOfValidVars() const;
  void put_MinPercentageOfValidVars(double value);
  int get_MinNumberOfValidCases() const;
  void put_MinNumberOfValidCases(int value);
  int get_MinNumberOfValidVars() const;
  void put_MinNumberOfValidVars(int value);
  bool get_AutoRemoveVariables() const;
  void put_AutoRemoveVariables(bool value);
  bool get_AutoRemoveCases() const;
  void put_AutoRemoveCases(bool value);

  bool get_UnitStandardDeviations() const;
  void put_UnitStandardDeviations(bool value);
  bool get_DoNotScaleVariables() const;
  void put_DoNotScaleVariables(bool value);
  bool get_UserDefinedStandardDeviations() const;
  void put_UserDefinedStandardDeviations(bool value);
  std::map<std::string, double> get_UserDefinedScales() const;
  void put_UserDefinedScales(const std::map<std::string, double>& value);

  bool get_UsingVariableBlocks() const;
  void put_UsingVariableBlocks(bool value);
  /// Held in 16 bits like the memory limit.
  int get_MaxNumberOfVariableBlocks() const;
  void put_MaxNumberOfVariableBlocks(int value);

  bool get_CrossValidationOff() const;
  void put_CrossValidationOff(bool value);
  bool get_VFoldCrossValidation() const;
  void put_VFoldCrossValidation(bool value);
  bool get_VFoldCrossValidationQuick() const;
  void put_VFoldCrossValidationQuick(bool value);
  bool get_KrzanowskiCrossValidation() const;
  void put_KrzanowskiCrossValidation(bool value);
  int get_NumberOfCrossValidationFolds() const;
  void put_NumberOfCrossValidationFolds(int value);
  int get_RandomSeedOfCrossValidation() const;
  void put_RandomSeedOfCrossValidation(int value);
  bool get_RandomFoldAssignment() const;
  void put_RandomFoldAssignment(bool value);

  bool get_AutoFitByCrossValidation() const;
  void put_AutoFitByCrossValidation(bool value);
  bool get_FixedNumberOfComponents() const;
  void put_FixedNumberOfComponents(bool value);
  int get_NumberOfComponents() const;
  void put_NumberOfComponents(int value);
  bool get_EigenvalueLimit() const;
  void put_EigenvalueLimit(bool value);
  double get_MinEigenvalueLimit() const;
  void put_MinEigenvalueLimit(double value);

  bool get_UseAnalysisAndTestSample() const;
  void put_UseAnalysisAndTestSample(bool value);
  /// The sample identifier variable; `SampleIdentifier` reads and writes the same variable.
  std::string get_AnalysisAndTestSamples() const;
  void put_AnalysisAndTestSamples(const std::string& value);
  std::string get_SampleIdentifier() const;
  void put_SampleIdentifier(const std::string& value);
  double get_CodeForLearningSample() const;
  void put_CodeForLearningSample(double value);

  std::vector<std::string> get_Variables() const;
  void put_Variables(const std::vector<std::string>& value);
  std::vector<std::string> get_DependentVariables() const;
  void put_DependentVariables(const std::vector<std::string>& value);
  std::vector<std::string> get_PredictorVariables() const;
  void put_PredictorVariables(const std::vector<std::string>& value);
  std::vector<std::string> get_CategoricalVariables() const;
  void put_CategoricalVariables(const std::vector<std::string>& value);
  /// One entry per variable: "name: code, code, ...", the codes chosen for that variable.
  std::vector<std::string> get_FactorCodes() const;
  void put_FactorCodes(const std::vector<std::string>& value);

  std::string get_BatchVariable() const;
  void put_BatchVariable(const std::string& value);
  std::string get_TimeVariable() const;
  void put_TimeVariable(const std::string& value);
  std::string get_ProcessVariable() const;
  void put_ProcessVariable(const std::string& value);
  std::string get_MeasurementVariable() const;
  void put_MeasurementVariable(const std::string& value);
  bool get_StackedData() const;
  void put_StackedData(bool value);
  bool get_IsRawData() const;
  void put_IsRawData(bool value);
  int get_NumberOfTimeIntervals() const;
  void put_NumberOfTimeIntervals(int value);
  int get_MinimumNumberOfBatches() const;
  void put_MinimumNumberOfBatches(int value);
  std::string get_DependentIdentifier() const;
  void put_DependentIdentifier(const std::string& value);
  double get_DependentIdentifierCode() const;
  void put_DependentIdentifierCode(double value);

  /// Check and store the options, fit the model and go on to the Results step.
  bool OK();
  /// Go back to the MSPC Startup list; the model stays until another kind is chosen.
  bool Cancel();

 private:
  const StartupOptions& options() const;
  StartupOptions& options();
  const DataTable* table() const;

  ModelStartupDialog& dialog_;
};

class PCAStartup final : public StartupTwin {
 public:
  using StartupTwin::StartupTwin;
  std::string TwinName() const override;
};

class PLSStartup final : public StartupTwin {
 public:
  using StartupTwin::StartupTwin;
  std::string TwinName() const override;
};

class TMPCAStartup final : public StartupTwin {
 public:
  using StartupTwin::StartupTwin;
  std::string TwinName() const override;
};

class TMPLSStartup final : public StartupTwin {
 public:
  using StartupTwin::StartupTwin;
  std::string TwinName() const override;
};

class BMPLSStartup final : public StartupTwin {
 public:
  using StartupTwin::StartupTwin;
  std::string TwinName() const override;
};

/// The Startup dialog of one kind of model (PCA, PLS, TMPCA, TMPLS, BMPLS): its options,
/// starting from those the current model holds.
class ModelStartupDialog : public CAnalysisModelessDialog {
 public:
  ModelStartupDialog(CMSPC& analysis, StartupKind kind);

  AutomationObject& Automation() override { return *twin_; }
  StartupKind kind() const { return kind_; }
  const StartupOptions& options() const { return options_; }
  StartupOptions& options() { return options_; }

  /// Validate the options (a refusal shows its message and keeps the dialog open), store them
  /// in the model, run the model and move to the kind's Results step.
  bool OnOK();
  /// Return to the MSPC Startup list.
  bool OnCancel();

 private:
  StartupKind kind_;
  StartupOptions options_;
  std::unique_ptr<StartupTwin> twin_;
};

/// The step of a kind's Results dialog.
int ResultsStepOf(StartupKind kind);

}  // namespace mspc
