#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "batch/batch_reader.hpp"
#include "frame/analysis_support.hpp"
#include "frame/screening.hpp"
#include "frame/working_data.hpp"
#include "host/data_table.hpp"
#include "host/errors.hpp"
#include "host/output_sink.hpp"

namespace mspc {

/// Running count, mean and sum of squared deviations of each column (Welford, Technometrics 4
/// (1962) 419-420), gathered while the unfolded matrix is filled.
struct RunningMoments {
  std::vector<double> count;               // n
  std::vector<double> mean;                // running mean
  std::vector<double> squared_deviations;  // M2 = sum (x - mean)^2

  RunningMoments() = default;
  explicit RunningMoments(std::size_t columns)
      : count(columns, 0.0), mean(columns, 0.0), squared_deviations(columns, 0.0) {}

  /// sqrt(M2 / (n - 1)); NaN when fewer than two values were seen.
  double StandardDeviation(std::size_t col) const;
};

/// One array set's view of running moments, as the unfolding writes them.
struct MomentSpans {
  std::span<double> count;
  std::span<double> mean;
  std::span<double> squared_deviations;
};

/// The arrays the unfolding fills. The unfolded matrix must arrive with every cell set to the
/// missing marker and the moments and counters at zero.
struct UnfoldArrays {
  std::span<double> x;  // the unfolded process data, row-major
  MomentSpans x_moments;
  std::span<double> y;  // TMPLS: the dependents (I × TD); BMPLS: the time (I·K × 1)
  MomentSpans y_moments;
  std::span<int> batch_counters;      // per batch: cases (raw data: intervals) placed
  std::span<int> dependent_counters;  // per batch: dependent values placed
};

/// Rows and columns of the arrays of a plan.
struct UnfoldShape {
  std::size_t rows = 0;  // TMPCA, TMPLS: I; BMPLS: I × K
  std::size_t cols = 0;  // TMPCA, TMPLS: J × K; BMPLS: J
  std::size_t y_rows = 0;
  std::size_t y_cols = 0;  // TMPLS: T × D; BMPLS: 1; TMPCA: 0
};
UnfoldShape ShapeOf(const BatchPlan& plan);

/// Status of the unfold operation.
enum class UnfoldStatus : int { kOk = 0, kArrayAbsent = 3 };

struct UnfoldOutcome {
  UnfoldStatus status = UnfoldStatus::kOk;
  /// A batch-rows layout met a second case for a slot already filled (its values were not
  /// written); the time-code check stops such data.
  bool repeated_slots = false;
};

/// Place the planned cases into the arrays in one pass over the table, in table order.
///
/// One row per batch: batch i, time k and variable column j go to row i, column k × J + j. One
/// row per batch and time: to row i × K + k, column j, and the row's dependent is the time value
/// of k. Dependents of TMPLS go to row i, column t × D + d, t being the time index, or with a
/// dependent identifier the number of marked cases of the batch before this one. A value that
/// is missing leaves its cell missing; every written value updates its column's moments.
/// Raw data are first reduced to the plan's intervals per batch (`BinRawTimes`), and the
/// intervals are placed as cases. Returns `kArrayAbsent` when an array does not have the
/// plan's size; throws `AnalysisStop` ("Some repeated cases") when a batch-time row is met twice.
UnfoldOutcome Unfold(const BatchPlan& plan, const DataTable& table, const UnfoldArrays& arrays);

/// The unfolded data of a batch model and the counts and labels that go with them.
struct BatchData {
  BatchLayout layout = BatchLayout::kBatchRows;
  bool stacked = false;
  bool raw = false;
  bool has_time_variable = false;
  std::size_t num_batches = 0;          // I
  std::size_t num_times = 0;            // K
  std::size_t columns_per_time = 0;     // J
  std::size_t dependents_per_slot = 0;  // D
  std::size_t dependent_slots = 0;      // T
  std::vector<double> batch_codes;
  std::vector<std::string> batch_labels;
  std::vector<double> time_values;
  std::vector<std::string> time_labels;
  std::vector<BatchColumn> process_columns;  // the J columns of a time interval

  /// The process data: the unfolded matrix with column names "variable {time}" (one row per
  /// batch) or the variable names (one row per batch and time), row names the batch labels
  /// (or "batch {time}"), and every column's source variable, ready for screening.
  WorkingData predictors;
  RunningMoments predictor_moments;
  /// TMPLS: the dependent matrix; BMPLS: the time column; TMPCA: empty.
  WorkingData dependents;
  RunningMoments dependent_moments;

  std::vector<int> cases_per_batch;       // cases placed per batch (raw data: intervals)
  std::vector<int> dependents_per_batch;  // dependent values placed per batch
};

/// Plan and unfold the host table's batch data and make the checks that follow the pass, in
/// this order: the minimum number of batches, equal numbers of time intervals, the time codes
/// against K, equal numbers of dependent values, then for one row per batch and time the range
/// of the time values (-3200 to 3200) and the time variance. With raw data every stop after
/// the pre-processing has the data-in-raw-form wording (`RawDataRewording`). The memory limit,
/// when applied, is checked before anything is allocated. Throws `AnalysisStop`; nothing
/// outlives a failed preparation.
BatchData PrepareBatchData(CAnalysisSupport& analysis, const BatchRequest& request);

/// The names of a block's variables, in column order.
std::vector<std::string> VariableNames(const WorkingData& block);

/// Screen one block of batch data (`data.predictors` or `data.dependents`) as the batch models
/// do: the rows are batches (or batches at times), named by their labels in the stop messages,
/// and the columns are variables at times, named "variable {time}". Removals are noted, logged
/// and reported to the host's output; stops of raw data have their data-in-raw-form wording.
/// Then the column scales of `options` are computed.
void ScreenBatchBlock(CAnalysisSupport& analysis,
                      ScreeningOptions options,
                      ScreeningKind kind,
                      RemovalNotes& notes,
                      const BatchData& data,
                      WorkingData& block);

/// The data-in-raw-form wording of a stop: "The Data-in-raw-form option was set, and after data
/// pre-processing, " followed by the stop's text with its first letter in lower case, and, when
/// `interactive`, the sentence that offers the pre-processed data. The id stays the check's.
AnalysisStop RawDataStop(const AnalysisStop& stop, bool interactive);

/// How the stops of raw data are worded: empty for data that were not raw. Interactively the
/// rewording also hands the pre-processed data to the host's output as a spreadsheet, which
/// is what the offer in the message leads to. The function refers to `data`, which must
/// outlive it.
std::function<AnalysisStop(const AnalysisStop&)> RawDataRewording(CAnalysisSupport& analysis,
                                                                  const BatchData& data);

/// The pre-processed (binned) process data as a spreadsheet: one row per batch and time.
Spreadsheet PreprocessedDataSheet(const BatchData& data);

}  // namespace mspc
