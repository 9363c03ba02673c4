#include "deploy/batch_deployment.hpp"

#include <cmath>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "batch/batch_pls_reports.hpp"
#include "batch/batch_reader.hpp"
#include "batch/unfolding.hpp"
#include "host/messages.hpp"

namespace mspc {
namespace {

constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

// The value of a case, or nothing when it is missing.
std::optional<double> PresentValue(const DataTable& table,
                                   std::size_t case_index,
                                   std::size_t variable) {
  const double value = table.Value(case_index, variable);
  const std::optional<double> missing_code = table.MissingDataCode(variable);
  if (!std::isfinite(value) || (missing_code && value == *missing_code)) return std::nullopt;
  return value;
}

// The frame of the batch reports: the deployed batches and the model's times.
BatchData ReportFrame(const DeployedBatchTimes& placement, bool has_time_variable) {
  BatchData data;
  data.layout = BatchLayout::kBatchTimeRows;
  data.has_time_variable = has_time_variable;
  data.num_batches = placement.batch_codes.size();
  data.num_times = placement.frame.time_codes.size();
  data.batch_codes = placement.batch_codes;
  data.batch_labels = placement.batch_labels;
  data.time_values = placement.frame.time_codes;
  data.time_labels = placement.frame.time_labels;
  data.time_labels.resize(data.num_times);
  return data;
}

// One statistic of the placed cases as a batches × times matrix (not-a-number where no case
// fell).
DMatrix ByBatchAndTime(const DeployedBatchTimes& placement, const std::vector<double>& values) {
  DMatrix matrix(placement.batch_codes.size(), placement.frame.time_codes.size(), kMissing);
  for (std::size_t row = 0; row < values.size(); ++row) {
    const std::size_t batch = placement.batch_of_case[row];
    const std::size_t time = placement.time_of_case[row];
    if (batch != DeployedBatchTimes::kNone && time != DeployedBatchTimes::kNone) {
      matrix(batch, time) = values[row];
    }
  }
  return matrix;
}

// The score limit settings the stored per-time limits were made with: a setting below one is a
// p-value, any other a number of standard deviations.
ScoreLimitOptions StoredScoreOptions(const std::vector<ControlLimitSet>& limits) {
  ScoreLimitOptions options;
  if (limits.empty()) return options;
  const ControlLimitSet& first = limits.front();
  options.type =
      first.control_limit < 1.0 ? ScoreLimitType::kPValue : ScoreLimitType::kStandardDeviations;
  options.control = first.control_limit;
  options.warning = first.warning;
  options.warning_value = first.warning_limit;
  return options;
}

}  // namespace

std::vector<double> DeployedBatchTimes::SPEControlLines() const {
  std::vector<double> lines(time_of_case.size(), kMissing);
  for (std::size_t row = 0; row < lines.size(); ++row) {
    const std::size_t time = time_of_case[row];
    if (time < spe_by_time.size()) lines[row] = spe_by_time[time].control_line;
  }
  return lines;
}

DeployedBatchTimes PlaceBatchTimes(const LoadedBMPLSModel& model,
                                   const DataTable& table,
                                   const std::vector<std::size_t>& cases) {
  DeployedBatchTimes placement;
  placement.frame = model.frame;
  placement.spe_by_time = model.spe_by_time;
  placement.scores_by_time = model.scores_by_time;
  placement.batch_of_case.assign(cases.size(), DeployedBatchTimes::kNone);
  placement.time_of_case.assign(cases.size(), DeployedBatchTimes::kNone);
  const std::optional<std::size_t> batch_variable = table.FindVariable(model.frame.batch_name);
  if (!batch_variable) return placement;
  const std::optional<std::size_t> time_variable = table.FindVariable(model.frame.time_name);
  placement.has_time_variable = time_variable.has_value();

  std::vector<std::optional<double>> batch_code(cases.size());
  std::vector<double> codes;
  for (std::size_t row = 0; row < cases.size(); ++row) {
    batch_code[row] = PresentValue(table, cases[row], *batch_variable);
    if (batch_code[row]) codes.push_back(*batch_code[row]);
  }
  placement.batch_codes = DistinctCodes(std::move(codes));
  for (const double code : placement.batch_codes) {
    placement.batch_labels.push_back(CodeLabelText(table, *batch_variable, code));
  }

  std::map<std::size_t, std::size_t> cases_seen;  // per batch: cases counted so far
  std::set<std::pair<std::size_t, std::size_t>> taken;
  for (std::size_t row = 0; row < cases.size(); ++row) {
    if (!batch_code[row]) continue;
    const std::size_t batch = *FindCode(placement.batch_codes, *batch_code[row]);
    std::optional<std::size_t> time;
    if (time_variable) {
      const std::optional<double> value = PresentValue(table, cases[row], *time_variable);
      if (value) time = FindCode(model.frame.time_codes, *value);
    } else {
      const std::size_t counted = cases_seen[batch]++;
      if (counted < model.frame.time_codes.size()) time = counted;
    }
    placement.batch_of_case[row] = batch;
    if (time && taken.insert({batch, *time}).second) placement.time_of_case[row] = *time;
  }
  return placement;
}

std::vector<RoutedOutput> DeployedBatchTimeReports(const DeployedBatchTimes& placement,
                                                   const PLSDeploymentScores& scores,
                                                   const std::string& model_name) {
  std::vector<RoutedOutput> reports;
  bool any_placed = false;
  for (const std::size_t time : placement.time_of_case) {
    any_placed = any_placed || time != DeployedBatchTimes::kNone;
  }
  if (!any_placed || placement.spe_by_time.size() != placement.frame.time_codes.size()) {
    return reports;
  }
  const BatchData frame = ReportFrame(placement, placement.has_time_variable);
  std::vector<std::size_t> batches(frame.num_batches);
  for (std::size_t batch = 0; batch < batches.size(); ++batch) batches[batch] = batch;
  const auto subtitle = [&model_name](auto& report) {
    if (!model_name.empty()) {
      report.subtitles.insert(report.subtitles.begin(),
                              FormatMessage(MessageId::kDeployModelSubtitle, model_name));
    }
  };

  const DMatrix spe = ByBatchAndTime(placement, scores.spe);
  Spreadsheet sheet = SPEByTimeSheet(frame, spe, placement.spe_by_time);
  subtitle(sheet);
  reports.emplace_back(std::move(sheet));
  Graph chart = SPEByTimeChart(frame, spe, placement.spe_by_time, batches);
  subtitle(chart);
  reports.emplace_back(std::move(chart));

  for (std::size_t a = 0; a < placement.scores_by_time.size() && a < scores.x_scores.cols(); ++a) {
    const std::vector<ControlLimitSet>& limits = placement.scores_by_time[a];
    if (limits.size() != frame.num_times) continue;
    std::vector<double> values(scores.x_scores.rows());
    for (std::size_t row = 0; row < values.size(); ++row) values[row] = scores.x_scores(row, a);
    Graph plot = ScoreTrajectoryPlot(frame,
                                     static_cast<int>(a) + 1,
                                     ByBatchAndTime(placement, values),
                                     limits,
                                     StoredScoreOptions(limits),
                                     batches);
    subtitle(plot);
    reports.emplace_back(std::move(plot));
  }
  return reports;
}

}  // namespace mspc
