#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "host/data_table.hpp"

namespace mspc::platform {

/// One value of a case-selection condition: a number (a value or a category code) or a text
/// (a category label, or a number written as text).
using SelectionValue = std::variant<double, std::string>;

enum class SelectionMode { kIn, kNotIn };

/// Select the cases whose `variable` has (kIn) or has not (kNotIn) one of `values`. A missing
/// cell holds none of the values.
struct CaseSelection {
  std::string variable;
  std::vector<SelectionValue> values;
  SelectionMode mode = SelectionMode::kIn;
};

/// How a table file is read, whatever its format.
struct TableOptions {
  /// Per-variable missing-data codes: a cell equal to its variable's code is missing.
  std::map<std::string, double> missing_data_codes;
  /// Numeric variables to treat as categorical, their distinct values being the codes.
  std::vector<std::string> categorical;
  std::optional<CaseSelection> selection;
  /// The case-weight variable (numeric); empty for none. A missing weight counts as 0.
  std::string weight_variable;
  /// The variable whose cells name the cases; empty for unnamed cases.
  std::string case_name_variable;
};

/// A loaded variable: its cells (NaN where missing, the integer code where categorical).
struct TableColumn {
  std::string name;
  std::vector<double> values;
  bool categorical = false;
  std::vector<CodeLabel> categories;  // in code order
  std::optional<double> missing_code;
};

/// The per-case attributes that come from the table options.
struct CaseAttributes {
  std::vector<std::string> names;  // empty when cases are unnamed
  std::vector<char> selected;      // one flag per case
  std::vector<double> weights;     // empty when no weight variable is in force
};

/// Resolve the selection and weight options against loaded columns. `source_name` prefixes the
/// message. False (with `error` filled) for an unknown variable or selection value, or a
/// categorical weight variable.
bool ResolveCaseOptions(const std::string& source_name,
                        const std::vector<TableColumn>& columns,
                        std::size_t num_cases,
                        const TableOptions& options,
                        CaseAttributes* attributes,
                        std::string* error);

/// A table held column by column in memory, as format readers produce it.
class ColumnTable : public DataTable {
 public:
  ColumnTable(std::string source_name,
              std::size_t num_cases,
              std::vector<TableColumn> columns,
              CaseAttributes attributes);

  std::string SourceName() const override { return source_name_; }
  std::size_t NumVariables() const override { return columns_.size(); }
  std::size_t NumCases() const override { return num_cases_; }
  std::string VariableName(std::size_t variable) const override;
  std::optional<std::size_t> FindVariable(const std::string& name) const override;
  bool IsCategorical(std::size_t variable) const override;
  std::vector<CodeLabel> Categories(std::size_t variable) const override;
  std::string CodeText(std::size_t variable, double code) const override;
  std::optional<double> MissingDataCode(std::size_t variable) const override;
  double Value(std::size_t case_index, std::size_t variable) const override;
  std::string CaseName(std::size_t case_index) const override;
  bool IsCaseSelected(std::size_t case_index) const override;
  double CaseWeight(std::size_t case_index) const override;
  bool HasCaseWeights() const override { return !attributes_.weights.empty(); }

 private:
  std::string source_name_;
  std::size_t num_cases_;
  std::vector<TableColumn> columns_;
  CaseAttributes attributes_;
  std::unordered_map<std::string, std::size_t> index_by_name_;
};

}  // namespace mspc::platform
