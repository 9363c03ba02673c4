#include "batch/unfolding.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>
#include <utility>

#include "batch/raw_time_binning.hpp"
#include "frame/data_reader.hpp"
#include "frame/screening.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"

namespace mspc {
namespace {

// The time values that become a dependent must fit this range.
constexpr double kMinDependentTime = -3200.0;
constexpr double kMaxDependentTime = 3200.0;

// The values of one case in a block's columns: the value of a continuous variable, 1 or 0 in
// the columns of a categorical one (missing in all of them when the cell is missing).
void ReadColumns(const DataTable& table,
                 std::size_t case_index,
                 const std::vector<SourceVariable>& sources,
                 const std::vector<BatchColumn>& columns,
                 std::vector<double>& source_values,
                 std::span<double> values) {
  source_values.resize(sources.size());
  for (std::size_t source = 0; source < sources.size(); ++source) {
    source_values[source] = BatchCellValue(table, case_index, sources[source]);
  }
  for (std::size_t col = 0; col < columns.size(); ++col) {
    const double value = source_values[columns[col].source];
    const double code = columns[col].code;
    if (!sources[columns[col].source].categorical || IsMissing(value) || IsMissing(code)) {
      values[col] = value;
    } else {
      // Both sides are whole numbers: exact equality keeps neighbouring large codes apart.
      values[col] = std::round(value) == code ? 1.0 : 0.0;
    }
  }
}

void AddToMoments(const MomentSpans& moments, std::size_t col, double value) {
  const double count = moments.count[col] + 1.0;  // n
  const double delta = value - moments.mean[col];
  const double mean = moments.mean[col] + delta / count;
  moments.count[col] = count;
  moments.mean[col] = mean;
  moments.squared_deviations[col] += (value - mean) * delta;
}

// Writes cases into the layout of the plan and keeps the moments and counters.
class Placer {
 public:
  Placer(const BatchPlan& plan, const UnfoldArrays& arrays)
      : plan_(plan),
        arrays_(arrays),
        shape_(ShapeOf(plan)),
        num_times_(plan.NumTimes()),
        columns_per_time_(plan.ColumnsPerTime()),
        slots_per_time_(plan.stacked ? plan.ColumnsPerTime() : 1),
        filled_(plan.NumBatches() * plan.NumTimes() * slots_per_time_, false) {}

  // Place the process values of one case (or one interval of raw data) of batch `batch` at
  // time `time`; `values` are the columns from `first_column` on. Returns false when the slot
  // was filled before: then nothing is written.
  bool PlaceProcess(std::size_t batch,
                    std::size_t time,
                    std::span<const double> values,
                    std::size_t first_column) {
    ++arrays_.batch_counters[batch];
    // A slot is a batch and time, and for aggregated data also one process variable.
    const std::size_t slot = (batch * num_times_ + time) * slots_per_time_;
    const std::size_t first_slot = plan_.stacked ? slot + first_column : slot;
    const std::size_t num_slots = plan_.stacked ? values.size() : 1;
    for (std::size_t index = first_slot; index < first_slot + num_slots; ++index) {
      if (!filled_[index]) continue;
      // A batch-time row holds one observation; the time-wise layouts leave repeated slots to
      // the time-code check, which names the cause.
      if (plan_.layout == BatchLayout::kBatchTimeRows) {
        throw AnalysisStop::With(MessageId::kRepeatedCases);
      }
      repeated_slots_ = true;
      return false;
    }
    std::fill_n(filled_.begin() + static_cast<std::ptrdiff_t>(first_slot), num_slots, true);

    const bool batch_rows = plan_.layout == BatchLayout::kBatchRows;
    const std::size_t row = batch_rows ? batch : batch * num_times_ + time;
    const std::size_t first_col = batch_rows ? time * columns_per_time_ : 0;
    for (std::size_t index = 0; index < values.size(); ++index) {
      const double value = values[index];
      if (IsMissing(value)) continue;
      const std::size_t col = first_col + first_column + index;
      arrays_.x[row * shape_.cols + col] = value;
      AddToMoments(arrays_.x_moments, col, value);
    }
    // The dependent of a batch-time row is its time, written once per row.
    if (!batch_rows && IsMissing(arrays_.y[row])) {
      const double time_value = plan_.time_values[time];
      arrays_.y[row] = time_value;
      AddToMoments(arrays_.y_moments, 0, time_value);
    }
    return true;
  }

  // Place the dependent values of one case of batch `batch` into slot `slot`.
  void PlaceDependents(std::size_t batch, std::size_t slot, std::span<const double> values) {
    ++arrays_.dependent_counters[batch];
    if (slot >= plan_.dependent_slots) return;
    const std::size_t first_col = slot * values.size();
    for (std::size_t index = 0; index < values.size(); ++index) {
      const double value = values[index];
      if (IsMissing(value)) continue;
      const std::size_t col = first_col + index;
      arrays_.y[batch * shape_.y_cols + col] = value;
      AddToMoments(arrays_.y_moments, col, value);
    }
  }

  int DependentCount(std::size_t batch) const { return arrays_.dependent_counters[batch]; }
  bool repeated_slots() const { return repeated_slots_; }

 private:
  const BatchPlan& plan_;
  const UnfoldArrays& arrays_;
  const UnfoldShape shape_;
  const std::size_t num_times_;
  const std::size_t columns_per_time_;
  const std::size_t slots_per_time_;
  std::vector<bool> filled_;  // per slot
  bool repeated_slots_ = false;
};

bool HasSize(std::span<const double> array, std::size_t size) {
  return array.size() == size && (size == 0 || array.data() != nullptr);
}

bool HasMoments(const MomentSpans& moments, std::size_t size) {
  return HasSize(moments.count, size) && HasSize(moments.mean, size) &&
         HasSize(moments.squared_deviations, size);
}

bool ArraysFit(const BatchPlan& plan, const UnfoldArrays& arrays) {
  const UnfoldShape shape = ShapeOf(plan);
  const std::size_t num_batches = plan.NumBatches();
  return HasSize(arrays.x, shape.rows * shape.cols) && HasMoments(arrays.x_moments, shape.cols) &&
         HasSize(arrays.y, shape.y_rows * shape.y_cols) &&
         HasMoments(arrays.y_moments, shape.y_cols) &&
         arrays.batch_counters.size() == num_batches &&
         arrays.dependent_counters.size() == num_batches;
}

// A case of the table placed in the plan: its batch, its time index (or its position among
// its batch's cases) and, for aggregated data, its column.
struct CasePlace {
  std::size_t batch = 0;
  std::size_t time = 0;
  std::size_t column = 0;
  double raw_time = 0.0;
};

// Walks the table's cases in table order and finds the place of each case that takes part.
class CaseWalk {
 public:
  CaseWalk(const BatchPlan& plan, const DataTable& table)
      : plan_(plan), table_(table), seen_(plan.NumBatches(), 0) {
    for (const BatchColumn& column : plan.process_columns) process_codes_.push_back(column.code);
  }

  // Calls `visit(case_index, codes, place)` for every case that takes part.
  template <typename Visit>
  void Run(Visit&& visit) {
    for (std::size_t case_index = 0; case_index < table_.NumCases(); ++case_index) {
      CaseCodes codes;
      if (ClassifyCase(plan_, table_, case_index, codes) != CaseVerdict::kTaken) continue;
      // The plan's lists were made from the same cases, so every code has its place; a code
      // without one is left out rather than guessed.
      const std::optional<std::size_t> batch = FindCode(plan_.batch_codes, codes.batch_code);
      if (!batch) continue;
      CasePlace place;
      place.batch = *batch;
      // Without a time variable the number of cases of the batch before this one is its time.
      const std::size_t position = seen_[place.batch]++;
      place.time = position;
      place.raw_time = plan_.has_time_variable ? codes.time_code : static_cast<double>(position);
      if (plan_.has_time_variable && !plan_.raw) {
        const std::optional<std::size_t> time = FindCode(plan_.time_values, codes.time_code);
        if (!time) continue;
        place.time = *time;
      }
      if (plan_.stacked) {
        const std::optional<std::size_t> column =
            FindCode(process_codes_, std::round(codes.process_code));
        if (!column) continue;
        place.column = *column;
      }
      if (place.time >= plan_.NumTimes() && !plan_.raw) continue;
      visit(case_index, codes, place);
    }
  }

 private:
  const BatchPlan& plan_;
  const DataTable& table_;
  std::vector<std::size_t> seen_;      // per batch: cases met so far
  std::vector<double> process_codes_;  // aggregated data: the codes of the columns
};

// The one pass over the table for data that are not raw.
void PlaceTableCases(const BatchPlan& plan, const DataTable& table, Placer& placer) {
  std::vector<double> source_values;
  std::vector<double> process(plan.ColumnsPerTime());
  std::vector<double> dependents(plan.DependentsPerSlot());
  const bool has_dependents = !dependents.empty();
  CaseWalk walk(plan, table);
  walk.Run([&](std::size_t case_index, const CaseCodes& codes, const CasePlace& place) {
    if (plan.stacked) {
      const double value = BatchCellValue(table, case_index, plan.measurement_variable);
      placer.PlaceProcess(place.batch, place.time, {&value, 1}, place.column);
      return;
    }
    ReadColumns(
        table, case_index, plan.process_sources, plan.process_columns, source_values, process);
    const bool placed = placer.PlaceProcess(place.batch, place.time, process, 0);
    if (!has_dependents || !codes.carries_dependents) return;
    ReadColumns(table,
                case_index,
                plan.dependent_sources,
                plan.dependent_columns,
                source_values,
                dependents);
    if (plan.has_dependent_identifier) {
      placer.PlaceDependents(place.batch, placer.DependentCount(place.batch), dependents);
    } else if (placed) {
      placer.PlaceDependents(place.batch, place.time, dependents);
    }
  });
}

// The cases of one batch of raw data, gathered in the pass: their raw times and their values
// (process columns, then the dependents that are reduced with them), and the dependents of the
// marked cases that fill the slots in table order.
struct RawBatch {
  std::vector<double> times;
  std::vector<double> values;  // one row of `width` per case
  std::vector<double> marked;  // one row of D per marked case
};

// Raw data: the pass gathers each batch's cases, then every batch is reduced to the plan's
// intervals and the intervals are placed. Without a dependent identifier the dependents are
// reduced with the process values; with one, the marked cases fill the dependent slots in
// table order as usual.
void PlaceBinnedCases(const BatchPlan& plan, const DataTable& table, Placer& placer) {
  const std::size_t num_process = plan.ColumnsPerTime();
  const std::size_t num_dependents = plan.DependentsPerSlot();
  const bool binned_dependents = num_dependents > 0 && !plan.has_dependent_identifier;
  const std::size_t width = num_process + (binned_dependents ? num_dependents : 0);

  std::vector<RawBatch> batches(plan.NumBatches());
  std::vector<double> source_values;
  std::vector<double> row(width);
  std::vector<double> dependents(num_dependents);
  CaseWalk walk(plan, table);
  walk.Run([&](std::size_t case_index, const CaseCodes& codes, const CasePlace& place) {
    RawBatch& batch = batches[place.batch];
    std::fill(row.begin(), row.end(), kMissingValue);
    if (plan.stacked) {
      row[place.column] = BatchCellValue(table, case_index, plan.measurement_variable);
    } else {
      const std::span<double> cells(row);
      ReadColumns(table,
                  case_index,
                  plan.process_sources,
                  plan.process_columns,
                  source_values,
                  cells.first(num_process));
      if (num_dependents > 0 && codes.carries_dependents) {
        ReadColumns(table,
                    case_index,
                    plan.dependent_sources,
                    plan.dependent_columns,
                    source_values,
                    binned_dependents ? cells.subspan(num_process) : std::span<double>(dependents));
        if (!binned_dependents) {
          batch.marked.insert(batch.marked.end(), dependents.begin(), dependents.end());
        }
      }
    }
    batch.times.push_back(place.raw_time);
    batch.values.insert(batch.values.end(), row.begin(), row.end());
  });

  for (std::size_t index = 0; index < batches.size(); ++index) {
    RawBatch& batch = batches[index];
    DMatrix values(batch.times.size(), width, kMissingValue);
    std::copy(batch.values.begin(), batch.values.end(), values.data());
    batch.values = {};  // held once: the matrix has them now
    const BinnedBatch binned = BinRawTimes(batch.times, values, plan.NumTimes());
    for (std::size_t interval = 0; interval < plan.NumTimes(); ++interval) {
      if (binned.counts[interval] == 0) continue;
      const std::span<const double> cells = binned.means.Row(interval);
      placer.PlaceProcess(index, interval, cells.first(num_process), 0);
      if (binned_dependents) placer.PlaceDependents(index, interval, cells.subspan(num_process));
    }
    for (std::size_t first = 0; first < batch.marked.size(); first += num_dependents) {
      const std::span<const double> marked(batch.marked.data() + first, num_dependents);
      placer.PlaceDependents(index, placer.DependentCount(index), marked);
    }
  }
}

MomentSpans SpansOf(RunningMoments& moments) {
  return {moments.count, moments.mean, moments.squared_deviations};
}

// The working data of one block, with every row and column kept.
WorkingData NewBlock(std::size_t rows,
                     std::vector<std::size_t> column_source,
                     std::vector<double> column_code,
                     std::vector<std::string> column_names,
                     std::vector<VariableInfo> variables,
                     std::vector<std::string> row_names) {
  WorkingData block;
  const std::size_t cols = column_source.size();
  block.x = DMatrix(rows, cols, BatchMissingValue());
  block.column_source = std::move(column_source);
  block.column_code = std::move(column_code);
  block.column_names = std::move(column_names);
  block.variables = std::move(variables);
  block.case_names = std::move(row_names);
  for (std::size_t row = 0; row < rows; ++row)
    block.case_numbers.push_back(static_cast<int>(row) + 1);
  block.removed_cases.assign(rows, false);
  block.removed_columns.assign(cols, false);
  return block;
}

// Allocate the arrays of a plan, every cell missing and every statistic at zero.
BatchData NewBatchData(const BatchPlan& plan, const BatchRequest& request) {
  BatchData data;
  data.layout = plan.layout;
  data.stacked = plan.stacked;
  data.raw = plan.raw;
  data.has_time_variable = plan.has_time_variable;
  data.num_batches = plan.NumBatches();
  data.num_times = plan.NumTimes();
  data.columns_per_time = plan.ColumnsPerTime();
  data.dependents_per_slot = plan.DependentsPerSlot();
  data.dependent_slots = plan.dependent_slots;
  data.batch_codes = plan.batch_codes;
  data.batch_labels = plan.batch_labels;
  data.time_values = plan.time_values;
  data.time_labels = plan.time_labels;
  data.process_columns = plan.process_columns;

  const UnfoldShape shape = ShapeOf(plan);
  const std::size_t num_batches = data.num_batches;
  const std::size_t num_times = data.num_times;
  std::vector<std::size_t> source;
  std::vector<double> code;
  std::vector<std::string> names;
  std::vector<std::string> row_names;
  if (plan.layout == BatchLayout::kBatchRows) {
    for (std::size_t time = 0; time < num_times; ++time) {
      for (const BatchColumn& column : plan.process_columns) {
        source.push_back(column.source);
        code.push_back(column.code);
        names.push_back(
            FormatMessage(MessageId::kVariableAtTime, column.name, plan.time_labels[time]));
      }
    }
    row_names = plan.batch_labels;
  } else {
    for (const BatchColumn& column : plan.process_columns) {
      source.push_back(column.source);
      code.push_back(column.code);
      names.push_back(column.name);
    }
    for (std::size_t batch = 0; batch < num_batches; ++batch) {
      for (std::size_t time = 0; time < num_times; ++time) {
        row_names.push_back(FormatMessage(
            MessageId::kVariableAtTime, plan.batch_labels[batch], plan.time_labels[time]));
      }
    }
  }
  data.predictors = NewBlock(shape.rows,
                             std::move(source),
                             std::move(code),
                             std::move(names),
                             plan.process_variables,
                             row_names);
  data.predictor_moments = RunningMoments(shape.cols);

  source.clear();
  code.clear();
  names.clear();
  std::vector<VariableInfo> dependent_variables = plan.dependent_variables;
  if (plan.layout == BatchLayout::kBatchTimeRows) {
    // The single dependent is the time.
    VariableInfo time;
    time.name = plan.has_time_variable ? request.time_variable
                                       : std::string(MessageText(MessageId::kTimeHeader));
    time.role = VariableRole::kDependent;
    dependent_variables = {time};
    source.push_back(0);
    code.push_back(kMissingValue);
    names.push_back(time.name);
  } else {
    for (std::size_t slot = 0; slot < plan.dependent_slots; ++slot) {
      // Slots of marked cases are numbered from 1; slots of times carry the time's label.
      const std::string slot_label =
          plan.has_dependent_identifier ? std::to_string(slot + 1) : plan.time_labels[slot];
      for (const BatchColumn& column : plan.dependent_columns) {
        source.push_back(column.source);
        code.push_back(column.code);
        names.push_back(FormatMessage(MessageId::kVariableAtTime, column.name, slot_label));
      }
    }
  }
  for (VariableInfo& info : dependent_variables) info.role = VariableRole::kDependent;
  if (shape.y_rows == 0) row_names.clear();
  data.dependents = NewBlock(shape.y_rows,
                             std::move(source),
                             std::move(code),
                             std::move(names),
                             std::move(dependent_variables),
                             std::move(row_names));
  data.dependent_moments = RunningMoments(shape.y_cols);
  if (plan.layout == BatchLayout::kBatchRows) {
    data.predictors.row_header = MessageId::kBatchHeader;
    data.dependents.row_header = MessageId::kBatchHeader;
  }
  data.cases_per_batch.assign(num_batches, 0);
  data.dependents_per_batch.assign(num_batches, 0);
  return data;
}

UnfoldArrays ArraysOf(BatchData& data) {
  UnfoldArrays arrays;
  arrays.x = {data.predictors.x.data(), data.predictors.x.rows() * data.predictors.x.cols()};
  arrays.x_moments = SpansOf(data.predictor_moments);
  arrays.y = {data.dependents.x.data(), data.dependents.x.rows() * data.dependents.x.cols()};
  arrays.y_moments = SpansOf(data.dependent_moments);
  arrays.batch_counters = data.cases_per_batch;
  arrays.dependent_counters = data.dependents_per_batch;
  return arrays;
}

bool AllEqual(const std::vector<int>& counts) {
  return std::adjacent_find(counts.begin(), counts.end(), std::not_equal_to<>()) == counts.end();
}

// The checks that follow the pass, in their order; `stop` words the stop (raw data).
void CheckUnfolded(const BatchPlan& plan,
                   const BatchRequest& request,
                   const UnfoldOutcome& outcome,
                   const BatchData& data,
                   const std::function<AnalysisStop(const AnalysisStop&)>& reword) {
  const auto stop = [&](const AnalysisStop& check) { return reword ? reword(check) : check; };
  const int num_batches = static_cast<int>(data.num_batches);
  if (num_batches < request.min_batches) {
    throw stop(AnalysisStop::With(MessageId::kTooFewBatches, request.min_batches));
  }

  // Every batch must have as many time intervals as the others: its cases (aggregated data:
  // its cases per process variable); raw data must fill every interval of every batch.
  const int num_times = static_cast<int>(data.num_times);
  std::vector<int> intervals = data.cases_per_batch;
  bool equal = true;
  if (plan.raw) {
    equal = std::all_of(
        intervals.begin(), intervals.end(), [&](int count) { return count == num_times; });
  } else if (plan.stacked) {
    const int num_codes = static_cast<int>(data.columns_per_time);
    long long total = 0;
    for (int& count : intervals) {
      total += count;
      count = num_codes > 0 ? count / num_codes : 0;
    }
    equal = AllEqual(intervals) &&
            (intervals.empty() ||
             total == static_cast<long long>(intervals.front()) * num_codes * num_batches);
  } else {
    equal = AllEqual(intervals);
  }
  if (!equal) throw stop(AnalysisStop::With(MessageId::kUnequalTimeIntervals));

  // With a time variable each batch must have one case at every time code.
  if (plan.has_time_variable && !plan.raw && !intervals.empty() &&
      (intervals.front() != num_times || outcome.repeated_slots)) {
    throw stop(AnalysisStop::With(MessageId::kCheckTimeCodes));
  }

  if (data.dependents_per_slot > 0 && !AllEqual(data.dependents_per_batch)) {
    // With a dependent identifier two unequal counts have their own messages: a batch where
    // the identifier marks no case, and a batch with several marked cases where the others
    // carry one value each.
    const auto [fewest, most] =
        std::minmax_element(data.dependents_per_batch.begin(), data.dependents_per_batch.end());
    if (plan.has_dependent_identifier && *fewest == 0) {
      throw stop(AnalysisStop::With(MessageId::kDependentIdentifierNotMatching));
    }
    if (plan.has_dependent_identifier && *fewest == 1 && *most > 1) {
      throw stop(AnalysisStop::With(MessageId::kMultipleDependentValues));
    }
    throw stop(AnalysisStop::With(MessageId::kUnequalDependentValues));
  }

  if (plan.layout == BatchLayout::kBatchTimeRows) {
    for (const double time : data.time_values) {
      if (!std::isfinite(time) || !TolerantAtLeast(time, kMinDependentTime) ||
          !TolerantAtMost(time, kMaxDependentTime)) {
        throw stop(AnalysisStop::With(MessageId::kDependentTimeCodeRange));
      }
    }
    const double deviation = data.dependent_moments.StandardDeviation(0);
    if (IsMissing(deviation) || IsTolerantZero(deviation)) {
      throw stop(AnalysisStop::With(MessageId::kNoTimeVariance));
    }
  }
}

// The row of the unfolded matrix and the first column that hold batch `batch` at time `time`.
std::pair<std::size_t, std::size_t> CellOf(const BatchData& data,
                                           std::size_t batch,
                                           std::size_t time) {
  if (data.layout == BatchLayout::kBatchRows) return {batch, time * data.columns_per_time};
  return {batch * data.num_times + time, 0};
}

}  // namespace

double RunningMoments::StandardDeviation(std::size_t col) const {
  // Fewer than two values leave the deviation undefined.
  if (!TolerantGreater(count[col], 1.0)) return kMissingValue;
  return std::sqrt(squared_deviations[col] / (count[col] - 1.0));
}

UnfoldShape ShapeOf(const BatchPlan& plan) {
  UnfoldShape shape;
  const std::size_t num_batches = plan.NumBatches();
  const std::size_t num_times = plan.NumTimes();
  const std::size_t columns_per_time = plan.ColumnsPerTime();
  if (plan.layout == BatchLayout::kBatchRows) {
    shape.rows = num_batches;
    shape.cols = columns_per_time * num_times;
    shape.y_rows = plan.DependentsPerSlot() > 0 ? num_batches : 0;
    shape.y_cols = plan.DependentsPerSlot() * plan.dependent_slots;
  } else {
    shape.rows = num_batches * num_times;
    shape.cols = columns_per_time;
    shape.y_rows = shape.rows;
    shape.y_cols = 1;
  }
  return shape;
}

UnfoldOutcome Unfold(const BatchPlan& plan, const DataTable& table, const UnfoldArrays& arrays) {
  UnfoldOutcome outcome;
  if (!ArraysFit(plan, arrays)) {
    outcome.status = UnfoldStatus::kArrayAbsent;
    return outcome;
  }
  Placer placer(plan, arrays);
  if (plan.raw) {
    PlaceBinnedCases(plan, table, placer);
  } else {
    PlaceTableCases(plan, table, placer);
  }
  outcome.repeated_slots = placer.repeated_slots();
  return outcome;
}

BatchData PrepareBatchData(CAnalysisSupport& analysis, const BatchRequest& request) {
  const DataTable* table = analysis.host().table;
  if (table == nullptr) throw AnalysisStop::With(MessageId::kNoDataTable);
  const BatchPlan plan = PlanBatches(analysis, *table, request);
  if (request.apply_memory_limit) {
    const UnfoldShape shape = ShapeOf(plan);
    CheckMemoryLimit(shape.rows, shape.cols, request.memory_limit_mb);
  }
  BatchData data = NewBatchData(plan, request);
  const UnfoldOutcome outcome = Unfold(plan, *table, ArraysOf(data));
  if (outcome.status != UnfoldStatus::kOk) {
    throw AnalysisStop::With(MessageId::kMemoryAllocationFailed);
  }
  CheckUnfolded(plan, request, outcome, data, RawDataRewording(analysis, data));
  return data;
}

void ScreenBatchBlock(CAnalysisSupport& analysis,
                      ScreeningOptions options,
                      ScreeningKind kind,
                      RemovalNotes& notes,
                      const BatchData& data,
                      WorkingData& block) {
  options.reword_stop = RawDataRewording(analysis, data);
  ScreenWorkingData(analysis, options, kind, notes, block, ScreenedRows::kBatches);
  if (analysis.host().output != nullptr) ReportRemovals(block.removals, *analysis.host().output);
  ComputeColumnScales(options, block);
}

AnalysisStop RawDataStop(const AnalysisStop& stop, bool interactive) {
  std::string check = stop.text();
  // "The number ..." becomes "the number ...", but a leading acronym keeps its capitals.
  if (check.size() > 1 && std::isupper(static_cast<unsigned char>(check[0])) &&
      std::islower(static_cast<unsigned char>(check[1]))) {
    check[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(check[0])));
  }
  std::string text = FormatMessage(MessageId::kRawDataPrefix) + " " + check;
  if (interactive) text += " " + FormatMessage(MessageId::kRawDataClickOK);
  return AnalysisStop(stop.id(), std::move(text));
}

std::function<AnalysisStop(const AnalysisStop&)> RawDataRewording(CAnalysisSupport& analysis,
                                                                  const BatchData& data) {
  if (!data.raw) return {};
  return [&analysis, &data](const AnalysisStop& stop) {
    const bool interactive = !analysis.IsOleAutomation();
    if (interactive && analysis.host().output != nullptr) {
      analysis.host().output->AddSpreadsheet(PreprocessedDataSheet(data));
    }
    return RawDataStop(stop, interactive);
  };
}

Spreadsheet PreprocessedDataSheet(const BatchData& data) {
  Spreadsheet sheet;
  sheet.title = FormatMessage(MessageId::kPreprocessedDataTitle);
  sheet.row_header = FormatMessage(MessageId::kBatchHeader);
  sheet.columns.push_back(FormatMessage(MessageId::kTimeHeader));
  for (const BatchColumn& column : data.process_columns) sheet.columns.push_back(column.name);
  const DMatrix& x = data.predictors.x;
  for (std::size_t batch = 0; batch < data.num_batches; ++batch) {
    for (std::size_t time = 0; time < data.num_times; ++time) {
      ReportRow row;
      row.label = data.batch_labels[batch];
      row.cells.emplace_back(data.time_labels[time]);
      const auto [x_row, first_col] = CellOf(data, batch, time);
      for (std::size_t col = 0; col < data.columns_per_time; ++col) {
        const double value = x(x_row, first_col + col);
        if (IsMissing(value)) {
          row.cells.emplace_back(std::monostate{});
        } else {
          row.cells.emplace_back(value);
        }
      }
      sheet.rows.push_back(std::move(row));
    }
  }
  return sheet;
}

std::vector<std::string> VariableNames(const WorkingData& block) {
  std::vector<std::string> names;
  for (const VariableInfo& info : block.variables) names.push_back(info.name);
  return names;
}

}  // namespace mspc
