#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/analysis_support.hpp"
#include "host/messages.hpp"
#include "models/component_mode.hpp"
#include "models/scaling.hpp"

namespace mspc {

/// The kinds of analysis that have a Startup dialog with an Options tab.
enum class StartupKind { kPCA, kPLS, kTMPCA, kTMPLS, kBMPLS };

/// The cross-validation method chosen on the Options tab. V-fold and "off" exist for every kind;
/// the quick V-fold variant belongs to the PLS family and Krzanowski's to the PCA family.
enum class CrossValidationMethod {
  CrossValidationOff,
  VFoldCrossValidation,
  VFoldCrossValidationQuick,
  KrzanowskiCrossValidation,
};

/// The options of a Startup dialog, shared by every kind, with their defaults. Each option has
/// one automation property (named in the trailing comment); which of them a kind's twin shows
/// is `ExposesProperty`.
struct StartupOptions {
  // Fitting loop.
  int max_iterations = 50;                // MaxIterations, 1..1000
  double convergence_criterion = 0.0001;  // EpsilonOfConvergence, 0..1

  // Data size. The limit is a 16-bit field: an entry above 32767 arrives negative.
  bool apply_memory_limit = true;     // ApplyMemoryLimit
  std::int16_t memory_limit_mb = 80;  // MemoryLimitInMB, 4..32000

  // Screening.
  double min_percent_valid_cases = 20.0;      // MinPercentageOfValidCases, 20..100
  double min_percent_valid_variables = 20.0;  // MinPercentageOfValidVars, 20..100
  int min_valid_cases = 0;                    // MinNumberOfValidCases
  int min_valid_variables = 2;                // MinNumberOfValidVars
  bool auto_remove_variables = false;         // AutoRemoveVariables
  bool auto_remove_cases = false;             // AutoRemoveCases

  // Column scaling.
  ScalingMode scaling = ScalingMode::UnitStandardDeviations;  // one of three flags
  std::map<std::string, double> user_scales;                  // UserDefinedScales

  // User-defined variable blocks; a 16-bit field like the memory limit.
  bool use_variable_blocks = false;      // UsingVariableBlocks
  std::int16_t max_variable_blocks = 8;  // MaxNumberOfVariableBlocks, 2..kMaxVariableBlocks

  // Number of components and cross-validation.
  ComponentMode component_mode = ComponentMode::AutoFitByCrossValidation;  // one of three flags
  int num_components = 1;                                                  // NumberOfComponents
  double min_eigenvalue = 1.0;                                             // MinEigenvalueLimit
  CrossValidationMethod cross_validation = CrossValidationMethod::VFoldCrossValidation;
  int num_folds = 7;          // NumberOfCrossValidationFolds, at least 2 for V-fold
  int random_seed = 1;        // RandomSeedOfCrossValidation
  bool random_folds = false;  // RandomFoldAssignment

  // Analysis and test samples.
  bool use_test_sample = false;     // UseAnalysisAndTestSample
  std::string sample_identifier;    // SampleIdentifier, also AnalysisAndTestSamples
  double learning_sample_code = 1;  // CodeForLearningSample

  // Variable roles.
  std::vector<std::string> variables;                       // Variables
  std::vector<std::string> dependent_variables;             // DependentVariables
  std::vector<std::string> predictor_variables;             // PredictorVariables
  std::vector<std::string> categorical_variables;           // CategoricalVariables
  std::map<std::string, std::vector<double>> factor_codes;  // FactorCodes

  // Batch data.
  std::string batch_variable;            // BatchVariable
  std::string time_variable;             // TimeVariable
  std::string process_variable;          // ProcessVariable
  std::string measurement_variable;      // MeasurementVariable
  bool stacked_data = false;             // StackedData
  bool is_raw_data = false;              // IsRawData
  int num_time_intervals = 10;           // NumberOfTimeIntervals
  int min_batches = 3;                   // MinimumNumberOfBatches
  std::string dependent_identifier;      // DependentIdentifier
  double dependent_identifier_code = 1;  // DependentIdentifierCode

  /// Correct the 16-bit fields and check the ranges, in the order the Options tab is read:
  /// memory limit and number of blocks (corrections, each shown as a note and written back),
  /// the two percentages, the iteration limit, the convergence criterion, then the folds of
  /// V-fold cross-validation. Return the message of the first broken rule, or nothing.
  std::optional<MessageId> Validate(CAnalysisSupport& analysis, StartupKind kind);
};

constexpr int kDefaultMemoryLimitMB = 80;
constexpr int kMinMemoryLimitMB = 4;
constexpr int kMaxMemoryLimitMB = 32000;
constexpr int kDefaultVariableBlocks = 8;
constexpr int kMinVariableBlocks = 2;
constexpr int kMaxVariableBlocks = 100;
constexpr int kMinFolds = 2;
/// The percentages' lower bound sits just under 20 so that 20 itself passes with room to spare.
constexpr double kMinPercentLowerBound = 19.9999999;
constexpr double kMaxPercent = 100.0;

/// Whether the Startup twin of `kind` shows the automation property `name`.
bool ExposesProperty(StartupKind kind, std::string_view name);

/// The cross-validation method number a fit uses: 0 off, 1 V-fold, 2 the kind's second method
/// (quick V-fold in the PLS family, Krzanowski in the PCA family).
int CrossValidationMethodNumber(CrossValidationMethod method);

}  // namespace mspc
