#include "batch/bmpls_model.hpp"

#include <cmath>
#include <span>
#include <string>
#include <utility>

#include "batch/batch_pls_model.hpp"
#include "frame/data_preparation.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"

namespace mspc {
namespace {

// The values of one time, NaN where a batch has none, and their count.
std::vector<double> TimeColumn(const DMatrix& values, std::size_t time, int& count) {
  std::vector<double> column(values.rows());
  count = 0;
  for (std::size_t batch = 0; batch < values.rows(); ++batch) {
    column[batch] = values(batch, time);
    if (!IsMissing(column[batch])) ++count;
  }
  return column;
}

ControlLimitSet UndefinedLines(ControlLimitSet limits) {
  limits.control_line = kMissingValue;
  limits.warning_line = kMissingValue;
  limits.standard_deviation = kMissingValue;
  limits.upper_control = kMissingValue;
  limits.lower_control = kMissingValue;
  limits.upper_warning = kMissingValue;
  limits.lower_warning = kMissingValue;
  return limits;
}

// The time values of the rows that remain must still vary, or time cannot be predicted.
void CheckRemainingTimeVariance(CAnalysisSupport& analysis,
                                const BatchData& data,
                                const std::vector<bool>& removed_rows) {
  const DMatrix& time = data.dependents.x;
  double count = 0.0;
  double mean = 0.0;
  double squared_deviations = 0.0;
  for (std::size_t row = 0; row < time.rows(); ++row) {
    if ((row < removed_rows.size() && removed_rows[row]) || IsMissing(time(row, 0))) continue;
    count += 1.0;
    const double delta = time(row, 0) - mean;
    mean += delta / count;
    squared_deviations += (time(row, 0) - mean) * delta;
  }
  const double deviation = count > 1.0 ? std::sqrt(squared_deviations / (count - 1.0)) : 0.0;
  if (!IsTolerantZero(deviation)) return;
  const AnalysisStop stop = AnalysisStop::With(MessageId::kNoTimeVariance);
  const auto reword = RawDataRewording(analysis, data);
  throw reword ? reword(stop) : stop;
}

}  // namespace

std::vector<ControlLimitSet> ScoreLimitsByTime(const DMatrix& scores,
                                               const ScoreLimitOptions& options,
                                               const ProbabilityFunctions& probability) {
  std::vector<ControlLimitSet> limits;
  for (std::size_t time = 0; time < scores.cols(); ++time) {
    int count = 0;
    std::vector<double> column = TimeColumn(scores, time, count);
    ControlLimitSet set;
    set.control_limit = options.control;
    set.warning = options.warning;
    set.warning_limit = options.warning_value;
    set.degrees_of_freedom = count - 1;
    if (count < 2) {
      limits.push_back(UndefinedLines(set));
      continue;
    }
    // Centre the time's scores on their mean, take the limits of the centred scores and move
    // them back: both kinds of limit then lie around the time's own mean.
    double mean = 0.0;
    for (const double score : column) {
      if (!IsMissing(score)) mean += score;
    }
    mean /= count;
    for (double& score : column) score -= mean;
    set = ComputeScoreLimits(column, count, options, probability);
    set.upper_control += mean;
    set.lower_control += mean;
    set.upper_warning += mean;  // not-a-number without warning limits stays so
    set.lower_warning += mean;
    limits.push_back(set);
  }
  return limits;
}

std::vector<ControlLimitSet> SPELimitsByTime(const DMatrix& spe,
                                             const ChartLimitOptions& options,
                                             const ProbabilityFunctions& probability) {
  std::vector<ControlLimitSet> limits;
  for (std::size_t time = 0; time < spe.cols(); ++time) {
    int count = 0;
    const std::vector<double> column = TimeColumn(spe, time, count);
    if (count < 2) {
      ControlLimitSet set;
      set.control_limit = options.control_percent;
      set.warning = options.warning;
      set.warning_limit = options.warning_percent;
      limits.push_back(UndefinedLines(set));
      continue;
    }
    limits.push_back(ComputeSPELimits(column, options, probability));
  }
  return limits;
}

CBMPLSModel::CBMPLSModel(CAnalysisSupport* analysis) : BatchPLSModel(analysis) {}

ModelKind CBMPLSModel::Kind() const { return ModelKind::kBMPLS; }

void CBMPLSModel::Run(const StartupOptions& options) {
  // The unfolding stops a second case on a filled batch-time row ("Some repeated cases") and a
  // time without variance; the time must still vary once the screen has removed rows.
  RunBatchFit(options,
              {BatchLayout::kBatchTimeRows,
               false,
               ScreeningKind::kBMPLSPredictors,
               ScreeningKind::kBMPLSDependents});
}

void CBMPLSModel::CheckScreenedBatches(const BatchData& data) {
  CheckRemainingTimeVariance(analysis(), data, data.predictors.removed_cases);
}

DMatrix CBMPLSModel::ByTime(const std::vector<double>& per_row) const {
  const std::size_t num_batches = batch_data_.num_batches;
  const std::size_t num_times = batch_data_.num_times;
  DMatrix values(num_batches, num_times, kMissingValue);
  for (std::size_t batch = 0; batch < num_batches; ++batch) {
    for (std::size_t time = 0; time < num_times; ++time) {
      const std::size_t row = batch * num_times + time;
      if (row < per_row.size()) values(batch, time) = per_row[row];
    }
  }
  return values;
}

DMatrix CBMPLSModel::TrajectoryValues(std::size_t variable) const {
  // The observations are the rows themselves: the values are the data as read, in their own
  // units, with the rows the screen removed left out.
  std::vector<double> column(predictors_.x.rows(), kMissingValue);
  for (std::size_t row = 0; row < column.size(); ++row) {
    if (!engine_.IsRowExcluded(row)) column[row] = predictors_.x(row, variable);
  }
  return ByTime(column);
}

TrajectoryBands CBMPLSModel::Trajectory(std::size_t variable) const {
  return ComputeTrajectoryBands(TrajectoryValues(variable), trajectory_options_);
}

TimeLimits CBMPLSModel::ScoreTrajectory(int component,
                                        const ScoreLimitOptions& options,
                                        const ProbabilityFunctions& probability) const {
  const std::vector<double>& t = engine_.Nodes()[static_cast<std::size_t>(component - 1)].t;
  std::vector<double> scores(t.size(), kMissingValue);
  for (std::size_t row = 0; row < t.size(); ++row) {
    if (!engine_.IsRowExcluded(row)) scores[row] = t[row];
  }
  TimeLimits result;
  result.values = ByTime(scores);
  result.limits = ScoreLimitsByTime(result.values, options, probability);
  return result;
}

TimeLimits CBMPLSModel::SPEByTime(const ChartLimitOptions& options,
                                  const ProbabilityFunctions& probability) const {
  const std::vector<double> spe =
      ComputeSPE(engine_.XResiduals(), engine_.ExcludedRows(), engine_.ExcludedXColumns());
  TimeLimits result;
  result.values = ByTime(spe);
  result.limits = SPELimitsByTime(result.values, options, probability);
  return result;
}

}  // namespace mspc
