#include "batch/batch_reader.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <set>
#include <utility>

#include "frame/screening.hpp"
#include "host/errors.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"

namespace mspc {
namespace {

constexpr int kMinProcessVariables = 2;
constexpr int kMinTimeIntervals = 2;
// The batch readers take user-defined deviations for at most this many variables.
constexpr int kMaxUserScaledVariables = 100;
// Aggregated data have exactly these four variables: batch, time, process code, measurement.
constexpr int kStackedVariables = 4;

bool IsWholeNumber(double value) { return TolerantEqual(value, std::round(value)); }

bool Contains(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

SourceVariable Resolve(const DataTable& table,
                       const std::string& name,
                       const std::vector<std::string>& categorical) {
  const std::optional<std::size_t> found = table.FindVariable(name);
  if (!found) throw AnalysisStop::With(MessageId::kVariableNotInTable, StripRichText(name));
  SourceVariable source;
  source.table_index = *found;
  source.categorical = table.IsCategorical(*found) || Contains(categorical, name);
  source.missing_code = table.MissingDataCode(*found);
  return source;
}

// Whether a chosen list holds the code exactly. The chosen lists are matched exactly on
// purpose; the position in the list is then found with the tolerant comparison.
bool HoldsExactly(const std::vector<double>& chosen, double code) {
  return std::find(chosen.begin(), chosen.end(), code) != chosen.end();
}

// The selection checks made before the table is read.
void CheckRequest(const DataTable& table, const BatchRequest& request) {
  if (request.batch_variable.empty()) throw AnalysisStop::With(MessageId::kNoBatchVariable);
  if (request.stacked) {
    // Aggregated data have no other variables than their four.
    if (!request.process_variables.empty()) {
      throw AnalysisStop::With(MessageId::kTooManyVariables, kStackedVariables);
    }
    if (request.process_variable.empty() || request.measurement_variable.empty()) {
      throw AnalysisStop::With(MessageId::kTooFewVariables);
    }
    if (request.time_variable.empty()) {
      throw AnalysisStop::With(MessageId::kStackedNeedsTimeVariable);
    }
  } else if (static_cast<int>(request.process_variables.size()) < kMinProcessVariables) {
    throw AnalysisStop::With(request.has_predictor_role ? MessageId::kTooFewPredictors
                                                        : MessageId::kTooFewVariables);
  }
  for (const std::string* name : {&request.batch_variable, &request.time_variable}) {
    if (!name->empty() && !table.FindVariable(*name)) {
      throw AnalysisStop::With(MessageId::kVariableNotInTable, StripRichText(*name));
    }
  }
  if (request.raw && request.num_time_intervals < kMinTimeIntervals) {
    throw AnalysisStop::With(MessageId::kTooFewTimeIntervals);
  }
  if (request.user_defined_scales &&
      static_cast<int>(request.process_variables.size()) > kMaxUserScaledVariables) {
    throw AnalysisStop::With(MessageId::kTooManyUserDefinedScales, kMaxUserScaledVariables);
  }
}

// The columns of a block of variables: one per continuous variable, then one per category of
// each categorical variable, the categories being the whole numbers the planned cases hold.
// A categorical variable without any valid cell keeps one all-missing column, so that
// screening reports it.
void LayOutColumns(const DataTable& table,
                   const std::vector<SourceVariable>& sources,
                   const std::vector<std::set<double>>& categories,
                   std::vector<VariableInfo>& variables,
                   std::vector<BatchColumn>& columns) {
  variables.resize(sources.size());
  for (std::size_t index = 0; index < sources.size(); ++index) {
    VariableInfo& info = variables[index];
    info.name = table.VariableName(sources[index].table_index);
    info.table_index = sources[index].table_index;
    info.categorical = sources[index].categorical;
    if (!info.categorical) columns.push_back({index, kMissingValue, info.name});
  }
  for (std::size_t index = 0; index < sources.size(); ++index) {
    VariableInfo& info = variables[index];
    if (!info.categorical) continue;
    if (categories[index].empty()) {
      columns.push_back({index, kMissingValue, info.name});
      continue;
    }
    for (const double code : categories[index]) {
      std::string label = CodeLabelText(table, info.table_index, code);
      columns.push_back({index, code, info.name + ": " + label});
      info.category_codes.push_back(code);
      info.category_labels.push_back(std::move(label));
    }
  }
}

// Walks the table once: classifies every case, gathers the codes, and remembers the cases
// that take part with their codes (the positions are resolved once the lists are complete).
class TableScan {
 public:
  // Resolve the variables of every role; the plan's batch and time variables are set.
  TableScan(CAnalysisSupport& analysis,
            const DataTable& table,
            const BatchRequest& request,
            BatchPlan& plan)
      : analysis_(analysis), table_(table), request_(request), plan_(plan) {
    if (plan_.stacked) {
      stacked_process_ = Resolve(table_, request_.process_variable, {});
      plan_.measurement_variable = Resolve(table_, request_.measurement_variable, {});
    } else {
      for (const std::string& name : request_.process_variables) {
        plan_.process_sources.push_back(Resolve(table_, name, request_.categorical));
      }
    }
    for (const std::string& name : request_.dependent_variables) {
      plan_.dependent_sources.push_back(Resolve(table_, name, request_.categorical));
    }
    if (plan_.has_dependent_identifier) {
      identifier_ = Resolve(table_, request_.dependent_identifier, {});
    }
    process_categories_.resize(plan_.process_sources.size());
    dependent_categories_.resize(plan_.dependent_sources.size());
  }

  void Run() {
    for (std::size_t case_index = 0; case_index < table_.NumCases(); ++case_index) {
      ScanCase(case_index);
    }
    ShowWarnings();
    ResolveLists();
  }

 private:
  void ScanCase(std::size_t case_index) {
    if (!table_.IsCaseSelected(case_index)) return;
    const double weight = table_.CaseWeight(case_index);
    if (IsMissing(weight) || IsTolerantZero(weight)) return;

    double time_code = kMissingValue;
    if (plan_.time_variable) {
      time_code = BatchCellValue(table_, case_index, *plan_.time_variable);
      if (IsMissing(time_code)) {
        missing_time_stamp_ = true;
        return;
      }
      // Raw times are measurements, not codes: a chosen list of codes does not apply.
      if (!request_.raw && !request_.time_codes.empty() &&
          !HoldsExactly(request_.time_codes, time_code)) {
        return;
      }
    }
    const double batch_code = BatchCellValue(table_, case_index, plan_.batch_variable);
    if (IsMissing(batch_code)) {
      missing_batch_code_ = true;
      return;
    }
    if (!request_.batch_codes.empty() && !HoldsExactly(request_.batch_codes, batch_code)) return;

    double process_code = kMissingValue;
    if (plan_.stacked) {
      process_code = BatchCellValue(table_, case_index, stacked_process_);
      // A case that names no process variable has nothing to place.
      if (IsMissing(process_code)) return;
      if (!IsWholeNumber(process_code)) {
        non_integer_code_ = true;
        return;
      }
    } else if (HasNonIntegerCategory(case_index, plan_.process_sources)) {
      non_integer_code_ = true;
      return;
    }

    bool carries_dependents = true;
    if (identifier_) {
      const double mark = BatchCellValue(table_, case_index, *identifier_);
      carries_dependents = TolerantEqual(mark, request_.dependent_identifier_code);
    }
    if (carries_dependents && HasNonIntegerCategory(case_index, plan_.dependent_sources)) {
      throw AnalysisStop::With(MessageId::kCategoricalDependentNotInteger);
    }

    if (plan_.stacked) {
      process_codes_.push_back(std::round(process_code));
    } else {
      CollectCategories(case_index, plan_.process_sources, process_categories_);
    }
    if (carries_dependents) {
      CollectCategories(case_index, plan_.dependent_sources, dependent_categories_);
    }
    batch_codes_.push_back(batch_code);
    time_codes_.push_back(time_code);
    stacked_codes_.push_back(process_code);
    PlannedCase planned;
    planned.case_index = case_index;
    planned.raw_time = time_code;
    planned.carries_dependents = carries_dependents;
    plan_.cases.push_back(planned);
  }

  bool HasNonIntegerCategory(std::size_t case_index,
                             const std::vector<SourceVariable>& sources) const {
    return std::any_of(sources.begin(), sources.end(), [&](const SourceVariable& source) {
      if (!source.categorical) return false;
      const double value = BatchCellValue(table_, case_index, source);
      return !IsMissing(value) && !IsWholeNumber(value);
    });
  }

  void CollectCategories(std::size_t case_index,
                         const std::vector<SourceVariable>& sources,
                         std::vector<std::set<double>>& categories) const {
    for (std::size_t index = 0; index < sources.size(); ++index) {
      if (!sources[index].categorical) continue;
      const double value = BatchCellValue(table_, case_index, sources[index]);
      if (!IsMissing(value)) categories[index].insert(std::round(value));
    }
  }

  // Each warning once per pass, however many cases it concerns.
  void ShowWarnings() const {
    if (missing_time_stamp_) {
      analysis_.ShowMessage(MessageKind::kWarning, MessageId::kTimeStampMissing);
    }
    if (missing_batch_code_) {
      analysis_.ShowMessage(MessageKind::kWarning, MessageId::kBatchCodeMissing);
    }
    if (non_integer_code_) {
      analysis_.ShowMessage(MessageKind::kWarning, MessageId::kNonIntegerCategoryCodes);
    }
  }

  void ResolveLists() {
    plan_.batch_codes =
        DistinctCodes(request_.batch_codes.empty() ? batch_codes_ : request_.batch_codes);
    for (const double code : plan_.batch_codes) {
      plan_.batch_labels.push_back(CodeLabelText(table_, plan_.batch_variable.table_index, code));
    }
    if (plan_.stacked) LayOutProcessCodes();

    std::vector<std::size_t> cases_per_batch(plan_.batch_codes.size(), 0);
    std::vector<std::size_t> marked_per_batch(plan_.batch_codes.size(), 0);
    for (std::size_t index = 0; index < plan_.cases.size(); ++index) {
      PlannedCase& planned = plan_.cases[index];
      // Every planned code is in the list: either the list was built from these codes, or the
      // case passed the exact test against the chosen list.
      planned.batch = FindCode(plan_.batch_codes, batch_codes_[index]).value_or(0);
      if (plan_.stacked) {
        planned.column = FindCode(stacked_list_, std::round(stacked_codes_[index])).value_or(0);
      }
      // Without a time variable the case's place among its batch's cases is its time (raw
      // data: its raw time).
      const std::size_t position = cases_per_batch[planned.batch]++;
      if (!plan_.has_time_variable) {
        planned.time = position;
        planned.raw_time = static_cast<double>(position);
      }
      if (planned.carries_dependents) ++marked_per_batch[planned.batch];
    }

    if (plan_.raw) {
      for (int interval = 1; interval <= request_.num_time_intervals; ++interval) {
        plan_.time_values.push_back(interval);
        plan_.time_labels.push_back(std::to_string(interval));
      }
    } else if (plan_.has_time_variable) {
      plan_.time_values =
          DistinctCodes(request_.time_codes.empty() ? time_codes_ : request_.time_codes);
      for (const double code : plan_.time_values) {
        plan_.time_labels.push_back(CodeLabelText(table_, plan_.time_variable->table_index, code));
      }
      for (std::size_t index = 0; index < plan_.cases.size(); ++index) {
        plan_.cases[index].time = FindCode(plan_.time_values, time_codes_[index]).value_or(0);
      }
    } else {
      const std::size_t num_times =
          cases_per_batch.empty()
              ? 0
              : *std::max_element(cases_per_batch.begin(), cases_per_batch.end());
      for (std::size_t time = 0; time < num_times; ++time) {
        plan_.time_values.push_back(static_cast<double>(time));
        plan_.time_labels.push_back(std::to_string(time));
      }
    }

    if (!plan_.stacked) {
      LayOutColumns(table_,
                    plan_.process_sources,
                    process_categories_,
                    plan_.process_variables,
                    plan_.process_columns);
    }
    LayOutColumns(table_,
                  plan_.dependent_sources,
                  dependent_categories_,
                  plan_.dependent_variables,
                  plan_.dependent_columns);
    // With a dependent identifier the slots are the marked cases of a batch; without one the
    // slots are the times.
    if (plan_.has_dependent_identifier) {
      plan_.dependent_slots = marked_per_batch.empty() ? 0
                                                       : *std::max_element(marked_per_batch.begin(),
                                                                           marked_per_batch.end());
    } else {
      plan_.dependent_slots = plan_.NumTimes();
    }
    if (plan_.dependent_columns.empty()) plan_.dependent_slots = 0;
  }

  // Aggregated data: the process codes name the process variables, one column each.
  void LayOutProcessCodes() {
    stacked_list_ = DistinctCodes(process_codes_);
    for (std::size_t index = 0; index < stacked_list_.size(); ++index) {
      const double code = stacked_list_[index];
      VariableInfo info;
      info.name = CodeLabelText(table_, stacked_process_.table_index, code);
      info.table_index = plan_.measurement_variable.table_index;
      plan_.process_variables.push_back(info);
      plan_.process_sources.push_back(plan_.measurement_variable);
      plan_.process_columns.push_back({index, code, info.name});
    }
  }

  CAnalysisSupport& analysis_;
  const DataTable& table_;
  const BatchRequest& request_;
  BatchPlan& plan_;
  SourceVariable stacked_process_;                    // aggregated data: the process code variable
  std::optional<SourceVariable> identifier_;          // the dependent identifier, if any
  std::vector<std::set<double>> process_categories_;  // per process variable
  std::vector<std::set<double>> dependent_categories_;  // per dependent variable

  bool missing_time_stamp_ = false;
  bool missing_batch_code_ = false;
  bool non_integer_code_ = false;
  std::vector<double> batch_codes_;    // per planned case
  std::vector<double> time_codes_;     // per planned case
  std::vector<double> stacked_codes_;  // per planned case: its process code (aggregated data)
  std::vector<double> process_codes_;  // aggregated data: every process code seen
  std::vector<double> stacked_list_;
};

}  // namespace

BatchRequest BatchRequestFrom(const StartupOptions& options,
                              BatchLayout layout,
                              bool with_dependents) {
  BatchRequest request;
  request.layout = layout;
  request.batch_variable = options.batch_variable;
  request.time_variable = options.time_variable;
  request.process_variables = with_dependents ? options.predictor_variables : options.variables;
  request.categorical = options.categorical_variables;
  if (with_dependents) {
    request.dependent_variables = options.dependent_variables;
    request.dependent_identifier = options.dependent_identifier;
    request.dependent_identifier_code = options.dependent_identifier_code;
    request.has_predictor_role = true;
  }
  const auto chosen = [&](const std::string& name) {
    const auto found = options.factor_codes.find(name);
    return found == options.factor_codes.end() ? std::vector<double>{} : found->second;
  };
  request.batch_codes = chosen(options.batch_variable);
  if (!options.time_variable.empty()) request.time_codes = chosen(options.time_variable);
  request.stacked = options.stacked_data && !with_dependents;
  request.process_variable = options.process_variable;
  request.measurement_variable = options.measurement_variable;
  request.raw = options.is_raw_data;
  request.num_time_intervals = options.num_time_intervals;
  request.min_batches = options.min_batches;
  request.apply_memory_limit = options.apply_memory_limit;
  request.memory_limit_mb = options.memory_limit_mb;
  request.user_defined_scales = options.scaling == ScalingMode::UserDefinedStandardDeviations;
  return request;
}

BatchPlan PlanBatches(CAnalysisSupport& analysis,
                      const DataTable& table,
                      const BatchRequest& request) {
  CheckRequest(table, request);
  BatchPlan plan;
  plan.layout = request.layout;
  plan.stacked = request.stacked;
  plan.raw = request.raw;
  plan.has_time_variable = !request.time_variable.empty();
  plan.has_dependent_identifier = !request.dependent_identifier.empty();
  plan.batch_variable = Resolve(table, request.batch_variable, {});
  if (plan.has_time_variable) plan.time_variable = Resolve(table, request.time_variable, {});

  TableScan scan(analysis, table, request, plan);
  scan.Run();
  return plan;
}

double BatchCellValue(const DataTable& table,
                      std::size_t case_index,
                      const SourceVariable& source) {
  const double value = table.Value(case_index, source.table_index);
  if (IsMissing(value) || !std::isfinite(value)) return kMissingValue;
  if (source.missing_code && TolerantEqual(value, *source.missing_code)) return kMissingValue;
  return value;
}

std::vector<double> DistinctCodes(std::vector<double> values) {
  values.erase(
      std::remove_if(
          values.begin(), values.end(), [](double value) { return !std::isfinite(value); }),
      values.end());
  std::sort(values.begin(), values.end());
  std::vector<double> distinct;
  for (const double value : values) {
    if (distinct.empty() || !TolerantEqual(distinct.back(), value)) distinct.push_back(value);
  }
  return distinct;
}

std::optional<std::size_t> FindCode(const std::vector<double>& ascending_codes, double code) {
  if (!std::isfinite(code)) return std::nullopt;
  auto position = std::lower_bound(ascending_codes.begin(), ascending_codes.end(), code);
  // Equal codes sit next to each other; the first of them may lie just below `code`.
  while (position != ascending_codes.begin() && TolerantEqual(*std::prev(position), code)) {
    --position;
  }
  if (position == ascending_codes.end() || !TolerantEqual(*position, code)) return std::nullopt;
  return static_cast<std::size_t>(position - ascending_codes.begin());
}

std::string NumberText(double value) {
  char buffer[32];
  const auto result = std::to_chars(std::begin(buffer), std::end(buffer), value);
  return std::string(buffer, result.ptr);
}

std::string CodeLabelText(const DataTable& table, std::size_t variable, double code) {
  std::string label = table.CodeText(variable, code);
  return label.empty() ? NumberText(code) : label;
}

}  // namespace mspc
