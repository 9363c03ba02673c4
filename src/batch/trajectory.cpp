#include "batch/trajectory.hpp"

#include <cmath>

#include "models/missing.hpp"
#include "models/tolerant.hpp"

namespace mspc {

std::optional<MessageId> TrajectoryOptions::Validate() const {
  const bool positive =
      TolerantGreater(control_constant, 0.0) && TolerantGreater(warning_constant, 0.0);
  const bool ordered = !warning_limits || TolerantLess(warning_constant, control_constant);
  if (!positive || !ordered) return MessageId::kTrajectoryConstantsOutOfRange;
  return std::nullopt;
}

TrajectoryBands ComputeTrajectoryBands(const DMatrix& values, const TrajectoryOptions& options) {
  const std::size_t num_times = values.cols();
  TrajectoryBands bands;
  bands.count.assign(num_times, 0);
  bands.mean.assign(num_times, kMissingValue);
  bands.standard_deviation.assign(num_times, kMissingValue);
  bands.upper_control.assign(num_times, kMissingValue);
  bands.lower_control.assign(num_times, kMissingValue);
  if (options.warning_limits) {
    bands.upper_warning.assign(num_times, kMissingValue);
    bands.lower_warning.assign(num_times, kMissingValue);
  }
  for (std::size_t time = 0; time < num_times; ++time) {
    // Welford's recurrence over the batches that have a value at this time.
    int count = 0;
    double mean = 0.0;
    double squared_deviations = 0.0;  // M2
    for (std::size_t batch = 0; batch < values.rows(); ++batch) {
      const double value = values(batch, time);
      if (IsMissing(value)) continue;
      ++count;
      const double delta = value - mean;
      mean += delta / count;
      squared_deviations += (value - mean) * delta;
    }
    bands.count[time] = count;
    if (count == 0) continue;
    bands.mean[time] = mean;
    // One value has a mean but no spread, so no limits either.
    if (count == 1) continue;
    const double deviation = std::sqrt(squared_deviations / (count - 1));
    bands.standard_deviation[time] = deviation;
    bands.upper_control[time] = mean + options.control_constant * deviation;
    bands.lower_control[time] = mean - options.control_constant * deviation;
    if (options.warning_limits) {
      bands.upper_warning[time] = mean + options.warning_constant * deviation;
      bands.lower_warning[time] = mean - options.warning_constant * deviation;
    }
  }
  return bands;
}

bool IsInsideBand(double value, double lower, double upper) {
  if (IsMissing(value) || IsMissing(lower) || IsMissing(upper)) return false;
  return TolerantGreater(value, lower) && TolerantLess(value, upper);
}

std::vector<bool> OutsideControlBand(const DMatrix& values, const TrajectoryBands& bands) {
  std::vector<bool> outside(values.rows() * values.cols(), false);
  for (std::size_t batch = 0; batch < values.rows(); ++batch) {
    for (std::size_t time = 0; time < values.cols(); ++time) {
      const double value = values(batch, time);
      const double lower = bands.lower_control[time];
      const double upper = bands.upper_control[time];
      if (IsMissing(value) || IsMissing(lower) || IsMissing(upper)) continue;
      outside[batch * values.cols() + time] = !IsInsideBand(value, lower, upper);
    }
  }
  return outside;
}

DMatrix RebuildTimeWiseValues(const ResidualOf& residual,
                              const DMatrix& scores,
                              const DMatrix& loadings,
                              std::span<const double> mean,
                              std::span<const double> scale,
                              std::size_t columns_per_time,
                              std::size_t variable) {
  const std::size_t num_batches = scores.rows();
  const std::size_t num_components = scores.cols();
  const std::size_t num_times = columns_per_time > 0 ? loadings.cols() / columns_per_time : 0;
  DMatrix values(num_batches, num_times, kMissingValue);
  for (std::size_t batch = 0; batch < num_batches; ++batch) {
    for (std::size_t time = 0; time < num_times; ++time) {
      const std::size_t col = time * columns_per_time + variable;
      double value = residual(batch, col);  // E[i, c]
      for (std::size_t component = 0; component < num_components; ++component) {
        value += scores(batch, component) * loadings(component, col);
      }
      // A missing residual or score propagates as NaN and stays missing.
      values(batch, time) = value * scale[col] + mean[col];
    }
  }
  return values;
}

DMatrix BatchTimeValues(const DMatrix& x,
                        std::size_t num_batches,
                        std::size_t num_times,
                        std::size_t variable) {
  DMatrix values(num_batches, num_times, kMissingValue);
  for (std::size_t batch = 0; batch < num_batches; ++batch) {
    for (std::size_t time = 0; time < num_times; ++time) {
      values(batch, time) = x(batch * num_times + time, variable);
    }
  }
  return values;
}

}  // namespace mspc
