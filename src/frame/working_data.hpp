#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "host/errors.hpp"
#include "host/messages.hpp"
#include "models/dmatrix.hpp"
#include "models/removal_log.hpp"
#include "models/scaling.hpp"
#include "models/variable_info.hpp"

namespace mspc {

/// Which variables of the host table an analysis uses, and how.
struct DataSelection {
  std::vector<std::string> variables;    // selected variable names, in selection order
  std::vector<std::string> categorical;  // which of them are treated as categorical
};

/// The options that decide what screening may do and how columns are scaled.
struct ScreeningOptions {
  int min_valid_cases = 0;                    // MinNumberOfValidCases
  double min_percent_valid_cases = 20.0;      // MinPercentageOfValidCases
  int min_valid_variables = 2;                // MinNumberOfValidVars
  double min_percent_valid_variables = 20.0;  // MinPercentageOfValidVars
  bool auto_remove_variables = false;         // AutoRemoveVariables
  bool auto_remove_cases = false;             // AutoRemoveCases
  ScalingMode scaling = ScalingMode::UnitStandardDeviations;
  std::vector<double> user_scales;  // per source variable, UserDefinedStandardDeviations
  /// Rewords a refused removal's stop before it is thrown (the batch models word their stops
  /// differently after pre-processing raw data); empty leaves every stop as it is.
  std::function<AnalysisStop(const AnalysisStop&)> reword_stop;
};

/// The working matrix of one block (all process variables for PCA; X or Y for PLS) after
/// reading, screening and column statistics. Columns are the continuous variables and one dummy
/// column per category of each categorical variable; every column carries its source variable.
struct WorkingData {
  DMatrix x;                               // cases x columns, NaN where missing
  std::vector<std::size_t> column_source;  // per column: index into `variables`
  std::vector<double> column_code;         // per column: category code, NaN if continuous
  std::vector<std::string> column_names;   // per column: variable name, or "name: label"
  std::vector<VariableInfo> variables;     // per source variable
  std::vector<int> case_numbers;           // per row: the host's 1-based case number
  std::vector<std::string> case_names;     // per row: case name (may be empty)
  /// What a row is, as reports head it: a case, or a batch of a table unfolded one row per batch.
  MessageId row_header = MessageId::kRowHeaderCase;

  std::vector<bool> removed_cases;    // per row
  std::vector<bool> removed_columns;  // per column
  int removed_case_count = 0;
  int removed_cell_count = 0;

  std::vector<double> valid_count;         // per column, over the cases that remain
  std::vector<double> mean;                // per column
  std::vector<double> standard_deviation;  // per column
  std::vector<double> scale;               // per column: the divisor of the column scaling

  RemovalLog removals;
};

}  // namespace mspc
