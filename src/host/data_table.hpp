#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mspc {

/// A category of a categorical variable: its integer code and the text label shown for it.
struct CodeLabel {
  double code = 0.0;
  std::string label;
};

/// The host's current input table: cases in rows, variables in columns. Variables and cases are
/// numbered from 0 here; the host's case numbers shown to the user are `case_index + 1`.
class DataTable {
 public:
  virtual ~DataTable() = default;

  /// A short description of where the data came from (a file name), for reports and code.
  virtual std::string SourceName() const = 0;

  virtual std::size_t NumVariables() const = 0;
  virtual std::size_t NumCases() const = 0;

  /// The variable's name as the host shows it (may carry rich-text formatting).
  virtual std::string VariableName(std::size_t variable) const = 0;
  /// Index of the variable with this name, if any.
  virtual std::optional<std::size_t> FindVariable(const std::string& name) const = 0;
  /// Whether the variable is categorical (text values, or declared categorical).
  virtual bool IsCategorical(std::size_t variable) const = 0;
  /// The categories of a categorical variable in code order (empty for a continuous one).
  virtual std::vector<CodeLabel> Categories(std::size_t variable) const = 0;
  /// The text label of a code of the variable, or an empty string when it has none.
  virtual std::string CodeText(std::size_t variable, double code) const = 0;
  /// The variable's missing-data code, if it has one; a cell equal to it is missing.
  virtual std::optional<double> MissingDataCode(std::size_t variable) const = 0;

  /// The cell value; empty cells are NaN. Categorical cells hold their integer code.
  virtual double Value(std::size_t case_index, std::size_t variable) const = 0;

  /// The name of a case (empty when cases are unnamed).
  virtual std::string CaseName(std::size_t case_index) const = 0;
  /// Whether the case passes the host's case-selection conditions.
  virtual bool IsCaseSelected(std::size_t case_index) const = 0;
  /// The case weight; 1 when the table has no weight variable.
  virtual double CaseWeight(std::size_t case_index) const = 0;
  /// Whether a case-weight variable is in force.
  virtual bool HasCaseWeights() const = 0;
};

}  // namespace mspc
