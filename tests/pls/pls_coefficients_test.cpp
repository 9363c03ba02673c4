#include "pls/pls_coefficients.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "models/missing.hpp"
#include "pls/pls_engine.hpp"
#include "pls/pls_test_support.hpp"

namespace mspc {
namespace {

using testing::LinearResponse;
using testing::ManufacturedData;
using testing::MatrixOf;
using testing::NormalMatrix;
using testing::StandardisedPLS;
using testing::StoreComponents;
using testing::TightOptions;

TEST(SolveLinearSystem, AgreesWithLapackAndPivotsAndLeavesSingularUnknownsAtZero) {
  const DMatrix a = NormalMatrix(6, 6, 71);
  const DMatrix rhs = NormalMatrix(6, 2, 72);
  DMatrix solution = rhs;
  SolveLinearSystem(a, solution);
  const DMatrix reference = testing::LeastSquares(a, rhs);  // exact for a square system
  EXPECT_LT(testing::MaxDifference({solution.data(), 12}, {reference.data(), 12}), 1e-10);

  DMatrix swapped = MatrixOf(2, 1, {2.0, 3.0});
  SolveLinearSystem(MatrixOf(2, 2, {0.0, 1.0, 1.0, 0.0}), swapped);
  EXPECT_EQ(swapped(0, 0), 3.0);
  EXPECT_EQ(swapped(1, 0), 2.0);
  DMatrix singular = MatrixOf(2, 1, {2.0, 5.0});
  SolveLinearSystem(MatrixOf(2, 2, {4.0, 0.0, 0.0, 0.0}), singular);
  EXPECT_EQ(singular(0, 0), 0.5);
  EXPECT_EQ(singular(1, 0), 0.0);
}

// Two dependents, means and scales away from 0 and 1, and (unless asked for complete data)
// missing cells in both blocks.
struct MixedData {
  DMatrix x = ManufacturedData(50, 6, {3.0, 2.0, 1.0}, 0.3, 81);
  DMatrix y;
  explicit MixedData(bool with_missing_cells = true) {
    for (std::size_t i = 0; i < x.rows(); ++i) {
      for (std::size_t j = 0; j < x.cols(); ++j) x(i, j) = 20.0 + 3.0 * x(i, j) * (j + 1.0);
    }
    y = LinearResponse(x,
                       {{0.1, 0.0}, {0.0, 0.2}, {0.3, -0.1}, {0.0, 0.0}, {-0.2, 0.1}, {0.05, 0.05}},
                       {4.0, -2.0},
                       0.5,
                       82);
    if (with_missing_cells) {
      x(3, 1) = kMissingValue;
      x(17, 4) = kMissingValue;
      y(6, 1) = kMissingValue;
    }
  }
};

// Prediction plus residual gives back every observed cell of both blocks, in the units of the
// data; a missing cell has a prediction but no residual.
TEST(PLSPredictions, PredictionPlusResidualIsTheObservation) {
  const MixedData data;
  PLSEngine engine = StandardisedPLS(data.x, data.y, TightOptions());
  StoreComponents(engine, 3);
  const PLSPredictions predictions = ComputePLSPredictions(engine);
  for (std::size_t i = 0; i < engine.Rows(); ++i) {
    for (std::size_t j = 0; j < engine.XCols(); ++j) {
      if (IsMissing(data.x(i, j))) {
        EXPECT_TRUE(IsMissing(predictions.x_residual(i, j)));
        continue;
      }
      EXPECT_NEAR(predictions.x_predicted(i, j) + predictions.x_residual(i, j), data.x(i, j), 1e-9);
    }
    for (std::size_t k = 0; k < engine.YCols(); ++k) {
      EXPECT_TRUE(std::isfinite(predictions.y_predicted(i, k)));
      if (IsMissing(data.y(i, k))) {
        EXPECT_TRUE(IsMissing(predictions.y_residual(i, k)));
        continue;
      }
      EXPECT_NEAR(predictions.y_predicted(i, k) + predictions.y_residual(i, k), data.y(i, k), 1e-9);
    }
  }
}

// On complete data the scores are X W (P'W)⁻¹, so the predicted Y of every case is its row
// times the coefficients plus the intercepts.
TEST(PLSCoefficients, PredictionsAreTheRowsTimesTheCoefficients) {
  const MixedData data(false);
  PLSEngine engine = StandardisedPLS(data.x, data.y, TightOptions());
  StoreComponents(engine, 3);
  const PLSCoefficients coefficients = ComputePLSCoefficients(engine);
  const PLSPredictions predictions = ComputePLSPredictions(engine);
  for (std::size_t i = 0; i < engine.Rows(); ++i) {
    for (std::size_t k = 0; k < 2; ++k) {
      double value = coefficients.intercept[k];
      for (std::size_t j = 0; j < engine.XCols(); ++j)
        value += data.x(i, j) * coefficients.data(j, k);
      EXPECT_NEAR(value, predictions.y_predicted(i, k), 1e-9) << i << "," << k;
    }
  }
}

TEST(PLSCoefficients, NoComponentPredictsTheMeans) {
  const MixedData data;
  const PLSEngine engine = StandardisedPLS(data.x, data.y, TightOptions());
  const PLSCoefficients coefficients = ComputePLSCoefficients(engine);
  EXPECT_EQ(coefficients.data(2, 1), 0.0);
  EXPECT_EQ(coefficients.intercept[1], engine.YScaling().mean[1]);
}

TEST(PLSClassification, PredictedClassIsTheLargestDummy) {
  const DMatrix predicted =
      MatrixOf(4, 3, {0.1, 0.7, 0.2, 0.5, 0.5, 0.0, kMissingValue, 0.2, 0.9, -0.1, -0.3, -0.2});
  const std::vector<std::size_t> columns = {0, 1, 2};
  const std::vector<double> codes = {10.0, 20.0, 30.0};
  EXPECT_EQ(PredictClasses(predicted, columns, codes),
            (std::vector<double>{20.0, 10.0, 30.0, 10.0}));
}

// Three well separated groups of cases, a dummy column per group as the dependents: the model
// classifies the training cases back into their groups.
TEST(PLSClassification, SeparatedGroupsAreRecovered) {
  DMatrix x = NormalMatrix(90, 4, 91);
  DMatrix y(90, 3);
  const double centres[3][4] = {{4, 0, 0, 1}, {0, 4, 0, -1}, {0, 0, 4, 0}};
  std::vector<double> truth(90);
  for (std::size_t i = 0; i < 90; ++i) {
    const std::size_t group = i % 3;
    for (std::size_t j = 0; j < 4; ++j) x(i, j) += centres[group][j];
    y(i, group) = 1.0;
    truth[i] = static_cast<double>(group + 1);
  }
  PLSEngine engine = StandardisedPLS(x, y, TightOptions());
  StoreComponents(engine, 2);
  const PLSPredictions predictions = ComputePLSPredictions(engine);
  const std::vector<std::size_t> columns = {0, 1, 2};
  const std::vector<double> codes = {1.0, 2.0, 3.0};
  const std::vector<double> classes = PredictClasses(predictions.y_predicted, columns, codes);
  int correct = 0;
  for (std::size_t i = 0; i < 90; ++i) correct += classes[i] == truth[i] ? 1 : 0;
  EXPECT_GE(correct, 88);
}

}  // namespace
}  // namespace mspc
