#include "frame/startup_options.hpp"

#include <cmath>

#include "models/tolerant.hpp"

namespace mspc {
namespace {

// Kinds as bits, so that one table row says which twins show a property.
constexpr unsigned kPCA = 1U << 0U;
constexpr unsigned kPLS = 1U << 1U;
constexpr unsigned kTMPCA = 1U << 2U;
constexpr unsigned kTMPLS = 1U << 3U;
constexpr unsigned kBMPLS = 1U << 4U;
constexpr unsigned kAllKinds = kPCA | kPLS | kTMPCA | kTMPLS | kBMPLS;
constexpr unsigned kPCAFamily = kPCA | kTMPCA;
constexpr unsigned kPLSFamily = kPLS | kTMPLS | kBMPLS;
constexpr unsigned kBatchKinds = kTMPCA | kTMPLS | kBMPLS;
constexpr unsigned kCaseKinds = kPCA | kPLS;
// The kinds whose process variables form one list (the time is BMPLS's dependent).
constexpr unsigned kOneVariableList = kPCA | kTMPCA | kBMPLS;
constexpr unsigned kWithDependents = kPLS | kTMPLS;
// The batch kinds without dependents may take their data in the stacked layout.
constexpr unsigned kStackable = kTMPCA | kBMPLS;

struct ExposedProperty {
  std::string_view name;
  unsigned kinds;
};

constexpr ExposedProperty kExposedProperties[] = {
    {"MaxIterations", kAllKinds},
    {"EpsilonOfConvergence", kAllKinds},
    {"ApplyMemoryLimit", kAllKinds},
    {"MemoryLimitInMB", kAllKinds},
    {"MinPercentageOfValidCases", kAllKinds},
    {"MinPercentageOfValidVars", kAllKinds},
    {"MinNumberOfValidCases", kAllKinds},
    {"MinNumberOfValidVars", kAllKinds},
    {"AutoRemoveVariables", kAllKinds},
    {"AutoRemoveCases", kAllKinds},
    {"UnitStandardDeviations", kAllKinds},
    {"DoNotScaleVariables", kAllKinds},
    {"UserDefinedStandardDeviations", kAllKinds},
    {"UserDefinedScales", kAllKinds},
    {"UsingVariableBlocks", kPCA},
    {"MaxNumberOfVariableBlocks", kPCA},
    {"CrossValidationOff", kAllKinds},
    {"VFoldCrossValidation", kAllKinds},
    {"VFoldCrossValidationQuick", kPLSFamily},
    {"KrzanowskiCrossValidation", kPCAFamily},
    {"AutoFitByCrossValidation", kAllKinds},
    {"NumberOfCrossValidationFolds", kAllKinds},
    {"RandomSeedOfCrossValidation", kAllKinds},
    {"RandomFoldAssignment", kAllKinds},
    {"FixedNumberOfComponents", kAllKinds},
    {"NumberOfComponents", kAllKinds},
    {"EigenvalueLimit", kAllKinds},
    {"MinEigenvalueLimit", kAllKinds},
    {"UseAnalysisAndTestSample", kCaseKinds},
    {"AnalysisAndTestSamples", kCaseKinds},
    {"SampleIdentifier", kCaseKinds},
    {"CodeForLearningSample", kCaseKinds},
    {"Variables", kOneVariableList},
    {"DependentVariables", kWithDependents},
    {"PredictorVariables", kWithDependents},
    {"CategoricalVariables", kAllKinds},
    {"FactorCodes", kAllKinds},
    {"BatchVariable", kBatchKinds},
    {"TimeVariable", kBatchKinds},
    {"ProcessVariable", kStackable},
    {"MeasurementVariable", kStackable},
    {"StackedData", kStackable},
    {"IsRawData", kBatchKinds},
    {"NumberOfTimeIntervals", kBatchKinds},
    {"MinimumNumberOfBatches", kBatchKinds},
    {"DependentIdentifier", kTMPLS},
    {"DependentIdentifierCode", kTMPLS},
};

unsigned KindBit(StartupKind kind) {
  switch (kind) {
    case StartupKind::kPCA:
      return kPCA;
    case StartupKind::kPLS:
      return kPLS;
    case StartupKind::kTMPCA:
      return kTMPCA;
    case StartupKind::kTMPLS:
      return kTMPLS;
    case StartupKind::kBMPLS:
      return kBMPLS;
  }
  return 0;
}

// A percentage passes when it is at least just under 20 and at most 100, both with the slack of
// the tolerant comparison; a value that is not a number passes neither bound.
bool PercentTooLow(double percent) {
  return std::isnan(percent) || !TolerantAtLeast(percent, kMinPercentLowerBound);
}
bool PercentTooHigh(double percent) { return !TolerantAtMost(percent, kMaxPercent); }

// The messages for the two percentages. The TMPLS Startup names the broken bound; the others
// state the whole range.
struct PercentMessages {
  MessageId cases_low;
  MessageId cases_high;
  MessageId variables_low;
  MessageId variables_high;
};

PercentMessages PercentMessagesOf(StartupKind kind) {
  if (kind == StartupKind::kTMPLS) {
    return {MessageId::kMinPercentValidCasesTooLow,
            MessageId::kMinPercentValidCasesTooHigh,
            MessageId::kMinPercentValidVarsTooLow,
            MessageId::kMinPercentValidVarsTooHigh};
  }
  return {MessageId::kPercentValidCasesOutOfRange,
          MessageId::kPercentValidCasesOutOfRange,
          MessageId::kPercentValidVarsOutOfRange,
          MessageId::kPercentValidVarsOutOfRange};
}

// Bring a 16-bit count into [minimum, maximum]: a negative value (an entry too large for the
// field) becomes the default. Each correction is shown as a note; it never refuses.
void CorrectCount(CAnalysisSupport& analysis,
                  std::int16_t& value,
                  int default_value,
                  int minimum,
                  int maximum,
                  MessageId inappropriate,
                  MessageId too_big,
                  MessageId too_small) {
  MessageId note = inappropriate;
  int corrected = value;
  if (value < 0) {
    corrected = default_value;
  } else if (value > maximum) {
    corrected = maximum;
    note = too_big;
  } else if (value < minimum) {
    corrected = minimum;
    note = too_small;
  } else {
    return;
  }
  value = static_cast<std::int16_t>(corrected);
  analysis.ShowMessage(MessageKind::kNote, note);
}

bool UsesFolds(CrossValidationMethod method) {
  return method == CrossValidationMethod::VFoldCrossValidation ||
         method == CrossValidationMethod::VFoldCrossValidationQuick;
}

}  // namespace

std::optional<MessageId> StartupOptions::Validate(CAnalysisSupport& analysis, StartupKind kind) {
  if (apply_memory_limit) {
    CorrectCount(analysis,
                 memory_limit_mb,
                 kDefaultMemoryLimitMB,
                 kMinMemoryLimitMB,
                 kMaxMemoryLimitMB,
                 MessageId::kMemoryLimitInappropriate,
                 MessageId::kMemoryLimitTooBig,
                 MessageId::kMemoryLimitTooSmall);
  }
  if (use_variable_blocks) {
    CorrectCount(analysis,
                 max_variable_blocks,
                 kDefaultVariableBlocks,
                 kMinVariableBlocks,
                 kMaxVariableBlocks,
                 MessageId::kBlocksInappropriate,
                 MessageId::kBlocksTooBig,
                 MessageId::kBlocksTooSmall);
  }

  const PercentMessages percent = PercentMessagesOf(kind);
  if (PercentTooLow(min_percent_valid_cases)) return percent.cases_low;
  if (PercentTooHigh(min_percent_valid_cases)) return percent.cases_high;
  if (PercentTooLow(min_percent_valid_variables)) return percent.variables_low;
  if (PercentTooHigh(min_percent_valid_variables)) return percent.variables_high;

  if (max_iterations < kMinIterations || max_iterations > kMaxIterations) {
    return MessageId::kMaxIterationsOutOfRange;
  }
  if (std::isnan(convergence_criterion) || !TolerantAtLeast(convergence_criterion, 0.0) ||
      !TolerantAtMost(convergence_criterion, 1.0)) {
    return MessageId::kConvergenceCriterionOutOfRange;
  }
  if (UsesFolds(cross_validation) && num_folds < kMinFolds) return MessageId::kFoldsBelowTwo;
  return std::nullopt;
}

bool ExposesProperty(StartupKind kind, std::string_view name) {
  for (const ExposedProperty& property : kExposedProperties) {
    if (property.name == name) return (property.kinds & KindBit(kind)) != 0;
  }
  return false;
}

int CrossValidationMethodNumber(CrossValidationMethod method) {
  switch (method) {
    case CrossValidationMethod::CrossValidationOff:
      return 0;
    case CrossValidationMethod::VFoldCrossValidation:
      return 1;
    case CrossValidationMethod::VFoldCrossValidationQuick:
    case CrossValidationMethod::KrzanowskiCrossValidation:
      return 2;
  }
  return 0;
}

}  // namespace mspc
