#pragma once

#include <string>
#include <vector>

namespace mspc {

enum class VariableRole { kPredictor, kDependent };

/// What the models know of one selected variable.
struct VariableInfo {
  std::string name;
  std::size_t table_index = 0;  // the variable's column in the host table
  bool categorical = false;
  std::vector<double> category_codes;        // categorical: codes in code order
  std::vector<std::string> category_labels;  // their text labels
  VariableRole role = VariableRole::kPredictor;
  int block = 0;
  double mean = 0.0;
  double standard_deviation = 0.0;
  double scale = 1.0;
};

}  // namespace mspc
