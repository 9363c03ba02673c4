#include "batch/trajectory.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "models/missing.hpp"

namespace mspc {
namespace {

const double kNaN = kMissingValue;

// Batches in rows, times in columns.
DMatrix Values(const std::vector<std::vector<double>>& rows) {
  DMatrix values(rows.size(), rows.front().size());
  for (std::size_t row = 0; row < rows.size(); ++row) {
    for (std::size_t col = 0; col < rows[row].size(); ++col) values(row, col) = rows[row][col];
  }
  return values;
}

TEST(TrajectoryBands, FiveBatchesOneToFiveGiveTheHandComputedBands) {
  // Time 0: 1..5; time 1: one value; time 2: none.
  const DMatrix values =
      Values({{1, kNaN, kNaN}, {2, 7.5, kNaN}, {3, kNaN, kNaN}, {4, kNaN, kNaN}, {5, kNaN, kNaN}});
  TrajectoryOptions options;
  options.warning_limits = true;
  const TrajectoryBands bands = ComputeTrajectoryBands(values, options);

  // sum (x - 3)^2 = 10, over n - 1 = 4: the deviation is sqrt(2.5) = 1.5811...
  const double deviation = std::sqrt(2.5);
  EXPECT_EQ(bands.count, (std::vector<int>{5, 1, 0}));
  EXPECT_DOUBLE_EQ(bands.mean[0], 3.0);
  EXPECT_DOUBLE_EQ(bands.standard_deviation[0], deviation);
  EXPECT_NEAR(bands.standard_deviation[0], 1.5811, 1e-4);
  EXPECT_DOUBLE_EQ(bands.upper_control[0], 3.0 + 3.0 * deviation);
  EXPECT_DOUBLE_EQ(bands.lower_control[0], 3.0 - 3.0 * deviation);
  EXPECT_DOUBLE_EQ(bands.upper_warning[0], 3.0 + 2.0 * deviation);
  EXPECT_DOUBLE_EQ(bands.lower_warning[0], 3.0 - 2.0 * deviation);

  // One value: it is the mean, with no deviation and no limits.
  EXPECT_EQ(bands.mean[1], 7.5);
  EXPECT_TRUE(IsMissing(bands.standard_deviation[1]));
  EXPECT_TRUE(IsMissing(bands.upper_control[1]));
  EXPECT_TRUE(IsMissing(bands.lower_warning[1]));
  // No value: nothing at all.
  EXPECT_TRUE(IsMissing(bands.mean[2]));
  EXPECT_TRUE(IsMissing(bands.standard_deviation[2]));
}

TEST(TrajectoryBands, AValueOnALimitIsOutside) {
  const double lower = 3.0 - 3.0 * std::sqrt(2.5);
  const double upper = 3.0 + 3.0 * std::sqrt(2.5);
  EXPECT_FALSE(IsInsideBand(upper, lower, upper));
  EXPECT_FALSE(IsInsideBand(lower, lower, upper));
  // A few units in the last place from a limit is still on it.
  EXPECT_FALSE(IsInsideBand(std::nextafter(upper, 0.0), lower, upper));
  EXPECT_TRUE(IsInsideBand(upper - 1e-9, lower, upper));
  EXPECT_TRUE(IsInsideBand(3.0, lower, upper));
  EXPECT_FALSE(IsInsideBand(kNaN, lower, upper));
  EXPECT_FALSE(IsInsideBand(3.0, kNaN, upper));
}

TEST(TrajectoryBands, OutsideValuesAreMarkedForHighlighting) {
  // At time 0 the values 0, 0, 0, 0, 10: mean 2, deviation sqrt(20), so with c = 1 the upper
  // limit is 2 + 4.47 and 10 lies above it. Time 1 has a single value and no limits.
  const DMatrix values = Values({{0, kNaN}, {0, kNaN}, {0, 4}, {0, kNaN}, {10, kNaN}});
  TrajectoryOptions options;
  options.control_constant = 1.0;
  const TrajectoryBands bands = ComputeTrajectoryBands(values, options);
  EXPECT_TRUE(bands.upper_warning.empty() && bands.lower_warning.empty());
  const std::vector<bool> outside = OutsideControlBand(values, bands);
  EXPECT_EQ(
      outside,
      (std::vector<bool>{false, false, false, false, false, false, false, false, true, false}));

  // A batch exactly on the upper control limit is marked.
  DMatrix on_limit = values;
  on_limit(1, 0) = bands.upper_control[0];
  EXPECT_TRUE(OutsideControlBand(on_limit, bands)[2]);
}

TEST(TrajectoryRebuild, ScoresTimesLoadingsPlusResidualsGiveTheDataBack) {
  // Two batches, J = 2 variables, K = 3 times, two components. The data in their own units
  // are made from the model: scaled = T P' + E, data = scaled · scale + mean.
  const DMatrix scores = Values({{1.0, -0.5}, {-2.0, 0.25}});
  const DMatrix loadings =
      Values({{0.1, 0.2, 0.3, 0.4, 0.5, 0.6}, {-0.6, 0.5, -0.4, 0.3, -0.2, 0.1}});
  const DMatrix residuals =
      Values({{0.01, -0.02, 0.03, kNaN, 0.05, -0.06}, {-0.01, 0.02, -0.03, 0.04, -0.05, 0.06}});
  const std::vector<double> mean{10, 20, 11, 21, 12, 22};
  const std::vector<double> scale{2, 4, 2, 4, 2, 4};
  const auto residual = [&](std::size_t row, std::size_t col) { return residuals(row, col); };

  for (std::size_t variable = 0; variable < 2; ++variable) {
    const DMatrix rebuilt =
        RebuildTimeWiseValues(residual, scores, loadings, mean, scale, 2, variable);
    ASSERT_EQ(rebuilt.rows(), 2u);
    ASSERT_EQ(rebuilt.cols(), 3u);
    for (std::size_t batch = 0; batch < 2; ++batch) {
      for (std::size_t time = 0; time < 3; ++time) {
        const std::size_t col = time * 2 + variable;
        const double scaled = scores(batch, 0) * loadings(0, col) +
                              scores(batch, 1) * loadings(1, col) + residuals(batch, col);
        if (IsMissing(residuals(batch, col))) {
          EXPECT_TRUE(IsMissing(rebuilt(batch, time)));
        } else {
          EXPECT_NEAR(rebuilt(batch, time), scaled * scale[col] + mean[col], 1e-12);
        }
      }
    }
  }
  // Batch 0 of variable 0 at time 1: (1·0.3 - 0.5·-0.4 + 0.03)·2 + 11 = 12.06.
  EXPECT_NEAR(
      RebuildTimeWiseValues(residual, scores, loadings, mean, scale, 2, 0)(0, 1), 12.06, 1e-12);
}

TEST(TrajectoryRebuild, BatchTimeRowsAreRegrouped) {
  // Rows i × K + k for two batches of three times.
  const DMatrix x = Values({{1, 10}, {2, 20}, {3, 30}, {4, 40}, {5, 50}, {6, 60}});
  const DMatrix values = BatchTimeValues(x, 2, 3, 1);
  EXPECT_EQ(values(0, 2), 30.0);
  EXPECT_EQ(values(1, 0), 40.0);
}

}  // namespace
}  // namespace mspc
