#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "frame/analysis_support.hpp"
#include "frame/startup_options.hpp"
#include "host/data_table.hpp"
#include "models/variable_info.hpp"

namespace mspc {

/// How the batches × variables × times array is unfolded into rows.
enum class BatchLayout {
  kBatchRows,      // one row per batch, columns k × J + j (TMPCA, TMPLS)
  kBatchTimeRows,  // one row per batch and time, row i × K + k, columns j; the time is the
                   // dependent (BMPLS)
};

/// What a batch model reads from the host table, and how. Variable roles are given by name.
struct BatchRequest {
  BatchLayout layout = BatchLayout::kBatchRows;
  std::string batch_variable;
  std::string time_variable;                     // empty: the case order inside a batch is the time
  std::vector<std::string> process_variables;    // in selection order
  std::vector<std::string> categorical;          // which process or dependent variables are
                                                 // categorical (besides those the table calls so)
  std::vector<std::string> dependent_variables;  // TMPLS only
  std::string dependent_identifier;              // empty: every case carries dependent values
  double dependent_identifier_code = 1.0;
  bool has_predictor_role = false;  // TMPLS: the selection checks speak of predictors
  std::vector<double> batch_codes;  // the chosen batches; empty: every batch
  std::vector<double> time_codes;   // the chosen times; empty: every time

  bool stacked = false;  // aggregated data: batch, time, process code and measurement
  std::string process_variable;
  std::string measurement_variable;

  bool raw = false;  // raw times, reduced to `num_time_intervals` intervals per batch
  int num_time_intervals = 10;

  int min_batches = 3;
  bool apply_memory_limit = false;
  int memory_limit_mb = 0;
  bool user_defined_scales = false;  // the batch readers take at most 100 such variables
};

/// The batch request of a Startup's options for a layout: TMPCA and BMPLS read `Variables`,
/// TMPLS (`with_dependents`) its predictors and dependents. The codes chosen for the batch and
/// time variables come from `FactorCodes`.
BatchRequest BatchRequestFrom(const StartupOptions& options,
                              BatchLayout layout,
                              bool with_dependents);

/// A selected variable as the reader sees it.
struct SourceVariable {
  std::size_t table_index = 0;
  bool categorical = false;
  std::optional<double> missing_code;
};

/// A cell of a selected variable with the table's conventions applied: NaN when the cell is
/// empty, not finite, or equal to the variable's missing-data code (within 15 units in the last
/// place).
double BatchCellValue(const DataTable& table, std::size_t case_index, const SourceVariable& source);

/// One of the J columns of a time interval (or one of the D dependent columns): the variable
/// behind it and, for a category of a categorical variable, the category's code.
struct BatchColumn {
  std::size_t source = 0;  // index into the plan's variables of the block
  double code = 0.0;       // category code; NaN for a continuous column
  std::string name;        // the variable's name, or "name: label" for a category
};

/// A case that takes part in the unfolding, with its batch and time already resolved.
struct PlannedCase {
  std::size_t case_index = 0;      // the host's 0-based case index
  std::size_t batch = 0;           // position in the batch code list
  std::size_t time = 0;            // time index; for raw data 0 until the times are binned
  double raw_time = 0.0;           // raw data: the case's raw time
  std::size_t column = 0;          // aggregated data: position of the case's process code
  bool carries_dependents = true;  // TMPLS: marked by the dependent identifier (or no identifier)
};

/// Everything the unfolding needs to know before its pass: the variables of each block, the
/// code lists, the counts I, K, J, D and T, and the cases in table order.
///
/// Order of the lists: batch codes and time codes are in ascending code order (a chosen list
/// is sorted too), so the time list is in time order and batch rows come out in code order
/// whatever the order of the table. Codes within 15 units in the last place of each other are
/// one code. Without a time variable the time index of a case is the number of cases of its
/// batch before it, in table order, and the time values are 0, 1, 2, ...; for raw data the
/// times are the interval numbers 1, 2, ..., N.
struct BatchPlan {
  BatchLayout layout = BatchLayout::kBatchRows;
  bool stacked = false;
  bool raw = false;
  bool has_time_variable = false;
  bool has_dependent_identifier = false;

  SourceVariable batch_variable;
  std::optional<SourceVariable> time_variable;
  SourceVariable measurement_variable;  // aggregated data

  std::vector<SourceVariable> process_sources;  // per process variable (aggregated: the
                                                // measurement variable, once per process code)
  std::vector<VariableInfo> process_variables;  // per process variable (aggregated: per code)
  std::vector<BatchColumn> process_columns;     // J entries
  std::vector<SourceVariable> dependent_sources;
  std::vector<VariableInfo> dependent_variables;
  std::vector<BatchColumn> dependent_columns;  // D entries

  std::vector<double> batch_codes;        // I entries
  std::vector<std::string> batch_labels;  // their text labels
  std::vector<double> time_values;        // K entries: time codes, numbers 0.. or 1..N
  std::vector<std::string> time_labels;   // their text labels
  std::size_t dependent_slots = 0;        // T

  std::vector<PlannedCase> cases;

  std::size_t NumBatches() const { return batch_codes.size(); }
  std::size_t NumTimes() const { return time_values.size(); }
  std::size_t ColumnsPerTime() const { return process_columns.size(); }
  std::size_t DependentsPerSlot() const { return dependent_columns.size(); }
};

/// Check the selection and walk the table once to plan the unfolding. A case is skipped when
/// the host's selection leaves it out or its weight is zero or missing; it is ignored, with a
/// warning given once per pass, when its time stamp or its batch code is missing (empty or
/// equal to the variable's missing-data code); it is ignored silently when a chosen list of
/// time or batch codes does not hold its code exactly; it is skipped, with the non-integer
/// warning once, when a categorical process value is not a whole number. A categorical
/// dependent that is not a whole number stops the analysis. Throws `AnalysisStop` for a
/// selection that cannot be unfolded.
BatchPlan PlanBatches(CAnalysisSupport& analysis,
                      const DataTable& table,
                      const BatchRequest& request);

/// The distinct codes of `values` in ascending order, codes within 15 units in the last place
/// of each other counting once (the first of them is kept). Non-finite values are left out.
std::vector<double> DistinctCodes(std::vector<double> values);
/// The position of the first code of an ascending list that equals `code` within 15 units in
/// the last place, or nothing.
std::optional<std::size_t> FindCode(const std::vector<double>& ascending_codes, double code);

/// The text of a code of a table variable: its label, or else the shortest text that reads
/// back as the same number.
std::string CodeLabelText(const DataTable& table, std::size_t variable, double code);
/// The shortest text that reads back as the same number.
std::string NumberText(double value);

}  // namespace mspc
