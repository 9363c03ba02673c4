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

/// The codes of a case that takes part in the unfolding.
struct CaseCodes {
  double batch_code = 0.0;
  double time_code = 0.0;          // NaN without a time variable
  double process_code = 0.0;       // aggregated data: the code naming the case's variable
  bool carries_dependents = true;  // TMPLS: marked by the dependent identifier (or no identifier)
};

/// What becomes of a case of the table.
enum class CaseVerdict {
  kTaken,
  kLeftOut,             // not selected, zero or missing weight, or not in a chosen code list
  kMissingTimeStamp,    // ignored with a warning
  kMissingBatchCode,    // ignored with a warning
  kNonIntegerCategory,  // skipped with a warning
};

/// Everything the unfolding needs to know before its pass: the variables of each block, the
/// code lists and the counts I, K, J, D and T. The plan holds nothing per case, so planning
/// and unfolding take no memory beyond the code lists and the unfolded arrays.
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
  SourceVariable process_code_variable;  // aggregated data: its codes name the variables
  SourceVariable measurement_variable;   // aggregated data: the values
  std::optional<SourceVariable> dependent_identifier;

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

  std::vector<double> chosen_batch_codes;  // matched exactly; empty: every batch
  std::vector<double> chosen_time_codes;   // matched exactly; empty: every time
  double dependent_identifier_code = 1.0;

  std::size_t NumBatches() const { return batch_codes.size(); }
  std::size_t NumTimes() const { return time_values.size(); }
  std::size_t ColumnsPerTime() const { return process_columns.size(); }
  std::size_t DependentsPerSlot() const { return dependent_columns.size(); }
};

/// Check the selection and walk the table once to plan the unfolding: the code lists, the
/// categories and the counts. Each kind of ignored case (`ClassifyCase`) is warned about once
/// per pass. A categorical dependent that is not a whole number stops the analysis. Throws
/// `AnalysisStop` for a selection that cannot be unfolded.
BatchPlan PlanBatches(CAnalysisSupport& analysis,
                      const DataTable& table,
                      const BatchRequest& request);

/// Decide whether a case takes part, in this order: a case that the host's selection leaves
/// out or whose weight is zero or missing is left out; a case whose time stamp is missing
/// (empty or equal to the variable's missing-data code) is ignored; a case whose time code a
/// chosen list does not hold exactly is left out; then the same two tests for the batch code;
/// a case with a categorical process value (aggregated data: a process code) that is not a
/// whole number is skipped, and one that names no process variable is left out. Fills `codes`
/// for a case that is taken. Throws `AnalysisStop` when a case that carries dependents has a
/// categorical dependent that is not a whole number.
CaseVerdict ClassifyCase(const BatchPlan& plan,
                         const DataTable& table,
                         std::size_t case_index,
                         CaseCodes& codes);

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
