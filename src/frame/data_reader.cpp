#include "frame/data_reader.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <set>
#include <utility>

#include "host/errors.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"

namespace mspc {
namespace {

constexpr int kMinSelectedVariables = 2;
constexpr int kMinSelectedPredictors = 2;
constexpr int kMinTrainingCases = 4;
constexpr std::size_t kBytesPerCell = sizeof(double);
constexpr std::size_t kBytesPerMegabyte = 1024 * 1024;

// One selected variable as the reader sees it while building the working matrix.
struct SourceColumn {
  std::size_t table_index = 0;
  bool categorical = false;
  std::optional<double> missing_code;
};

// A cell value with the table's conventions applied: NaN for an empty cell or one equal to the
// variable's missing-data code. An infinite cell cannot enter a mean or a variance, so it is
// treated as missing as well.
double CellValue(const DataTable& table, std::size_t case_index, const SourceColumn& source) {
  const double value = table.Value(case_index, source.table_index);
  if (IsMissing(value) || !std::isfinite(value)) return kMissingValue;
  if (source.missing_code && TolerantEqual(value, *source.missing_code)) return kMissingValue;
  return value;
}

// Whether a valid categorical cell holds an integer code (within the comparison tolerance).
bool IsIntegerCode(double value) { return TolerantEqual(value, std::round(value)); }

// The text of a code that has no label of its own: the shortest form that reads back exactly.
std::string CodeAsText(double code) {
  char buffer[32];
  const auto result = std::to_chars(std::begin(buffer), std::end(buffer), code);
  return std::string(buffer, result.ptr);
}

}  // namespace

void CNewDataReader::Refresh() {
  variable_names_.clear();
  const DataTable* table = analysis_->host().table;
  if (table == nullptr) return;
  variable_names_.reserve(table->NumVariables());
  for (std::size_t variable = 0; variable < table->NumVariables(); ++variable) {
    variable_names_.push_back(table->VariableName(variable));
  }
}

std::vector<std::size_t> CNewDataReader::TrainingCases() const {
  std::vector<std::size_t> cases;
  const DataTable* table = analysis_->host().table;
  if (table == nullptr) return cases;
  for (std::size_t case_index = 0; case_index < table->NumCases(); ++case_index) {
    if (!table->IsCaseSelected(case_index)) continue;
    // A weight only decides whether the case takes part: a zero or missing weight leaves it
    // out, and any other weight is not applied to the fits (every training case counts once).
    const double weight = table->CaseWeight(case_index);
    if (IsMissing(weight) || IsTolerantZero(weight)) continue;
    cases.push_back(case_index);
  }
  return cases;
}

WorkingData CNewDataReader::Read(const DataSelection& selection) const {
  const DataTable* table = analysis_->host().table;
  if (table == nullptr) throw AnalysisStop::With(MessageId::kNoDataTable);

  std::vector<SourceColumn> sources;
  sources.reserve(selection.variables.size());
  for (const std::string& name : selection.variables) {
    const std::optional<std::size_t> found = table->FindVariable(name);
    if (!found) throw AnalysisStop::With(MessageId::kVariableNotInTable, StripRichText(name));
    SourceColumn source;
    source.table_index = *found;
    source.categorical =
        table->IsCategorical(*found) ||
        std::find(selection.categorical.begin(), selection.categorical.end(), name) !=
            selection.categorical.end();
    source.missing_code = table->MissingDataCode(*found);
    sources.push_back(source);
  }

  // Leave out the cases with a non-integer code in a categorical variable; they cannot be
  // coded into dummy columns.
  std::vector<std::size_t> cases;
  bool dropped_non_integer = false;
  for (const std::size_t case_index : TrainingCases()) {
    const bool has_non_integer_code =
        std::any_of(sources.begin(), sources.end(), [&](const SourceColumn& source) {
          if (!source.categorical) return false;
          const double value = CellValue(*table, case_index, source);
          return !IsMissing(value) && !IsIntegerCode(value);
        });
    if (has_non_integer_code) {
      dropped_non_integer = true;
    } else {
      cases.push_back(case_index);
    }
  }
  if (dropped_non_integer) {
    analysis_->ShowMessage(MessageKind::kWarning, MessageId::kNonIntegerCategoryCodes);
  }

  WorkingData data;
  data.variables.resize(sources.size());
  for (std::size_t source_index = 0; source_index < sources.size(); ++source_index) {
    const SourceColumn& source = sources[source_index];
    VariableInfo& info = data.variables[source_index];
    info.name = table->VariableName(source.table_index);
    info.table_index = source.table_index;
    info.categorical = source.categorical;
    if (!source.categorical) {
      data.column_source.push_back(source_index);
      data.column_code.push_back(kMissingValue);
      data.column_names.push_back(info.name);
      continue;
    }
    // The categories are the codes the training cases actually hold: a category no case holds
    // would give a dummy column without variance.
    std::set<double> codes;
    for (const std::size_t case_index : cases) {
      const double value = CellValue(*table, case_index, source);
      if (!IsMissing(value)) codes.insert(std::round(value));
    }
    if (codes.empty()) {
      // No valid cell at all: one all-missing column, so the variable screen reports it.
      data.column_source.push_back(source_index);
      data.column_code.push_back(kMissingValue);
      data.column_names.push_back(info.name);
      continue;
    }
    for (const double code : codes) {
      std::string label = table->CodeText(source.table_index, code);
      if (label.empty()) label = CodeAsText(code);
      data.column_source.push_back(source_index);
      data.column_code.push_back(code);
      data.column_names.push_back(info.name + ": " + label);
      info.category_codes.push_back(code);
      info.category_labels.push_back(std::move(label));
    }
  }

  const std::size_t num_columns = data.column_source.size();
  data.x = DMatrix(cases.size(), num_columns, kMissingValue);
  std::vector<double> values(sources.size());
  for (std::size_t row = 0; row < cases.size(); ++row) {
    const std::size_t case_index = cases[row];
    for (std::size_t source_index = 0; source_index < sources.size(); ++source_index) {
      values[source_index] = CellValue(*table, case_index, sources[source_index]);
    }
    for (std::size_t col = 0; col < num_columns; ++col) {
      const double value = values[data.column_source[col]];
      const double code = data.column_code[col];
      if (IsMissing(value) || IsMissing(code)) {
        data.x(row, col) = value;  // a continuous cell, or missing in every column of its variable
      } else {
        // Both sides are whole numbers, so exact equality is the right test: a tolerance would
        // let neighbouring large codes share a dummy column.
        data.x(row, col) = std::round(value) == code ? 1.0 : 0.0;
      }
    }
    data.case_numbers.push_back(static_cast<int>(case_index) + 1);
    data.case_names.push_back(table->CaseName(case_index));
  }
  data.removed_cases.assign(cases.size(), false);
  data.removed_columns.assign(num_columns, false);
  return data;
}

void CheckSelection(int num_variables,
                    int num_predictors,
                    int num_training_cases,
                    const SelectionLimits& limits,
                    bool has_predictor_role) {
  if (limits.max_variables > 0 && num_variables > limits.max_variables) {
    throw AnalysisStop::With(MessageId::kTooManyVariables, limits.max_variables);
  }
  if (num_variables < kMinSelectedVariables) {
    throw AnalysisStop::With(MessageId::kTooFewVariables);
  }
  if (has_predictor_role) {
    if (limits.max_predictors > 0 && num_predictors > limits.max_predictors) {
      throw AnalysisStop::With(MessageId::kTooManyPredictors, limits.max_predictors);
    }
    if (num_predictors < kMinSelectedPredictors) {
      throw AnalysisStop::With(MessageId::kTooFewPredictors);
    }
  }
  if (limits.max_training_cases > 0 && num_training_cases > limits.max_training_cases) {
    throw AnalysisStop::With(MessageId::kTooManyTrainingCases, limits.max_training_cases);
  }
  if (num_training_cases < kMinTrainingCases) {
    throw AnalysisStop::With(MessageId::kTooFewTrainingCases);
  }
}

void CheckMemoryLimit(std::size_t num_rows, std::size_t num_columns, int memory_limit_mb) {
  // A size that does not even fit the byte counter exceeds any limit.
  std::size_t cells = 0;
  std::size_t bytes = 0;
  const bool overflow = __builtin_mul_overflow(num_rows, num_columns, &cells) ||
                        __builtin_mul_overflow(cells, kBytesPerCell, &bytes);
  const std::size_t limit =
      memory_limit_mb > 0 ? static_cast<std::size_t>(memory_limit_mb) * kBytesPerMegabyte : 0;
  if (overflow || bytes > limit) throw AnalysisStop::With(MessageId::kDataSizeExceedsLimit);
}

}  // namespace mspc
