#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/analysis_support.hpp"
#include "frame/screening.hpp"
#include "frame/working_data.hpp"

namespace mspc {

/// Per-kind maxima of the selection checks made before any screening.
struct SelectionLimits {
  int max_variables = 0;       // 0: no maximum
  int max_predictors = 0;      // PLS kinds
  int max_training_cases = 0;  // 0: no maximum
};

/// The model's reader of the host's current table: it turns the selected variables and cases
/// into a working matrix with `MissingValue` in empty cells, and carries the two automatic
/// removal flags.
class CNewDataReader {
 public:
  explicit CNewDataReader(CAnalysisSupport* analysis) : analysis_(analysis) {}

  /// Re-read the variable list of the host's table (after the input file changed).
  void Refresh();
  /// Names of the variables of the current table, in table order.
  const std::vector<std::string>& VariableNames() const { return variable_names_; }

  /// The host case indices (0-based) of the training cases: selected by the host's conditions
  /// and with a case weight that is neither zero nor missing.
  std::vector<std::size_t> TrainingCases() const;

  /// Read the selected variables over the training cases into a working matrix with one column
  /// per continuous variable and one 0/1 dummy column per category of a categorical one (a
  /// variable the table calls categorical or one named in `selection.categorical`). The
  /// categories are the distinct integer codes the training cases hold, in code order; a
  /// categorical variable none of whose cells is valid keeps one all-missing column so that
  /// screening reports it. A cell equal to the variable's missing-data code is missing, and a
  /// missing cell is missing in every dummy column. Cases with a non-integer code in a
  /// categorical variable are left out with the warning that says so (once per read). Throws
  /// `AnalysisStop` when no table is open or a variable name is not in the table.
  WorkingData Read(const DataSelection& selection) const;

  std::int16_t AutoRemoveVariables = 0;
  std::int16_t AutoRemoveCases = 0;

 private:
  CAnalysisSupport* analysis_;
  std::vector<std::string> variable_names_;
};

/// Check the selection before any data is screened: too many or too few variables, predictors
/// or training cases. Throws `AnalysisStop` with the failed check's message.
void CheckSelection(int num_variables,
                    int num_predictors,
                    int num_training_cases,
                    const SelectionLimits& limits,
                    bool has_predictor_role);

/// Throw `AnalysisStop` (message 2460) when `num_rows` x `num_columns` doubles exceed the
/// memory limit in megabytes.
void CheckMemoryLimit(std::size_t num_rows, std::size_t num_columns, int memory_limit_mb);

}  // namespace mspc
