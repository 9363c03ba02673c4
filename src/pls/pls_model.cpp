#include "pls/pls_model.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "frame/data_preparation.hpp"
#include "frame/data_reader.hpp"
#include "host/errors.hpp"
#include "models/missing.hpp"

namespace mspc {
namespace {

// The largest predictor selection a PLS accepts: far above any plant data set, low enough that
// the column counts always fit the 32-bit counts of the model document.
constexpr int kMaxPLSVariables = 100000;

// A variable in both roles, or no dependent at all, cannot make a model.
void CheckRoles(const StartupOptions& options) {
  if (options.dependent_variables.empty()) {
    throw AnalysisStop::With(MessageId::kPLSNoDependentSelected);
  }
  for (const std::string& dependent : options.dependent_variables) {
    const auto& predictors = options.predictor_variables;
    if (std::find(predictors.begin(), predictors.end(), dependent) != predictors.end()) {
      throw AnalysisStop::With(MessageId::kPLSVariableInBothRoles, dependent);
    }
  }
}

// The columns of the source variables [first, first + count) of a block read together, as a
// block of their own over the same cases.
WorkingData SplitBlock(const WorkingData& all,
                       std::size_t first,
                       std::size_t count,
                       VariableRole role) {
  WorkingData block;
  block.case_numbers = all.case_numbers;
  block.case_names = all.case_names;
  block.variables.assign(all.variables.begin() + static_cast<std::ptrdiff_t>(first),
                         all.variables.begin() + static_cast<std::ptrdiff_t>(first + count));
  for (VariableInfo& variable : block.variables) variable.role = role;
  std::vector<std::size_t> columns;
  for (std::size_t col = 0; col < all.x.cols(); ++col) {
    const std::size_t source = all.column_source[col];
    if (source < first || source >= first + count) continue;
    columns.push_back(col);
    block.column_source.push_back(source - first);
    block.column_code.push_back(all.column_code[col]);
    block.column_names.push_back(all.column_names[col]);
  }
  block.x = DMatrix(all.x.rows(), columns.size());
  for (std::size_t row = 0; row < all.x.rows(); ++row) {
    for (std::size_t index = 0; index < columns.size(); ++index) {
      block.x(row, index) = all.x(row, columns[index]);
    }
  }
  return block;
}

void AppendRemovals(RemovalLog& into, const RemovalLog& from) {
  into.variables.insert(into.variables.end(), from.variables.begin(), from.variables.end());
  into.cases.insert(into.cases.end(), from.cases.begin(), from.cases.end());
}

struct PreparedBlocks {
  WorkingData x;
  WorkingData y;
};

PreparedBlocks PrepareBlocks(CAnalysisSupport& analysis,
                             const CNewDataReader& reader,
                             const StartupOptions& options,
                             RemovalNotes& notes) {
  const ReadingProgress progress(analysis);
  const std::vector<std::string>& predictors = options.predictor_variables;
  const std::vector<std::string>& dependents = options.dependent_variables;
  SelectionLimits limits;
  limits.max_variables = 2 * kMaxPLSVariables;
  limits.max_predictors = kMaxPLSVariables;
  CheckSelection(static_cast<int>(predictors.size() + dependents.size()),
                 static_cast<int>(predictors.size()),
                 static_cast<int>(reader.TrainingCases().size()),
                 limits,
                 true);

  // One read of both blocks keeps their rows aligned: a case left out for a non-integer code
  // in either block is left out of both.
  DataSelection selection;
  selection.variables = predictors;
  selection.variables.insert(selection.variables.end(), dependents.begin(), dependents.end());
  selection.categorical = options.categorical_variables;
  const WorkingData all = reader.Read(selection);
  if (options.apply_memory_limit) {
    CheckMemoryLimit(all.x.rows(), all.x.cols(), options.memory_limit_mb);
  }
  PreparedBlocks blocks{
      SplitBlock(all, 0, predictors.size(), VariableRole::kPredictor),
      SplitBlock(all, predictors.size(), dependents.size(), VariableRole::kDependent)};

  const ScreeningOptions x_screening = ScreeningOptionsFrom(options, predictors);
  const ScreeningOptions y_screening = ScreeningOptionsFrom(options, dependents);
  const std::vector<bool> none_removed(all.x.rows(), false);
  RemoveCasesWithoutValues(analysis, y_screening, ScreeningKind::kPLSDependents, notes, blocks.y);
  blocks.x.removed_cases = blocks.y.removed_cases;
  ScreenWorkingData(analysis, x_screening, ScreeningKind::kPLSPredictors, notes, blocks.x);
  blocks.y.removed_cases = blocks.x.removed_cases;
  ScreenWorkingColumns(
      analysis, y_screening, ScreeningKind::kPLSDependents, notes, blocks.y, none_removed);

  // One removal report for the model: the dependents' empty cases, the predictors' cases and
  // columns, then the dependents' columns.
  RemovalLog log;
  log.cases = blocks.y.removals.cases;
  AppendRemovals(log, blocks.x.removals);
  log.variables.insert(
      log.variables.end(), blocks.y.removals.variables.begin(), blocks.y.removals.variables.end());
  if (analysis.host().output != nullptr) ReportRemovals(log, *analysis.host().output);

  ComputeColumnScales(x_screening, blocks.x);
  ComputeColumnScales(y_screening, blocks.y);
  return blocks;
}

}  // namespace

PLSFitOptions PLSFitOptionsFrom(const StartupOptions& options) {
  PLSFitOptions fit;
  switch (options.component_mode) {
    case ComponentMode::AutoFitByCrossValidation:
      fit.mode = PLSFitMode::kCrossValidation;
      break;
    case ComponentMode::FixedNumberOfComponents:
      fit.mode = PLSFitMode::kFixedNumber;
      break;
    case ComponentMode::EigenvalueLimit:
      fit.mode = PLSFitMode::kEigenvalueLimit;
      break;
  }
  fit.num_components = options.num_components;
  fit.eigenvalue_limit = options.min_eigenvalue;
  fit.max_iterations = options.max_iterations;
  fit.convergence = options.convergence_criterion;
  // The PLS test has one pass: both V-fold choices run it.
  fit.cross_validation = options.cross_validation != CrossValidationMethod::CrossValidationOff;
  fit.folds = options.num_folds;
  fit.seed = static_cast<std::uint64_t>(static_cast<std::uint32_t>(options.random_seed));
  fit.random_folds = options.random_folds;
  return fit;
}

CPLSModel::CPLSModel(CAnalysisSupport* analysis) : CMultivariate(analysis) {}

ModelKind CPLSModel::Kind() const { return ModelKind::kPLS; }

bool CPLSModel::IsFitted() const { return prepared_; }

PLSModelType CPLSModel::ModelType() const {
  for (std::size_t col = 0; col < dependents_.column_code.size(); ++col) {
    const bool removed =
        col < dependents_.removed_columns.size() && dependents_.removed_columns[col];
    if (!removed && !IsMissing(dependents_.column_code[col])) return PLSModelType::kClassification;
  }
  return PLSModelType::kRegression;
}

void CPLSModel::Run(const StartupOptions& options) {
  CheckRoles(options);
  const PLSFitOptions fit_options = PLSFitOptionsFrom(options);
  if (const std::optional<MessageId> refusal = fit_options.Validate()) {
    throw AnalysisStop::With(*refusal);
  }
  PreparedBlocks blocks = PrepareBlocks(analysis(), *data_reader(), options, removal_notes_);
  FitBlocks(std::move(blocks.x), std::move(blocks.y), fit_options);
}

void CPLSModel::FitBlocks(WorkingData x, WorkingData y, const PLSFitOptions& fit_options) {
  PLSEngine engine(fit_options);
  engine.SetProgress(analysis().host().progress);
  engine.SetRandomSource(analysis().host().random);
  PLSExclusions exclusions{x.removed_cases, x.removed_columns, y.removed_columns};
  engine.CenterAndScale(x.x, y.x, {x.mean, x.scale}, {y.mean, y.scale}, std::move(exclusions));
  // The prepared data become the model's only now, so a failed preparation leaves nothing.
  predictors_ = std::move(x);
  dependents_ = std::move(y);
  engine_ = std::move(engine);
  prepared_ = true;
  engine_.AutoFit();
}

}  // namespace mspc
