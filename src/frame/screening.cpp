#include "frame/screening.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "host/errors.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"

namespace mspc {
namespace {

// A case needs two valid source variables whatever the option for the minimum says; the option
// only appears in the stop message.
constexpr double kMinValidSourceVariables = 2.0;
// A block screened only for empty rows needs one valid value per row.
constexpr double kMinValidValuesOfBlock = 1.0;
constexpr int kMinRemainingVariables = 2;
constexpr int kMinRemainingPredictors = 2;
constexpr int kMinRemainingDependents = 1;
constexpr int kMinRemainingCases = 4;
constexpr double kPercent = 100.0;
constexpr int kCauseMissingData = 1;

// Running mean and sum of squared deviations (Welford, Technometrics 4 (1962) 419-420). An
// exactly constant column keeps a sum of exactly zero, which a second pass around a rounded
// mean would not, so the zero-variance test sees a true zero.
struct ColumnMoments {
  double count = 0.0;
  double mean = 0.0;
  double squared_deviations = 0.0;  // sum (x - mean)^2

  void Add(double value) {
    count += 1.0;
    const double delta = value - mean;
    mean += delta / count;
    squared_deviations += delta * (value - mean);
  }

  // The sum of squares is divided by n - 1 only when n exceeds 1 by more than the tolerance;
  // otherwise it stands as it is.
  double Variance() const {
    return TolerantGreater(count, 1.0) ? squared_deviations / (count - 1.0) : squared_deviations;
  }
};

ColumnMoments MomentsOver(const WorkingData& data,
                          std::size_t col,
                          const std::vector<bool>& removed_rows) {
  ColumnMoments moments;
  for (std::size_t row = 0; row < data.x.rows(); ++row) {
    if (removed_rows[row]) continue;
    const double value = data.x(row, col);
    if (!IsMissing(value)) moments.Add(value);
  }
  return moments;
}

std::size_t NumSources(const WorkingData& data) {
  std::size_t count = data.variables.size();
  for (const std::size_t source : data.column_source) count = std::max(count, source + 1);
  return count;
}

int CaseNumber(const WorkingData& data, std::size_t row) {
  return row < data.case_numbers.size() ? data.case_numbers[row] : static_cast<int>(row) + 1;
}

// How a row is named in the removal log and in the batch messages: its case name, or else its
// host case number.
std::string RowName(const WorkingData& data, std::size_t row) {
  if (row < data.case_names.size() && !data.case_names[row].empty()) {
    return StripRichText(data.case_names[row]);
  }
  return std::to_string(CaseNumber(data, row));
}

std::string ColumnName(const WorkingData& data, std::size_t col) {
  return col < data.column_names.size() ? StripRichText(data.column_names[col]) : std::string();
}

// The permission to remove a failed item: refused (the analysis stops with the test's message)
// when the option is off; granted otherwise, with the note shown the first time in the model
// unless a script runs the analysis.
void PermitRemoval(CAnalysisSupport& analysis,
                   const ScreeningOptions& options,
                   bool option_on,
                   bool& noted,
                   MessageId note,
                   const AnalysisStop& refusal) {
  if (!option_on) throw options.reword_stop ? options.reword_stop(refusal) : refusal;
  if (!noted && !analysis.IsOleAutomation()) {
    analysis.ShowMessage(MessageKind::kNote, note);
    noted = true;
  }
}

class Screen {
 public:
  Screen(CAnalysisSupport& analysis,
         const ScreeningOptions& options,
         ScreeningKind kind,
         RemovalNotes& notes,
         WorkingData& data,
         ScreenedRows rows)
      : analysis_(analysis),
        options_(options),
        causes_(CausesOf(kind)),
        notes_(notes),
        data_(data),
        rows_(rows),
        num_sources_(NumSources(data)) {}

  void ScreenCases() {
    const std::size_t num_active = ActiveSources();
    // The stamp marks the sources already counted in the current row, without clearing a
    // vector for every row.
    std::vector<std::size_t> counted_in_row(num_sources_, 0);
    for (std::size_t row = 0; row < data_.x.rows(); ++row) {
      if (data_.removed_cases[row]) continue;
      const std::size_t stamp = row + 1;
      int valid_sources = 0;
      int missing_cells = 0;
      for (std::size_t col = 0; col < data_.x.cols(); ++col) {
        if (data_.removed_columns[col]) continue;
        if (IsMissing(data_.x(row, col))) {
          ++missing_cells;
          continue;
        }
        // The dummy columns of one categorical variable count once.
        const std::size_t source = data_.column_source[col];
        if (counted_in_row[source] == stamp) continue;
        counted_in_row[source] = stamp;
        ++valid_sources;
      }

      const double valid = valid_sources;
      if (!TolerantAtLeast(valid, kMinValidSourceVariables)) {
        RemoveCase(row,
                   missing_cells,
                   causes_.case_count,
                   valid,
                   kMinValidSourceVariables,
                   CountRefusal(row, valid_sources));
        continue;
      }
      const double percentage =
          num_active > 0 ? valid / static_cast<double>(num_active) * kPercent : 0.0;
      if (!TolerantAtLeast(percentage, options_.min_percent_valid_variables)) {
        RemoveCase(row,
                   missing_cells,
                   causes_.case_percentage,
                   percentage,
                   options_.min_percent_valid_variables,
                   PercentageRefusal(row, percentage));
      }
    }
  }

  // A row with no valid cell at all (only the columns not removed count).
  void ScreenEmptyCases() {
    for (std::size_t row = 0; row < data_.x.rows(); ++row) {
      if (data_.removed_cases[row]) continue;
      int missing_cells = 0;
      bool any_valid = false;
      for (std::size_t col = 0; col < data_.x.cols(); ++col) {
        if (data_.removed_columns[col]) continue;
        if (IsMissing(data_.x(row, col))) {
          ++missing_cells;
        } else {
          any_valid = true;
        }
      }
      if (any_valid) continue;
      RemoveCase(row,
                 missing_cells,
                 causes_.case_count,
                 0.0,
                 kMinValidValuesOfBlock,
                 CountRefusal(row, 0));
    }
  }

  void ScreenColumns(const std::vector<bool>& removed_before_case_screen) {
    const bool cases_removed = removed_before_case_screen != data_.removed_cases;
    const int num_cases = CountRemainingCases(data_);
    for (std::size_t col = 0; col < data_.x.cols(); ++col) {
      const ColumnMoments moments = MomentsOver(data_, col, data_.removed_cases);
      const double variance = moments.Variance();
      data_.valid_count[col] = moments.count;
      data_.mean[col] = moments.mean;
      data_.standard_deviation[col] = std::sqrt(variance);
      if (data_.removed_columns[col]) continue;

      const std::string name = ColumnName(data_, col);
      if (!TolerantAtLeast(moments.count, options_.min_valid_cases)) {
        RemoveColumn(col,
                     causes_.column_count,
                     moments.count,
                     options_.min_valid_cases,
                     AnalysisStop::With(MessageId::kVariableTooFewValidCases,
                                        static_cast<int>(moments.count),
                                        name,
                                        options_.min_valid_cases));
        continue;
      }
      const double percentage =
          num_cases > 0 ? moments.count / static_cast<double>(num_cases) * kPercent : 0.0;
      if (!TolerantAtLeast(percentage, options_.min_percent_valid_cases)) {
        RemoveColumn(col,
                     causes_.column_percentage,
                     percentage,
                     options_.min_percent_valid_cases,
                     AnalysisStop::With(MessageId::kVariableTooLowPercentValidCases,
                                        percentage,
                                        name,
                                        options_.min_percent_valid_cases));
        continue;
      }
      if (IsTolerantZero(variance)) {
        // Say so when the variance was there before the sparse cases went.
        const bool lost_with_cases =
            cases_removed &&
            !IsTolerantZero(MomentsOver(data_, col, removed_before_case_screen).Variance());
        const MessageId message = lost_with_cases ? MessageId::kVariableNoVarianceAfterCaseRemoval
                                                  : MessageId::kVariableNoVariance;
        RemoveColumn(col, causes_.no_variance, variance, 0.0, AnalysisStop::With(message, name));
      }
    }
  }

 private:
  // Source variables with at least one column not removed.
  std::size_t ActiveSources() const {
    std::vector<bool> active(num_sources_, false);
    for (std::size_t col = 0; col < data_.x.cols(); ++col) {
      if (!data_.removed_columns[col]) active[data_.column_source[col]] = true;
    }
    return static_cast<std::size_t>(std::count(active.begin(), active.end(), true));
  }

  AnalysisStop CountRefusal(std::size_t row, int valid_sources) const {
    if (rows_ == ScreenedRows::kBatches) {
      return AnalysisStop::With(MessageId::kBatchTooFewValidVariables,
                                valid_sources,
                                RowName(data_, row),
                                options_.min_valid_variables);
    }
    return AnalysisStop::With(MessageId::kCaseTooFewValidVariables,
                              valid_sources,
                              CaseNumber(data_, row),
                              options_.min_valid_variables);
  }

  AnalysisStop PercentageRefusal(std::size_t row, double percentage) const {
    if (rows_ == ScreenedRows::kBatches) {
      return AnalysisStop::With(MessageId::kBatchTooLowPercentValidVariables,
                                percentage,
                                RowName(data_, row),
                                options_.min_percent_valid_variables);
    }
    return AnalysisStop::With(MessageId::kCaseTooLowPercentValidVariables,
                              percentage,
                              CaseNumber(data_, row),
                              options_.min_percent_valid_variables);
  }

  void RemoveCase(std::size_t row,
                  int missing_cells,
                  int cause,
                  double current,
                  double minimum,
                  const AnalysisStop& refusal) {
    PermitRemoval(analysis_,
                  options_,
                  options_.auto_remove_cases,
                  notes_.cases_noted,
                  MessageId::kNoteRemoveCases,
                  refusal);
    data_.removed_cases[row] = true;
    ++data_.removed_case_count;
    data_.removed_cell_count += missing_cells;
    data_.removals.cases.push_back({RowName(data_, row), cause, current, minimum});
  }

  void RemoveColumn(
      std::size_t col, int cause, double current, double minimum, const AnalysisStop& refusal) {
    PermitRemoval(analysis_,
                  options_,
                  options_.auto_remove_variables,
                  notes_.variables_noted,
                  MessageId::kNoteRemoveVariables,
                  refusal);
    data_.removed_columns[col] = true;
    data_.removals.variables.push_back({ColumnName(data_, col), cause, current, minimum});
  }

  CAnalysisSupport& analysis_;
  const ScreeningOptions& options_;
  const ScreeningCauses causes_;
  RemovalNotes& notes_;
  WorkingData& data_;
  const ScreenedRows rows_;
  const std::size_t num_sources_;
};

// Flags of the right length; flags set by an earlier screen are kept.
void PrepareFlags(WorkingData& data) {
  data.removed_cases.resize(data.x.rows(), false);
  data.removed_columns.resize(data.x.cols(), false);
  data.valid_count.assign(data.x.cols(), 0.0);
  data.mean.assign(data.x.cols(), 0.0);
  data.standard_deviation.assign(data.x.cols(), 0.0);
}

// A continuous variable has one column; its statistics are the column's.
void CopyVariableStatistics(WorkingData& data) {
  for (std::size_t col = 0; col < data.x.cols(); ++col) {
    const std::size_t source = data.column_source[col];
    if (source >= data.variables.size() || data.variables[source].categorical) continue;
    data.variables[source].mean = data.mean[col];
    data.variables[source].standard_deviation = data.standard_deviation[col];
    if (col < data.scale.size()) data.variables[source].scale = data.scale[col];
  }
}

Spreadsheet RemovalSheet(const std::vector<Removal>& removals,
                         MessageId title,
                         MessageId count_line,
                         MessageId row_header) {
  Spreadsheet sheet;
  sheet.title = FormatMessage(title);
  sheet.subtitles.push_back(FormatMessage(count_line, static_cast<int>(removals.size())));
  sheet.row_header = FormatMessage(row_header);
  sheet.columns = {FormatMessage(MessageId::kColumnName),
                   FormatMessage(MessageId::kColumnCause),
                   FormatMessage(MessageId::kColumnCurrent),
                   FormatMessage(MessageId::kColumnMinimum)};
  for (std::size_t index = 0; index < removals.size(); ++index) {
    const Removal& removal = removals[index];
    ReportRow row;
    row.label = std::to_string(index + 1);
    row.cells.emplace_back(removal.name);
    row.cells.emplace_back(std::string(CauseText(removal.cause)));
    // A removal for missing data has no value that failed a minimum.
    if (removal.cause == kCauseMissingData) {
      row.cells.emplace_back(std::monostate{});
      row.cells.emplace_back(std::monostate{});
    } else {
      row.cells.emplace_back(removal.current);
      row.cells.emplace_back(removal.minimum);
    }
    sheet.rows.push_back(std::move(row));
  }
  return sheet;
}

}  // namespace

ScreeningCauses CausesOf(ScreeningKind kind) {
  int first = 2;
  switch (kind) {
    case ScreeningKind::kPCA:
      first = 2;
      break;
    case ScreeningKind::kPLSPredictors:
      first = 12;
      break;
    case ScreeningKind::kPLSDependents:
      first = 17;
      break;
    case ScreeningKind::kTMPLSPredictors:
      first = 22;
      break;
    case ScreeningKind::kTMPLSDependents:
      first = 27;
      break;
    case ScreeningKind::kBMPLSPredictors:
      first = 32;
      break;
    case ScreeningKind::kBMPLSDependents:
      first = 37;
      break;
  }
  return {first, first + 1, first + 2, first + 3, first + 4};
}

std::string StripRichText(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t open = text.find('<', position);
    if (open == std::string_view::npos) break;
    const std::size_t close = text.find('>', open + 1);
    // A '<' that no '>' closes is text, not a tag.
    if (close == std::string_view::npos) break;
    plain.append(text.substr(position, open - position));
    position = close + 1;
  }
  plain.append(text.substr(position));
  return plain;
}

void ScreenWorkingData(CAnalysisSupport& analysis,
                       const ScreeningOptions& options,
                       ScreeningKind kind,
                       RemovalNotes& notes,
                       WorkingData& data,
                       ScreenedRows rows) {
  PrepareFlags(data);
  const std::vector<bool> removed_before = data.removed_cases;
  Screen screen(analysis, options, kind, notes, data, rows);
  screen.ScreenCases();
  screen.ScreenColumns(removed_before);
  CopyVariableStatistics(data);
  CheckRemainingCounts(kind, data);
}

void RemoveCasesWithoutValues(CAnalysisSupport& analysis,
                              const ScreeningOptions& options,
                              ScreeningKind kind,
                              RemovalNotes& notes,
                              WorkingData& data) {
  PrepareFlags(data);
  Screen screen(analysis, options, kind, notes, data, ScreenedRows::kCases);
  screen.ScreenEmptyCases();
}

void ScreenWorkingColumns(CAnalysisSupport& analysis,
                          const ScreeningOptions& options,
                          ScreeningKind kind,
                          RemovalNotes& notes,
                          WorkingData& data,
                          const std::vector<bool>& removed_before_case_screen) {
  PrepareFlags(data);
  std::vector<bool> removed_before = removed_before_case_screen;
  removed_before.resize(data.x.rows(), false);
  Screen screen(analysis, options, kind, notes, data, ScreenedRows::kCases);
  screen.ScreenColumns(removed_before);
  CopyVariableStatistics(data);
  CheckRemainingCounts(kind, data);
}

int CountRemainingSourceVariables(const WorkingData& data) {
  std::vector<bool> remaining(NumSources(data), false);
  for (std::size_t col = 0; col < data.column_source.size(); ++col) {
    if (col >= data.removed_columns.size() || !data.removed_columns[col]) {
      remaining[data.column_source[col]] = true;
    }
  }
  return static_cast<int>(std::count(remaining.begin(), remaining.end(), true));
}

int CountRemainingCases(const WorkingData& data) {
  int remaining = 0;
  for (std::size_t row = 0; row < data.x.rows(); ++row) {
    if (row >= data.removed_cases.size() || !data.removed_cases[row]) ++remaining;
  }
  return remaining;
}

void CheckRemainingVariables(const WorkingData& data, int minimum, MessageId too_few) {
  if (CountRemainingSourceVariables(data) < minimum) throw AnalysisStop::With(too_few);
}

void CheckRemainingCases(const WorkingData& data) {
  if (CountRemainingCases(data) < kMinRemainingCases) {
    throw AnalysisStop::With(MessageId::kTooFewCasesLeft);
  }
}

void CheckRemainingCounts(ScreeningKind kind, const WorkingData& data) {
  switch (kind) {
    case ScreeningKind::kPCA:
      CheckRemainingVariables(data, kMinRemainingVariables, MessageId::kTooFewVariablesLeft);
      break;
    case ScreeningKind::kPLSPredictors:
    case ScreeningKind::kTMPLSPredictors:
    case ScreeningKind::kBMPLSPredictors:
      CheckRemainingVariables(data, kMinRemainingPredictors, MessageId::kTooFewPredictorsLeft);
      break;
    case ScreeningKind::kPLSDependents:
    case ScreeningKind::kTMPLSDependents:
    case ScreeningKind::kBMPLSDependents:
      CheckRemainingVariables(data, kMinRemainingDependents, MessageId::kNoDependentLeft);
      break;
  }
  CheckRemainingCases(data);
}

void ComputeColumnScales(const ScreeningOptions& options, WorkingData& data) {
  const std::size_t num_columns = data.x.cols();
  data.scale.assign(num_columns, 1.0);
  for (std::size_t col = 0; col < num_columns; ++col) {
    switch (options.scaling) {
      case ScalingMode::UnitStandardDeviations: {
        const double deviation =
            col < data.standard_deviation.size() ? data.standard_deviation[col] : 0.0;
        // A column without variance is removed or stopped by screening; should one reach here,
        // its division is skipped (scale 1) rather than made by zero.
        if (!IsTolerantZero(deviation) && std::isfinite(deviation)) data.scale[col] = deviation;
        break;
      }
      case ScalingMode::DoNotScaleVariables:
        break;
      case ScalingMode::UserDefinedStandardDeviations: {
        const std::size_t source = data.column_source[col];
        const std::string name = source < data.variables.size()
                                     ? StripRichText(data.variables[source].name)
                                     : ColumnName(data, col);
        if (source >= options.user_scales.size()) {
          throw AnalysisStop::With(MessageId::kUserScaleMissing, name);
        }
        const double user_scale = options.user_scales[source];
        // A deviation must be a finite number clearly above zero.
        if (!std::isfinite(user_scale) || !TolerantGreater(user_scale, 0.0)) {
          throw AnalysisStop::With(MessageId::kUserScaleInvalid, name);
        }
        data.scale[col] = user_scale;
        break;
      }
    }
  }
  CopyVariableStatistics(data);
}

void ReportRemovals(const RemovalLog& log, OutputSink& output) {
  if (!log.variables.empty()) {
    output.AddSpreadsheet(RemovalSheet(log.variables,
                                       MessageId::kRemovedVariablesTitle,
                                       MessageId::kRemovedVariablesCount,
                                       MessageId::kRemovedVariableHeader));
  }
  if (!log.cases.empty()) {
    output.AddSpreadsheet(RemovalSheet(log.cases,
                                       MessageId::kRemovedCasesTitle,
                                       MessageId::kRemovedCasesCount,
                                       MessageId::kRemovedCaseHeader));
  }
}

}  // namespace mspc
