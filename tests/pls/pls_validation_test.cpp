#include "pls/pls_validation.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "models/missing.hpp"
#include "pls/pls_test_support.hpp"

namespace mspc {
namespace {

using testing::ManufacturedData;
using testing::StandardisedPLS;
using testing::StoreComponents;
using testing::TightOptions;

CPLSNode NodeWith(std::vector<double> w, double explained_ss_y, double cumulative_ss_y) {
  CPLSNode node;
  node.w = std::move(w);
  node.explained_ss_y = explained_ss_y;
  node.cumulative_explained_ss_y = cumulative_ss_y;
  return node;
}

// The weights have unit length whatever is missing, so over the predictors that take part the
// importances add up to 1 and the squared VIPs average 1; an excluded predictor has none.
TEST(PLSVariableImportance, ImportancesSumToOneAndSquaredVIPsAverageOne) {
  DMatrix x = ManufacturedData(60, 7, {3.0, 2.0, 1.0}, 0.3, 61);
  DMatrix y = testing::RandomResponse(x, 2, 0.4, 62);
  x(2, 3) = kMissingValue;
  y(8, 0) = kMissingValue;
  PLSExclusions exclusions;
  exclusions.x_columns = {false, false, true, false, false, false, false};
  PLSEngine engine = StandardisedPLS(x, y, TightOptions(), exclusions);
  StoreComponents(engine, 3);

  const std::vector<std::string> names = {"a", "b", "c", "d", "e", "f", "g"};
  const auto importance =
      ComputeVariableImportance(engine.Nodes(), engine.ExcludedXColumns(), names, false);
  ASSERT_TRUE(importance.has_value());
  double sum = 0.0;
  double vip_squares = 0.0;
  for (std::size_t j = 0; j < 7; ++j) {
    sum += importance->importance[j];
    vip_squares += importance->vip[j] * importance->vip[j];
    EXPECT_DOUBLE_EQ(importance->complement[j], 1.0 - importance->importance[j]);
  }
  EXPECT_NEAR(sum, 1.0, 1e-12);
  EXPECT_NEAR(vip_squares / 6.0, 1.0, 1e-12);
  EXPECT_EQ(importance->importance[2], 0.0);
  EXPECT_EQ(importance->complement[2], 1.0);
  EXPECT_EQ(importance->vip[2], 0.0);
  EXPECT_NEAR(importance->cumulative.back(), 1.0, 1e-12);
}

// Hand-computed: two components explaining 2 and 1 of Y with weights (0.6, 0.8, 0) and
// (0.8, -0.6, 0): I = (0.36·2 + 0.64) / 3, (0.64·2 + 0.36) / 3 and 0.
TEST(PLSVariableImportance, HandComputedImportancesOrdersAndASinglePredictor) {
  const std::vector<CPLSNode> nodes = {NodeWith({0.6, 0.8, 0.0}, 2.0, 2.0),
                                       NodeWith({0.8, -0.6, 0.0}, 1.0, 3.0)};
  const std::vector<std::string> names = {"beta", "alpha", "Alpha"};
  const auto sorted = ComputeVariableImportance(nodes, {}, names, true);
  ASSERT_TRUE(sorted.has_value());
  EXPECT_NEAR(sorted->importance[0], 1.36 / 3.0, 1e-15);
  EXPECT_NEAR(sorted->importance[1], 1.64 / 3.0, 1e-15);
  EXPECT_EQ(sorted->importance[2], 0.0);
  EXPECT_NEAR(sorted->vip[0], std::sqrt(1.36), 1e-15);
  EXPECT_EQ(sorted->vip[2], 0.0);
  EXPECT_EQ(sorted->order, (std::vector<std::size_t>{1, 0, 2}));
  EXPECT_NEAR(sorted->cumulative[0], 1.64 / 3.0, 1e-15);
  EXPECT_NEAR(sorted->cumulative[1], 1.0, 1e-15);

  // Dictionary order ignores case; equal names up to case keep byte order.
  const auto listed = ComputeVariableImportance(nodes, {}, names, false);
  EXPECT_EQ(listed->order, (std::vector<std::size_t>{2, 1, 0}));

  // A single predictor has VIP 1; no component gives nothing.
  const std::vector<std::string> single = {"x"};
  const std::vector<CPLSNode> single_nodes = {NodeWith({1.0}, 0.7, 0.7),
                                              NodeWith({-1.0}, 0.2, 0.9)};
  const auto one = ComputeVariableImportance(single_nodes, {}, single, true);
  ASSERT_TRUE(one.has_value());
  EXPECT_NEAR(one->vip[0], 1.0, 1e-15);
  EXPECT_FALSE(ComputeVariableImportance({}, {}, single, true).has_value());
}

// Per-column Q² divides by the total SS for the first component and by the previous
// component's explained SS after that; a zero reference gives 0 and an excluded column nothing.
TEST(PLSColumnQ2, ReferenceIsTotalThenPreviousExplained) {
  CPLSNode first;
  first.press_y_per_column = {2.0, 3.0, 1.0};
  const std::vector<double> totals = {8.0, 4.0, 5.0};
  const std::vector<double> q2 = ColumnQ2(first, nullptr, totals, {false, false, true});
  EXPECT_DOUBLE_EQ(q2[0], 0.75);
  EXPECT_DOUBLE_EQ(q2[1], 0.25);
  EXPECT_TRUE(std::isnan(q2[2]));

  CPLSNode previous;
  previous.explained_ss_y_per_column = {4.0, 0.0, 2.0};
  const std::vector<double> later = ColumnQ2(first, &previous, totals, {});
  EXPECT_DOUBLE_EQ(later[0], 0.5);
  EXPECT_EQ(later[1], 0.0);
  EXPECT_DOUBLE_EQ(later[2], 0.5);
}

}  // namespace
}  // namespace mspc
