#include "pls/pls_monitoring.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "platform/boost_probability.hpp"
#include "pls/pls_engine.hpp"
#include "pls/pls_test_support.hpp"

namespace mspc {
namespace {

using testing::ManufacturedData;
using testing::StandardisedPLS;
using testing::StoreComponents;
using testing::TightOptions;

struct MonitoredModel {
  DMatrix x = ManufacturedData(40, 6, {3.0, 2.0, 1.0}, 0.3, 101);
  DMatrix y = testing::RandomResponse(x, 2, 0.3, 102);
  PLSEngine engine = StandardisedPLS(x, y, TightOptions());
  platform::BoostProbability probability;
  MonitoredModel() { StoreComponents(engine, 3); }
};

// On complete centred data the scores have mean 0, so sum_i (t_ia / s_a)² = N - 1 for every
// component and T² averages K (N - 1) / N; the SPE values add up to the SS that X has left.
TEST(PLSMonitoring, T2AndSPEOnCompleteData) {
  const MonitoredModel model;
  const PLSMonitoring monitoring = ComputePLSMonitoring(model.engine, {}, model.probability);
  double t2_sum = 0.0;
  double spe_sum = 0.0;
  for (std::size_t i = 0; i < 40; ++i) {
    t2_sum += monitoring.t2[i];
    spe_sum += monitoring.spe[i];
  }
  EXPECT_NEAR(t2_sum / 40.0, 3.0 * 39.0 / 40.0, 1e-9);
  const CPLSNode& last = model.engine.Nodes().back();
  EXPECT_NEAR(spe_sum, model.engine.TotalSSX() - last.cumulative_explained_ss_x, 1e-9);
  // The T² limit is that of 3 components on 40 cases.
  const ControlLimitSet reference = ComputeT2Limits({}, 40, 3, model.probability);
  EXPECT_EQ(monitoring.t2_limits.control_line, reference.control_line);
  EXPECT_GT(monitoring.spe_limits.control_line, monitoring.spe_limits.warning_line);
}

// Score limits by standard deviations span 2 k s around the mean, s being the deviation of the
// X scores t for type 0 and of the Y scores u for type 1.
TEST(PLSMonitoring, ScoreLimitsOfXAndYScores) {
  const MonitoredModel model;
  const ScoreLimitOptions options =
      ScoreLimitOptions::Defaults(ScoreLimitType::kStandardDeviations);
  const auto deviation = [](const std::vector<double>& values) {
    double mean = 0.0;
    for (double value : values) mean += value / static_cast<double>(values.size());
    double squares = 0.0;
    for (double value : values) squares += (value - mean) * (value - mean);
    return std::sqrt(squares / static_cast<double>(values.size() - 1));
  };
  for (PLSScoreType type : {PLSScoreType::kXScores, PLSScoreType::kYScores}) {
    const std::vector<ControlLimitSet> limits =
        ComputePLSScoreLimits(model.engine, type, options, model.probability);
    ASSERT_EQ(limits.size(), 3u);
    for (std::size_t a = 0; a < 3; ++a) {
      const CPLSNode& node = model.engine.Nodes()[a];
      const double s = deviation(type == PLSScoreType::kXScores ? node.t : node.u);
      EXPECT_NEAR(limits[a].upper_control - limits[a].lower_control, 6.0 * s, 1e-12) << a;
    }
  }
}

}  // namespace
}  // namespace mspc
