#include "pca/contributions.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "models/missing.hpp"
#include "models/monitoring.hpp"
#include "pca/pca_engine.hpp"
#include "pca/pca_test_support.hpp"

namespace mspc {
namespace {

using testing::ManufacturedData;
using testing::StandardisedEngine;

PCAFitOptions ThreeComponents() {
  PCAFitOptions options;
  options.component_mode = ComponentMode::FixedNumberOfComponents;
  options.max_components = 3;
  options.convergence = 1e-14;
  options.max_iterations = 1000;
  return options;
}

DMatrix ContributionData(bool with_missing_cell = true) {
  DMatrix raw = ManufacturedData(30, 6, {3.0, 2.0, 1.0}, 0.3, 41);
  if (with_missing_cell) raw(4, 2) = kMissingValue;
  return raw;
}

// On complete data the loadings are orthonormal, so sum_j x̃_j p_aj = t_a and the shares of a
// row add up to one.
TEST(T2Contribution, CompleteRowSharesAddUpToOneAndMatchTheChartT2) {
  PCAEngine engine = StandardisedEngine(ContributionData(false), ThreeComponents());
  engine.AutoFit();
  const std::vector<double> t2 =
      ComputeHotellingT2(engine.Scores(), engine.ScoreStandardDeviations(), engine.ExcludedRows());
  for (std::size_t row : {0u, 7u, 29u}) {
    const T2Contribution contribution = ComputeT2Contribution(engine, row);
    ASSERT_EQ(contribution.values.size(), 6u);
    double sum = 0.0;
    for (double value : contribution.values) sum += value;
    EXPECT_NEAR(sum, 1.0, 1e-9) << "row " << row;
    EXPECT_NEAR(contribution.t2, t2[row], 1e-10 * t2[row]);
  }
}

TEST(T2Contribution, MissingCellIsNotANumberAndExcludedVariableIsAbsent) {
  std::vector<bool> excluded_variables(6, false);
  excluded_variables[5] = true;
  PCAEngine engine =
      StandardisedEngine(ContributionData(), ThreeComponents(), {}, excluded_variables);
  engine.AutoFit();
  const T2Contribution contribution = ComputeT2Contribution(engine, 4);
  EXPECT_EQ(contribution.variables, (std::vector<std::size_t>{0, 1, 2, 3, 4}));
  EXPECT_TRUE(IsMissing(contribution.values[2]));
  for (std::size_t k : {0u, 1u, 3u, 4u}) EXPECT_TRUE(std::isfinite(contribution.values[k]));

  const std::vector<double> score = ComputeScoreContribution(engine, 4, 1);
  ASSERT_EQ(score.size(), 6u);
  EXPECT_EQ(score[2], 0.0) << "missing cell";
  EXPECT_EQ(score[5], 0.0) << "excluded variable";
}

TEST(T2Contribution, ZeroScoresGiveZeroT2AndFiniteUnnormalisedValues) {
  DMatrix loadings(2, 3);
  loadings(0, 0) = 1.0;
  loadings(1, 1) = 1.0;
  const std::vector<double> residual = {0.5, -1.0, 2.0};
  const T2Contribution contribution = ComputeT2Contribution(
      residual, std::vector<double>{0.0, 0.0}, loadings, std::vector<double>{2.0, 1.0}, {});
  EXPECT_EQ(contribution.t2, 0.0);
  for (double value : contribution.values) EXPECT_EQ(value, 0.0);

  // A non-zero observation whose sum is not normalised away: the hand value of
  // c_j = (1/T²) sum_a (t_a / var_a) x̃_j p_aj with T² = 1/2 + 4 = 4.5.
  const T2Contribution scored = ComputeT2Contribution(
      residual, std::vector<double>{1.0, 2.0}, loadings, std::vector<double>{2.0, 1.0}, {});
  EXPECT_DOUBLE_EQ(scored.t2, 4.5);
  EXPECT_DOUBLE_EQ(scored.values[0], (0.5 * (0.5 + 1.0)) / 4.5);
  EXPECT_DOUBLE_EQ(scored.values[1], (2.0 * (-1.0 + 2.0)) / 4.5);
  EXPECT_DOUBLE_EQ(scored.values[2], 0.0);
}

// The score contribution rebuilds the row as it stood when component a was fitted; the engine
// gets there independently by taking the later components out of its working matrix again.
TEST(ScoreContribution, RebuildsTheRowAsItStoodWhenTheComponentWasFitted) {
  PCAEngine engine = StandardisedEngine(ContributionData(), ThreeComponents());
  engine.AutoFit();
  const DMatrix loadings = engine.Loadings();
  const double variables = engine.ActiveVariables();
  for (std::size_t row : {4u, 11u}) {
    std::vector<std::vector<double>> contributions;
    for (int a = 1; a <= 3; ++a) contributions.push_back(ComputeScoreContribution(engine, row, a));
    PCAEngine stepping = engine;
    for (std::size_t a = 3; a >= 1; --a) {
      stepping.RemoveLastComponent();  // a - 1 components left: the residual before component a
      for (std::size_t j = 0; j < 6; ++j) {
        if (!stepping.IsValidCell(row, j)) continue;
        const double expected =
            variables * loadings(a - 1, j) * loadings(a - 1, j) * stepping.Residual(row, j);
        EXPECT_NEAR(contributions[a - 1][j], expected, 1e-12) << "row " << row << " a " << a;
      }
    }
  }
}

TEST(SPEContribution, SquaresAddUpToTheRowSPE) {
  PCAEngine engine = StandardisedEngine(ContributionData(), ThreeComponents());
  engine.AutoFit();
  const std::vector<double> spe =
      ComputeSPE(engine.Residuals(), engine.ExcludedRows(), engine.ExcludedVariables());
  for (std::size_t row : {3u, 4u}) {
    const SPEContribution contribution = ComputeSPEContribution(engine, row);
    double sum = 0.0;
    for (std::size_t k = 0; k < contribution.variables.size(); ++k) {
      if (IsMissing(contribution.squared[k])) continue;
      EXPECT_DOUBLE_EQ(contribution.squared[k],
                       contribution.residual[k] * contribution.residual[k]);
      sum += contribution.squared[k];
    }
    EXPECT_NEAR(sum, spe[row], 1e-15);
  }
  EXPECT_TRUE(IsMissing(ComputeSPEContribution(engine, 4).residual[2]));
}

}  // namespace
}  // namespace mspc
