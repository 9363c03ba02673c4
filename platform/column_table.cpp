#include "platform/column_table.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>

#include "host/messages.hpp"
#include "platform/number_text.hpp"

namespace mspc::platform {
namespace {

std::optional<std::size_t> FindColumn(const std::vector<TableColumn>& columns,
                                      const std::string& name) {
  for (std::size_t col = 0; col < columns.size(); ++col) {
    if (columns[col].name == name) return col;
  }
  return std::nullopt;
}

// The code a selection value stands for in `column`: a label of a categorical variable, else a
// number (for a categorical variable, a code).
std::optional<double> SelectionCode(const TableColumn& column, const SelectionValue& value) {
  if (const double* number = std::get_if<double>(&value)) return *number;
  const std::string_view text = TrimBlanks(std::get<std::string>(value));
  for (const CodeLabel& category : column.categories) {
    if (category.label == text) return category.code;
  }
  return ParseNumber(text);
}

}  // namespace

bool ResolveCaseOptions(const std::string& source_name,
                        const std::vector<TableColumn>& columns,
                        std::size_t num_cases,
                        const TableOptions& options,
                        CaseAttributes* attributes,
                        std::string* error) {
  std::vector<char> selected(num_cases, 1);
  if (options.selection) {
    const CaseSelection& selection = *options.selection;
    const auto col = FindColumn(columns, selection.variable);
    if (!col) {
      *error =
          FormatMessage(MessageId::kTableUnknownSelectionVariable, source_name, selection.variable);
      return false;
    }
    const TableColumn& column = columns[*col];
    std::vector<double> codes;
    for (const SelectionValue& value : selection.values) {
      const auto code = SelectionCode(column, value);
      if (!code) {
        *error = FormatMessage(MessageId::kTableUnknownSelectionValue,
                               source_name,
                               std::get<std::string>(value),
                               selection.variable);
        return false;
      }
      codes.push_back(*code);
    }
    const bool keep_listed = selection.mode == SelectionMode::kIn;
    for (std::size_t row = 0; row < num_cases; ++row) {
      const double cell = column.values[row];
      // Codes and values are matched exactly: both sides were read from the same decimal text.
      const bool listed = std::find(codes.begin(), codes.end(), cell) != codes.end();
      selected[row] = listed == keep_listed ? 1 : 0;
    }
  }

  std::vector<double> weights;
  if (!options.weight_variable.empty()) {
    const auto col = FindColumn(columns, options.weight_variable);
    if (!col) {
      *error = FormatMessage(
          MessageId::kTableUnknownWeightVariable, source_name, options.weight_variable);
      return false;
    }
    if (columns[*col].categorical) {
      *error =
          FormatMessage(MessageId::kTableCategoricalWeight, source_name, options.weight_variable);
      return false;
    }
    weights = columns[*col].values;
    // A case without a weight carries no weight.
    for (double& weight : weights) {
      if (std::isnan(weight)) weight = 0.0;
    }
  }

  attributes->selected = std::move(selected);
  attributes->weights = std::move(weights);
  return true;
}

ColumnTable::ColumnTable(std::string source_name,
                         std::size_t num_cases,
                         std::vector<TableColumn> columns,
                         CaseAttributes attributes)
    : source_name_(std::move(source_name)),
      num_cases_(num_cases),
      columns_(std::move(columns)),
      attributes_(std::move(attributes)) {
  for (std::size_t col = 0; col < columns_.size(); ++col) {
    assert(columns_[col].values.size() == num_cases_);
    index_by_name_.emplace(columns_[col].name, col);
  }
  assert(attributes_.selected.size() == num_cases_);
}

std::string ColumnTable::VariableName(std::size_t variable) const {
  return columns_[variable].name;
}

std::optional<std::size_t> ColumnTable::FindVariable(const std::string& name) const {
  const auto found = index_by_name_.find(name);
  if (found == index_by_name_.end()) return std::nullopt;
  return found->second;
}

bool ColumnTable::IsCategorical(std::size_t variable) const {
  return columns_[variable].categorical;
}

std::vector<CodeLabel> ColumnTable::Categories(std::size_t variable) const {
  return columns_[variable].categories;
}

std::string ColumnTable::CodeText(std::size_t variable, double code) const {
  const auto& categories = columns_[variable].categories;
  const auto found = std::lower_bound(
      categories.begin(), categories.end(), code, [](const CodeLabel& category, double value) {
        return category.code < value;
      });
  if (found == categories.end() || found->code != code) return {};
  return found->label;
}

std::optional<double> ColumnTable::MissingDataCode(std::size_t variable) const {
  return columns_[variable].missing_code;
}

double ColumnTable::Value(std::size_t case_index, std::size_t variable) const {
  return columns_[variable].values[case_index];
}

std::string ColumnTable::CaseName(std::size_t case_index) const {
  if (attributes_.names.empty()) return {};
  return attributes_.names[case_index];
}

bool ColumnTable::IsCaseSelected(std::size_t case_index) const {
  return attributes_.selected[case_index] != 0;
}

double ColumnTable::CaseWeight(std::size_t case_index) const {
  if (attributes_.weights.empty()) return 1.0;
  return attributes_.weights[case_index];
}

}  // namespace mspc::platform
