#include "frame/model_startup.hpp"

#include <charconv>
#include <cmath>
#include <string_view>
#include <system_error>

#include "frame/automation_property.hpp"
#include "frame/mspc.hpp"

namespace mspc {
namespace {

ModelKind ModelKindOf(StartupKind kind) {
  switch (kind) {
    case StartupKind::kPCA:
      return ModelKind::kPCA;
    case StartupKind::kPLS:
      return ModelKind::kPLS;
    case StartupKind::kTMPCA:
      return ModelKind::kTMPCA;
    case StartupKind::kTMPLS:
      return ModelKind::kTMPLS;
    case StartupKind::kBMPLS:
      return ModelKind::kBMPLS;
  }
  return ModelKind::kPCA;
}

std::unique_ptr<StartupTwin> MakeTwin(ModelStartupDialog& dialog, StartupKind kind) {
  switch (kind) {
    case StartupKind::kPCA:
      return std::make_unique<PCAStartup>(dialog);
    case StartupKind::kPLS:
      return std::make_unique<PLSStartup>(dialog);
    case StartupKind::kTMPCA:
      return std::make_unique<TMPCAStartup>(dialog);
    case StartupKind::kTMPLS:
      return std::make_unique<TMPLSStartup>(dialog);
    case StartupKind::kBMPLS:
      return std::make_unique<BMPLSStartup>(dialog);
  }
  return std::make_unique<PCAStartup>(dialog);
}

std::string_view Trim(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

// The shortest text that reads back as the same double.
std::string CodeText(double code) {
  char buffer[32];
  const auto result = std::to_chars(std::begin(buffer), std::end(buffer), code);
  return std::string(buffer, result.ptr);
}

// One factor-code entry, "name: code, code, ...". The name ends at the last colon, since names
// may hold colons but codes cannot. Nothing when the entry has no name, no code, or a code that
// is not a finite number.
std::optional<std::pair<std::string, std::vector<double>>> ParseFactorCodes(
    std::string_view entry) {
  const auto colon = entry.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view name = Trim(entry.substr(0, colon));
  if (name.empty()) return std::nullopt;
  std::vector<double> codes;
  std::string_view rest = entry.substr(colon + 1);
  while (true) {
    const auto comma = rest.find(',');
    const std::string_view field = Trim(rest.substr(0, comma));
    double code = 0.0;
    const auto result = std::from_chars(field.data(), field.data() + field.size(), code);
    if (field.empty() || result.ec != std::errc() || result.ptr != field.data() + field.size() ||
        !std::isfinite(code)) {
      return std::nullopt;
    }
    codes.push_back(code);
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
  }
  return std::make_pair(std::string(name), std::move(codes));
}

}  // namespace

// The property list, in the order of the Options tab; a kind's twin lists those it shows.
#define MSPC_STARTUP_PROPERTY(Name) \
  MakeProperty(#Name, *this, &StartupTwin::get_##Name, &StartupTwin::put_##Name)

std::vector<AutomationProperty> StartupTwin::Properties() {
  std::vector<AutomationProperty> all = {
      MSPC_STARTUP_PROPERTY(MaxIterations),
      MSPC_STARTUP_PROPERTY(EpsilonOfConvergence),
      MSPC_STARTUP_PROPERTY(ApplyMemoryLimit),
      MSPC_STARTUP_PROPERTY(MemoryLimitInMB),
      MSPC_STARTUP_PROPERTY(MinPercentageOfValidCases),
      MSPC_STARTUP_PROPERTY(MinPercentageOfValidVars),
      MSPC_STARTUP_PROPERTY(MinNumberOfValidCases),
      MSPC_STARTUP_PROPERTY(MinNumberOfValidVars),
      MSPC_STARTUP_PROPERTY(AutoRemoveVariables),
      MSPC_STARTUP_PROPERTY(AutoRemoveCases),
      MSPC_STARTUP_PROPERTY(UnitStandardDeviations),
      MSPC_STARTUP_PROPERTY(DoNotScaleVariables),
      MSPC_STARTUP_PROPERTY(UserDefinedStandardDeviations),
      MSPC_STARTUP_PROPERTY(UserDefinedScales),
      MSPC_STARTUP_PROPERTY(UsingVariableBlocks),
      MSPC_STARTUP_PROPERTY(MaxNumberOfVariableBlocks),
      MSPC_STARTUP_PROPERTY(CrossValidationOff),
      MSPC_STARTUP_PROPERTY(VFoldCrossValidation),
      MSPC_STARTUP_PROPERTY(VFoldCrossValidationQuick),
      MSPC_STARTUP_PROPERTY(KrzanowskiCrossValidation),
      MSPC_STARTUP_PROPERTY(AutoFitByCrossValidation),
      MSPC_STARTUP_PROPERTY(NumberOfCrossValidationFolds),
      MSPC_STARTUP_PROPERTY(RandomSeedOfCrossValidation),
      MSPC_STARTUP_PROPERTY(RandomFoldAssignment),
      MSPC_STARTUP_PROPERTY(FixedNumberOfComponents),
      MSPC_STARTUP_PROPERTY(NumberOfComponents),
      MSPC_STARTUP_PROPERTY(EigenvalueLimit),
      MSPC_STARTUP_PROPERTY(MinEigenvalueLimit),
      MSPC_STARTUP_PROPERTY(UseAnalysisAndTestSample),
      MSPC_STARTUP_PROPERTY(AnalysisAndTestSamples),
      MSPC_STARTUP_PROPERTY(SampleIdentifier),
      MSPC_STARTUP_PROPERTY(CodeForLearningSample),
      MSPC_STARTUP_PROPERTY(Variables),
      MSPC_STARTUP_PROPERTY(DependentVariables),
      MSPC_STARTUP_PROPERTY(PredictorVariables),
      MSPC_STARTUP_PROPERTY(CategoricalVariables),
      MSPC_STARTUP_PROPERTY(FactorCodes),
      MSPC_STARTUP_PROPERTY(BatchVariable),
      MSPC_STARTUP_PROPERTY(TimeVariable),
      MSPC_STARTUP_PROPERTY(ProcessVariable),
      MSPC_STARTUP_PROPERTY(MeasurementVariable),
      MSPC_STARTUP_PROPERTY(StackedData),
      MSPC_STARTUP_PROPERTY(IsRawData),
      MSPC_STARTUP_PROPERTY(NumberOfTimeIntervals),
      MSPC_STARTUP_PROPERTY(MinimumNumberOfBatches),
      MSPC_STARTUP_PROPERTY(DependentIdentifier),
      MSPC_STARTUP_PROPERTY(DependentIdentifierCode),
  };
  std::vector<AutomationProperty> shown;
  for (AutomationProperty& property : all) {
    if (ExposesProperty(dialog_.kind(), property.name)) shown.push_back(std::move(property));
  }
  return shown;
}

#undef MSPC_STARTUP_PROPERTY

std::vector<AutomationCommand> StartupTwin::Commands() {
  return {MakeCommand("OK", *this, &StartupTwin::OK),
          MakeCommand("Cancel", *this, &StartupTwin::Cancel)};
}

const StartupOptions& StartupTwin::options() const { return dialog_.options(); }
StartupOptions& StartupTwin::options() { return dialog_.options(); }
const DataTable* StartupTwin::table() const { return dialog_.analysis().host().table; }

int StartupTwin::get_MaxIterations() const { return options().max_iterations; }
void StartupTwin::put_MaxIterations(int value) { options().max_iterations = value; }
double StartupTwin::get_EpsilonOfConvergence() const { return options().convergence_criterion; }
void StartupTwin::put_EpsilonOfConvergence(double value) {
  options().convergence_criterion = value;
}
bool StartupTwin::get_ApplyMemoryLimit() const { return options().apply_memory_limit; }
void StartupTwin::put_ApplyMemoryLimit(bool value) { options().apply_memory_limit = value; }
int StartupTwin::get_MemoryLimitInMB() const { return options().memory_limit_mb; }
void StartupTwin::put_MemoryLimitInMB(int value) {
  options().memory_limit_mb = static_cast<std::int16_t>(value);
}
double StartupTwin::get_MinPercentageOfValidCases() const {
  return options().min_percent_valid_cases;
}
void StartupTwin::put_MinPercentageOfValidCases(double value) {
  options().min_percent_valid_cases = value;
}
double StartupTwin::get_MinPercentageOfValidVars() const {
  return options().min_percent_valid_variables;
}
void StartupTwin::put_MinPercentageOfValidVars(double value) {
  options().min_percent_valid_variables = value;
}
int StartupTwin::get_MinNumberOfValidCases() const { return options().min_valid_cases; }
void StartupTwin::put_MinNumberOfValidCases(int value) { options().min_valid_cases = value; }
int StartupTwin::get_MinNumberOfValidVars() const { return options().min_valid_variables; }
void StartupTwin::put_MinNumberOfValidVars(int value) { options().min_valid_variables = value; }
bool StartupTwin::get_AutoRemoveVariables() const { return options().auto_remove_variables; }
void StartupTwin::put_AutoRemoveVariables(bool value) { options().auto_remove_variables = value; }
bool StartupTwin::get_AutoRemoveCases() const { return options().auto_remove_cases; }
void StartupTwin::put_AutoRemoveCases(bool value) { options().auto_remove_cases = value; }

bool StartupTwin::get_UnitStandardDeviations() const {
  return options().scaling == ScalingMode::UnitStandardDeviations;
}
void StartupTwin::put_UnitStandardDeviations(bool value) {
  if (value) options().scaling = ScalingMode::UnitStandardDeviations;
}
bool StartupTwin::get_DoNotScaleVariables() const {
  return options().scaling == ScalingMode::DoNotScaleVariables;
}
void StartupTwin::put_DoNotScaleVariables(bool value) {
  if (value) options().scaling = ScalingMode::DoNotScaleVariables;
}
bool StartupTwin::get_UserDefinedStandardDeviations() const {
  return options().scaling == ScalingMode::UserDefinedStandardDeviations;
}
void StartupTwin::put_UserDefinedStandardDeviations(bool value) {
  if (value) options().scaling = ScalingMode::UserDefinedStandardDeviations;
}
std::map<std::string, double> StartupTwin::get_UserDefinedScales() const {
  return options().user_scales;
}
void StartupTwin::put_UserDefinedScales(const std::map<std::string, double>& value) {
  std::vector<std::string> names;
  for (const auto& [name, scale] : value) names.push_back(name);
  CheckVariableNames(table(), "UserDefinedScales", names);
  options().user_scales = value;
}

bool StartupTwin::get_UsingVariableBlocks() const { return options().use_variable_blocks; }
void StartupTwin::put_UsingVariableBlocks(bool value) { options().use_variable_blocks = value; }
int StartupTwin::get_MaxNumberOfVariableBlocks() const { return options().max_variable_blocks; }
void StartupTwin::put_MaxNumberOfVariableBlocks(int value) {
  options().max_variable_blocks = static_cast<std::int16_t>(value);
}

bool StartupTwin::get_CrossValidationOff() const {
  return options().cross_validation == CrossValidationMethod::CrossValidationOff;
}
void StartupTwin::put_CrossValidationOff(bool value) {
  if (value) options().cross_validation = CrossValidationMethod::CrossValidationOff;
}
bool StartupTwin::get_VFoldCrossValidation() const {
  return options().cross_validation == CrossValidationMethod::VFoldCrossValidation;
}
void StartupTwin::put_VFoldCrossValidation(bool value) {
  if (value) options().cross_validation = CrossValidationMethod::VFoldCrossValidation;
}
bool StartupTwin::get_VFoldCrossValidationQuick() const {
  return options().cross_validation == CrossValidationMethod::VFoldCrossValidationQuick;
}
void StartupTwin::put_VFoldCrossValidationQuick(bool value) {
  if (value) options().cross_validation = CrossValidationMethod::VFoldCrossValidationQuick;
}
bool StartupTwin::get_KrzanowskiCrossValidation() const {
  return options().cross_validation == CrossValidationMethod::KrzanowskiCrossValidation;
}
void StartupTwin::put_KrzanowskiCrossValidation(bool value) {
  if (value) options().cross_validation = CrossValidationMethod::KrzanowskiCrossValidation;
}
int StartupTwin::get_NumberOfCrossValidationFolds() const { return options().num_folds; }
void StartupTwin::put_NumberOfCrossValidationFolds(int value) { options().num_folds = value; }
int StartupTwin::get_RandomSeedOfCrossValidation() const { return options().random_seed; }
void StartupTwin::put_RandomSeedOfCrossValidation(int value) { options().random_seed = value; }
bool StartupTwin::get_RandomFoldAssignment() const { return options().random_folds; }
void StartupTwin::put_RandomFoldAssignment(bool value) { options().random_folds = value; }

bool StartupTwin::get_AutoFitByCrossValidation() const {
  return options().component_mode == ComponentMode::AutoFitByCrossValidation;
}
void StartupTwin::put_AutoFitByCrossValidation(bool value) {
  if (value) options().component_mode = ComponentMode::AutoFitByCrossValidation;
}
bool StartupTwin::get_FixedNumberOfComponents() const {
  return options().component_mode == ComponentMode::FixedNumberOfComponents;
}
void StartupTwin::put_FixedNumberOfComponents(bool value) {
  if (value) options().component_mode = ComponentMode::FixedNumberOfComponents;
}
int StartupTwin::get_NumberOfComponents() const { return options().num_components; }
void StartupTwin::put_NumberOfComponents(int value) { options().num_components = value; }
bool StartupTwin::get_EigenvalueLimit() const {
  return options().component_mode == ComponentMode::EigenvalueLimit;
}
void StartupTwin::put_EigenvalueLimit(bool value) {
  if (value) options().component_mode = ComponentMode::EigenvalueLimit;
}
double StartupTwin::get_MinEigenvalueLimit() const { return options().min_eigenvalue; }
void StartupTwin::put_MinEigenvalueLimit(double value) { options().min_eigenvalue = value; }

bool StartupTwin::get_UseAnalysisAndTestSample() const { return options().use_test_sample; }
void StartupTwin::put_UseAnalysisAndTestSample(bool value) { options().use_test_sample = value; }
std::string StartupTwin::get_AnalysisAndTestSamples() const { return options().sample_identifier; }
void StartupTwin::put_AnalysisAndTestSamples(const std::string& value) {
  CheckVariableName(table(), "AnalysisAndTestSamples", value);
  options().sample_identifier = value;
}
std::string StartupTwin::get_SampleIdentifier() const { return options().sample_identifier; }
void StartupTwin::put_SampleIdentifier(const std::string& value) {
  CheckVariableName(table(), "SampleIdentifier", value);
  options().sample_identifier = value;
}
double StartupTwin::get_CodeForLearningSample() const { return options().learning_sample_code; }
void StartupTwin::put_CodeForLearningSample(double value) {
  options().learning_sample_code = value;
}

std::vector<std::string> StartupTwin::get_Variables() const { return options().variables; }
void StartupTwin::put_Variables(const std::vector<std::string>& value) {
  CheckVariableNames(table(), "Variables", value);
  options().variables = value;
}
std::vector<std::string> StartupTwin::get_DependentVariables() const {
  return options().dependent_variables;
}
void StartupTwin::put_DependentVariables(const std::vector<std::string>& value) {
  CheckVariableNames(table(), "DependentVariables", value);
  options().dependent_variables = value;
}
std::vector<std::string> StartupTwin::get_PredictorVariables() const {
  return options().predictor_variables;
}
void StartupTwin::put_PredictorVariables(const std::vector<std::string>& value) {
  CheckVariableNames(table(), "PredictorVariables", value);
  options().predictor_variables = value;
}
std::vector<std::string> StartupTwin::get_CategoricalVariables() const {
  return options().categorical_variables;
}
void StartupTwin::put_CategoricalVariables(const std::vector<std::string>& value) {
  CheckVariableNames(table(), "CategoricalVariables", value);
  options().categorical_variables = value;
}
std::vector<std::string> StartupTwin::get_FactorCodes() const {
  std::vector<std::string> entries;
  for (const auto& [name, codes] : options().factor_codes) {
    std::string entry = name + ":";
    for (std::size_t index = 0; index < codes.size(); ++index) {
      entry += index == 0 ? " " : ", ";
      entry += CodeText(codes[index]);
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}
void StartupTwin::put_FactorCodes(const std::vector<std::string>& value) {
  std::map<std::string, std::vector<double>> parsed;
  std::vector<std::string> names;
  for (const std::string& entry : value) {
    auto codes = ParseFactorCodes(entry);
    if (!codes) {
      throw AutomationError(FormatMessage(MessageId::kAutomationMalformedFactorCodes, entry));
    }
    names.push_back(codes->first);
    parsed.insert(std::move(*codes));
  }
  CheckVariableNames(table(), "FactorCodes", names);
  options().factor_codes = std::move(parsed);
}

std::string StartupTwin::get_BatchVariable() const { return options().batch_variable; }
void StartupTwin::put_BatchVariable(const std::string& value) {
  CheckVariableName(table(), "BatchVariable", value);
  options().batch_variable = value;
}
std::string StartupTwin::get_TimeVariable() const { return options().time_variable; }
void StartupTwin::put_TimeVariable(const std::string& value) {
  CheckVariableName(table(), "TimeVariable", value);
  options().time_variable = value;
}
std::string StartupTwin::get_ProcessVariable() const { return options().process_variable; }
void StartupTwin::put_ProcessVariable(const std::string& value) {
  CheckVariableName(table(), "ProcessVariable", value);
  options().process_variable = value;
}
std::string StartupTwin::get_MeasurementVariable() const { return options().measurement_variable; }
void StartupTwin::put_MeasurementVariable(const std::string& value) {
  CheckVariableName(table(), "MeasurementVariable", value);
  options().measurement_variable = value;
}
bool StartupTwin::get_StackedData() const { return options().stacked_data; }
void StartupTwin::put_StackedData(bool value) { options().stacked_data = value; }
bool StartupTwin::get_IsRawData() const { return options().is_raw_data; }
void StartupTwin::put_IsRawData(bool value) { options().is_raw_data = value; }
int StartupTwin::get_NumberOfTimeIntervals() const { return options().num_time_intervals; }
void StartupTwin::put_NumberOfTimeIntervals(int value) { options().num_time_intervals = value; }
int StartupTwin::get_MinimumNumberOfBatches() const { return options().min_batches; }
void StartupTwin::put_MinimumNumberOfBatches(int value) { options().min_batches = value; }
std::string StartupTwin::get_DependentIdentifier() const { return options().dependent_identifier; }
void StartupTwin::put_DependentIdentifier(const std::string& value) {
  CheckVariableName(table(), "DependentIdentifier", value);
  options().dependent_identifier = value;
}
double StartupTwin::get_DependentIdentifierCode() const {
  return options().dependent_identifier_code;
}
void StartupTwin::put_DependentIdentifierCode(double value) {
  options().dependent_identifier_code = value;
}

bool StartupTwin::OK() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.OnOK(); });
}

bool StartupTwin::Cancel() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.OnCancel(); });
}

std::string PCAStartup::TwinName() const { return "PCAStartup"; }
std::string PLSStartup::TwinName() const { return "PLSStartup"; }
std::string TMPCAStartup::TwinName() const { return "TMPCAStartup"; }
std::string TMPLSStartup::TwinName() const { return "TMPLSStartup"; }
std::string BMPLSStartup::TwinName() const { return "BMPLSStartup"; }

ModelStartupDialog::ModelStartupDialog(CMSPC& analysis, StartupKind kind)
    : CAnalysisModelessDialog(analysis), kind_(kind), twin_(MakeTwin(*this, kind)) {
  if (const CBaseModel* model = analysis.CurrentModel()) options_ = model->startup_options();
}

bool ModelStartupDialog::OnOK() {
  CMSPC& owner = analysis();
  if (const std::optional<MessageId> refusal = options_.Validate(owner, kind_)) {
    owner.ShowMessage(MessageKind::kStop, *refusal);
    return false;
  }
  CBaseModel* model = owner.CurrentModel();
  if (model == nullptr || model->Kind() != ModelKindOf(kind_)) {
    throw AnalysisStop::With(MessageId::kNoModelForStartup);
  }
  model->ApplyOptions(options_);
  model->Run(options_);
  owner.ExitDialog(ResultsStepOf(kind_), kDirectionForward, 0);
  return true;
}

bool ModelStartupDialog::OnCancel() {
  analysis().ExitDialog(kStepMSPCStartup, kDirectionBack, 0);
  return true;
}

int ResultsStepOf(StartupKind kind) {
  switch (kind) {
    case StartupKind::kPCA:
      return kStepPCAResults;
    case StartupKind::kPLS:
      return kStepPLSResults;
    case StartupKind::kTMPCA:
      return kStepTMPCAResults;
    case StartupKind::kTMPLS:
      return kStepTMPLSResults;
    case StartupKind::kBMPLS:
      return kStepBMPLSResults;
  }
  return kStepPCAResults;
}

}  // namespace mspc
