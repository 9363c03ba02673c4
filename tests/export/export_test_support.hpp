#pragma once

// A small fitted PCA model shared by the export and deployment tests.

#include <cmath>
#include <string>
#include <vector>

#include "frame/working_data.hpp"
#include "pca/pca_engine.hpp"
#include "pca/pca_test_support.hpp"

namespace mspc::testing {

/// Working data for `raw` with unit-deviation scaling; `names` name the columns, one variable
/// per column.
inline WorkingData ContinuousData(const DMatrix& raw, const std::vector<std::string>& names) {
  WorkingData data;
  data.x = raw;
  const ColumnStatistics stats = ComputeColumnStatistics(raw);
  for (std::size_t col = 0; col < raw.cols(); ++col) {
    VariableInfo variable;
    variable.name = names[col];
    variable.table_index = col;
    variable.mean = stats.mean[col];
    variable.standard_deviation = stats.sd[col];
    variable.scale = stats.sd[col];
    data.variables.push_back(variable);
    data.column_source.push_back(col);
    data.column_code.push_back(std::nan(""));
    data.column_names.push_back(names[col]);
    double valid = 0;
    for (std::size_t row = 0; row < raw.rows(); ++row) valid += std::isnan(raw(row, col)) ? 0 : 1;
    data.valid_count.push_back(valid);
    data.removed_columns.push_back(false);
  }
  data.mean = stats.mean;
  data.standard_deviation = stats.sd;
  data.scale = stats.sd;
  for (std::size_t row = 0; row < raw.rows(); ++row) {
    data.case_numbers.push_back(static_cast<int>(row) + 1);
    data.case_names.push_back("");
    data.removed_cases.push_back(false);
  }
  return data;
}

/// An engine with `components` components fitted to `data` by tight NIPALS.
inline PCAEngine FittedEngine(const WorkingData& data, int components) {
  PCAFitOptions options;
  options.component_mode = ComponentMode::FixedNumberOfComponents;
  options.max_components = components;
  options.convergence = 1e-13;
  options.max_iterations = 1000;
  PCAEngine engine(options);
  engine.CenterAndScale(data.x, data.mean, data.scale);
  engine.AutoFit();
  return engine;
}

}  // namespace mspc::testing
