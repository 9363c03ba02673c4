#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/analysis_support.hpp"
#include "frame/working_data.hpp"

namespace mspc {

/// Which model kind screens, so that removals carry the kind's own cause codes.
enum class ScreeningKind {
  kPCA,              // causes 2-6
  kPLSPredictors,    // causes 12-16
  kPLSDependents,    // causes 17-21
  kTMPLSPredictors,  // causes 22-26
  kTMPLSDependents,  // causes 27-31
  kBMPLSPredictors,  // causes 32-36
  kBMPLSDependents,  // causes 37-41
};

/// The "note shown" flags of one model: each automatic-removal note is shown once per model.
struct RemovalNotes {
  bool cases_noted = false;
  bool variables_noted = false;
};

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
  /// and not weighted zero.
  std::vector<std::size_t> TrainingCases() const;

  /// Read the selected variables over the training cases into a working matrix with one column
  /// per continuous variable and one dummy column per category of a categorical one. Cases with
  /// a non-integer code in a categorical variable are left out with the warning that says so.
  /// Throws `AnalysisStop` for an unknown variable name.
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

/// Screen the working data: first the cases (valid source variables: count against 2, then
/// percentage), then the columns (valid cases: count, percentage, then variance), removing what
/// fails when allowed or stopping with the check's message. Fills the removal flags, counts,
/// column statistics (valid count, mean, standard deviation) and the removal log, then checks the
/// counts that remain. `notes` keeps the once-per-model note flags.
void ScreenWorkingData(CAnalysisSupport& analysis,
                       const ScreeningOptions& options,
                       ScreeningKind kind,
                       RemovalNotes& notes,
                       WorkingData& data);

/// Fill `data.scale` from the scaling mode: the standard deviation, 1, or the user's value for
/// the column's source variable.
void ComputeColumnScales(const ScreeningOptions& options, WorkingData& data);

/// Send the two removal spreadsheets ("Removed variables and causes.", "Removed cases and
/// causes.") for whatever the log holds.
void ReportRemovals(const RemovalLog& log, OutputSink& output);

}  // namespace mspc
