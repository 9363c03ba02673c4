#include "batch/batch_reader.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <map>
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

bool HasNonIntegerCategory(const DataTable& table,
                           std::size_t case_index,
                           const std::vector<SourceVariable>& sources) {
  return std::any_of(sources.begin(), sources.end(), [&](const SourceVariable& source) {
    if (!source.categorical) return false;
    const double value = BatchCellValue(table, case_index, source);
    return !IsMissing(value) && !IsWholeNumber(value);
  });
}

std::vector<double> AsVector(const std::set<double>& values) {
  return {values.begin(), values.end()};
}

// The planning pass: classifies every case, gathers the distinct codes, the categories and
// the cases per batch code; then lays out the lists and the columns.
class TableScan {
 public:
  TableScan(CAnalysisSupport& analysis, const DataTable& table, BatchPlan& plan)
      : analysis_(analysis),
        table_(table),
        plan_(plan),
        process_categories_(plan.process_sources.size()),
        dependent_categories_(plan.dependent_sources.size()) {}

  void Run(int num_time_intervals) {
    for (std::size_t case_index = 0; case_index < table_.NumCases(); ++case_index) {
      ScanCase(case_index);
    }
    ShowWarnings();
    ResolveLists(num_time_intervals);
  }

 private:
  void ScanCase(std::size_t case_index) {
    CaseCodes codes;
    switch (ClassifyCase(plan_, table_, case_index, codes)) {
      case CaseVerdict::kTaken:
        break;
      case CaseVerdict::kLeftOut:
        return;
      case CaseVerdict::kMissingTimeStamp:
        missing_time_stamp_ = true;
        return;
      case CaseVerdict::kMissingBatchCode:
        missing_batch_code_ = true;
        return;
      case CaseVerdict::kNonIntegerCategory:
        non_integer_code_ = true;
        return;
    }
    ++cases_per_code_[codes.batch_code];
    if (codes.carries_dependents) ++marked_per_code_[codes.batch_code];
    if (plan_.has_time_variable && !plan_.raw) time_codes_.insert(codes.time_code);
    if (plan_.stacked) {
      process_codes_.insert(std::round(codes.process_code));
    } else {
      CollectCategories(case_index, plan_.process_sources, process_categories_);
    }
    if (codes.carries_dependents) {
      CollectCategories(case_index, plan_.dependent_sources, dependent_categories_);
    }
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

  // Counts of exact codes summed by their position in the tolerant code list. Every counted
  // code is in the list: either the list was built from these codes, or the case passed the
  // exact test against the chosen list.
  std::vector<std::size_t> PerBatch(const std::map<double, std::size_t>& per_code) const {
    std::vector<std::size_t> counts(plan_.NumBatches(), 0);
    for (const auto& [code, count] : per_code) {
      if (const auto batch = FindCode(plan_.batch_codes, code)) counts[*batch] += count;
    }
    return counts;
  }

  static std::size_t Largest(const std::vector<std::size_t>& counts) {
    return counts.empty() ? 0 : *std::max_element(counts.begin(), counts.end());
  }

  void ResolveLists(int num_time_intervals) {
    std::vector<double> seen_batches;
    for (const auto& entry : cases_per_code_) seen_batches.push_back(entry.first);
    plan_.batch_codes =
        DistinctCodes(plan_.chosen_batch_codes.empty() ? seen_batches : plan_.chosen_batch_codes);
    for (const double code : plan_.batch_codes) {
      plan_.batch_labels.push_back(CodeLabelText(table_, plan_.batch_variable.table_index, code));
    }
    const std::vector<std::size_t> cases_per_batch = PerBatch(cases_per_code_);

    if (plan_.raw) {
      for (int interval = 1; interval <= num_time_intervals; ++interval) {
        plan_.time_values.push_back(interval);
        plan_.time_labels.push_back(std::to_string(interval));
      }
    } else if (plan_.has_time_variable) {
      plan_.time_values = DistinctCodes(plan_.chosen_time_codes.empty() ? AsVector(time_codes_)
                                                                        : plan_.chosen_time_codes);
      for (const double code : plan_.time_values) {
        plan_.time_labels.push_back(CodeLabelText(table_, plan_.time_variable->table_index, code));
      }
    } else {
      // Without a time variable the longest batch gives the number of times.
      const std::size_t num_times = Largest(cases_per_batch);
      for (std::size_t time = 0; time < num_times; ++time) {
        plan_.time_values.push_back(static_cast<double>(time));
        plan_.time_labels.push_back(std::to_string(time));
      }
    }

    if (plan_.stacked) {
      LayOutProcessCodes();
    } else {
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
    if (plan_.dependent_columns.empty()) {
      plan_.dependent_slots = 0;
    } else if (plan_.has_dependent_identifier) {
      plan_.dependent_slots = Largest(PerBatch(marked_per_code_));
    } else {
      plan_.dependent_slots = plan_.NumTimes();
    }
  }

  // Aggregated data: the process codes name the process variables, one column each.
  void LayOutProcessCodes() {
    const std::vector<double> codes = DistinctCodes(AsVector(process_codes_));
    for (std::size_t index = 0; index < codes.size(); ++index) {
      VariableInfo info;
      info.name = CodeLabelText(table_, plan_.process_code_variable.table_index, codes[index]);
      info.table_index = plan_.measurement_variable.table_index;
      plan_.process_variables.push_back(info);
      plan_.process_sources.push_back(plan_.measurement_variable);
      plan_.process_columns.push_back({index, codes[index], info.name});
    }
  }

  CAnalysisSupport& analysis_;
  const DataTable& table_;
  BatchPlan& plan_;
  std::vector<std::set<double>> process_categories_;    // per process variable
  std::vector<std::set<double>> dependent_categories_;  // per dependent variable

  bool missing_time_stamp_ = false;
  bool missing_batch_code_ = false;
  bool non_integer_code_ = false;
  std::map<double, std::size_t> cases_per_code_;   // per exact batch code
  std::map<double, std::size_t> marked_per_code_;  // cases carrying dependents, per batch code
  std::set<double> time_codes_;                    // every exact time code taken
  std::set<double> process_codes_;                 // aggregated data: every process code taken
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
  plan.chosen_batch_codes = request.batch_codes;
  // Raw times are measurements, not codes: a chosen list of codes does not apply to them.
  if (!plan.raw) plan.chosen_time_codes = request.time_codes;
  plan.dependent_identifier_code = request.dependent_identifier_code;

  plan.batch_variable = Resolve(table, request.batch_variable, {});
  if (plan.has_time_variable) plan.time_variable = Resolve(table, request.time_variable, {});
  if (plan.stacked) {
    plan.process_code_variable = Resolve(table, request.process_variable, {});
    plan.measurement_variable = Resolve(table, request.measurement_variable, {});
  } else {
    for (const std::string& name : request.process_variables) {
      plan.process_sources.push_back(Resolve(table, name, request.categorical));
    }
  }
  for (const std::string& name : request.dependent_variables) {
    plan.dependent_sources.push_back(Resolve(table, name, request.categorical));
  }
  if (plan.has_dependent_identifier) {
    plan.dependent_identifier = Resolve(table, request.dependent_identifier, {});
  }

  TableScan scan(analysis, table, plan);
  scan.Run(request.num_time_intervals);
  return plan;
}

CaseVerdict ClassifyCase(const BatchPlan& plan,
                         const DataTable& table,
                         std::size_t case_index,
                         CaseCodes& codes) {
  if (!table.IsCaseSelected(case_index)) return CaseVerdict::kLeftOut;
  const double weight = table.CaseWeight(case_index);
  if (IsMissing(weight) || IsTolerantZero(weight)) return CaseVerdict::kLeftOut;

  codes.time_code = kMissingValue;
  if (plan.time_variable) {
    codes.time_code = BatchCellValue(table, case_index, *plan.time_variable);
    if (IsMissing(codes.time_code)) return CaseVerdict::kMissingTimeStamp;
    if (!plan.chosen_time_codes.empty() && !HoldsExactly(plan.chosen_time_codes, codes.time_code)) {
      return CaseVerdict::kLeftOut;
    }
  }
  codes.batch_code = BatchCellValue(table, case_index, plan.batch_variable);
  if (IsMissing(codes.batch_code)) return CaseVerdict::kMissingBatchCode;
  if (!plan.chosen_batch_codes.empty() &&
      !HoldsExactly(plan.chosen_batch_codes, codes.batch_code)) {
    return CaseVerdict::kLeftOut;
  }

  codes.process_code = kMissingValue;
  if (plan.stacked) {
    codes.process_code = BatchCellValue(table, case_index, plan.process_code_variable);
    // A case that names no process variable has nothing to place.
    if (IsMissing(codes.process_code)) return CaseVerdict::kLeftOut;
    if (!IsWholeNumber(codes.process_code)) return CaseVerdict::kNonIntegerCategory;
  } else if (HasNonIntegerCategory(table, case_index, plan.process_sources)) {
    return CaseVerdict::kNonIntegerCategory;
  }

  codes.carries_dependents = true;
  if (plan.dependent_identifier) {
    const double mark = BatchCellValue(table, case_index, *plan.dependent_identifier);
    codes.carries_dependents = TolerantEqual(mark, plan.dependent_identifier_code);
  }
  if (codes.carries_dependents &&
      HasNonIntegerCategory(table, case_index, plan.dependent_sources)) {
    throw AnalysisStop::With(MessageId::kCategoricalDependentNotInteger);
  }
  return CaseVerdict::kTaken;
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
