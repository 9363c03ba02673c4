#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/data_table.hpp"

namespace mspc {

/// An in-memory host table for tests: variables are added column by column (every column as
/// long as the first), cases are selected with weight 1 unless the test says otherwise.
class FakeDataTable : public DataTable {
 public:
  /// Add a continuous variable; NaN marks an empty cell. Returns its index.
  std::size_t AddVariable(const std::string& name, const std::vector<double>& values);
  /// Add a variable the table itself calls categorical, with its coded cells and labels.
  std::size_t AddCategorical(const std::string& name,
                             const std::vector<double>& codes,
                             const std::vector<CodeLabel>& categories);
  void SetMissingDataCode(std::size_t variable, double code);
  void SetCaseNames(const std::vector<std::string>& names);
  void SetSelected(const std::vector<bool>& selected);
  void SetWeights(const std::vector<double>& weights);

  std::string SourceName() const override { return "fake table"; }
  std::size_t NumVariables() const override { return variables_.size(); }
  std::size_t NumCases() const override;
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
  bool HasCaseWeights() const override { return !weights_.empty(); }

 private:
  struct Variable {
    std::string name;
    std::vector<double> values;
    bool categorical = false;
    std::vector<CodeLabel> categories;
    std::optional<double> missing_code;
  };

  std::size_t Add(Variable variable);

  std::vector<Variable> variables_;
  std::vector<std::string> case_names_;
  std::vector<bool> selected_;
  std::vector<double> weights_;
};

}  // namespace mspc
