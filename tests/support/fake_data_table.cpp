#include "support/fake_data_table.hpp"

#include <stdexcept>
#include <utility>

namespace mspc {

std::size_t FakeDataTable::Add(Variable variable) {
  if (!variables_.empty() && variable.values.size() != NumCases()) {
    throw std::invalid_argument("every column of a fake table must have the same length");
  }
  variables_.push_back(std::move(variable));
  return variables_.size() - 1;
}

std::size_t FakeDataTable::AddVariable(const std::string& name, const std::vector<double>& values) {
  return Add({name, values, false, {}, std::nullopt});
}

std::size_t FakeDataTable::AddCategorical(const std::string& name,
                                          const std::vector<double>& codes,
                                          const std::vector<CodeLabel>& categories) {
  return Add({name, codes, true, categories, std::nullopt});
}

void FakeDataTable::SetMissingDataCode(std::size_t variable, double code) {
  variables_.at(variable).missing_code = code;
}

void FakeDataTable::SetCaseNames(const std::vector<std::string>& names) { case_names_ = names; }
void FakeDataTable::SetSelected(const std::vector<bool>& selected) { selected_ = selected; }
void FakeDataTable::SetWeights(const std::vector<double>& weights) { weights_ = weights; }

std::size_t FakeDataTable::NumCases() const {
  return variables_.empty() ? 0 : variables_.front().values.size();
}

std::string FakeDataTable::VariableName(std::size_t variable) const {
  return variables_.at(variable).name;
}

std::optional<std::size_t> FakeDataTable::FindVariable(const std::string& name) const {
  for (std::size_t variable = 0; variable < variables_.size(); ++variable) {
    if (variables_[variable].name == name) return variable;
  }
  return std::nullopt;
}

bool FakeDataTable::IsCategorical(std::size_t variable) const {
  return variables_.at(variable).categorical;
}

std::vector<CodeLabel> FakeDataTable::Categories(std::size_t variable) const {
  return variables_.at(variable).categories;
}

std::string FakeDataTable::CodeText(std::size_t variable, double code) const {
  for (const CodeLabel& category : variables_.at(variable).categories) {
    if (category.code == code) return category.label;
  }
  return {};
}

std::optional<double> FakeDataTable::MissingDataCode(std::size_t variable) const {
  return variables_.at(variable).missing_code;
}

double FakeDataTable::Value(std::size_t case_index, std::size_t variable) const {
  return variables_.at(variable).values.at(case_index);
}

std::string FakeDataTable::CaseName(std::size_t case_index) const {
  return case_index < case_names_.size() ? case_names_[case_index] : std::string();
}

bool FakeDataTable::IsCaseSelected(std::size_t case_index) const {
  return case_index < selected_.size() ? selected_[case_index] : true;
}

double FakeDataTable::CaseWeight(std::size_t case_index) const {
  return case_index < weights_.size() ? weights_[case_index] : 1.0;
}

}  // namespace mspc
