#include "pca/pca_engine.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "host/errors.hpp"
#include "models/cross_product.hpp"
#include "models/missing.hpp"
#include "pca/pca_test_support.hpp"
#include "support/reference_eigen.hpp"

namespace mspc {
namespace {

using testing::Cosine;
using testing::CrossProduct;
using testing::Dot;
using testing::ManufacturedData;
using testing::RecordingProgress;
using testing::SignFreeDistance;
using testing::StandardisedEngine;
using testing::ThreadCount;

PCAFitOptions FixedCount(int components, double convergence = 1e-10, int max_iterations = 1000) {
  PCAFitOptions options;
  options.component_mode = ComponentMode::FixedNumberOfComponents;
  options.max_components = components;
  options.convergence = convergence;
  options.max_iterations = max_iterations;
  options.cross_validation_method = 0;
  return options;
}

double ResidualSS(const PCAEngine& engine) { return testing::SumOfSquares(engine.Residuals()); }

TEST(PCAEngineEigen, ConvergedComponentsMatchLapackOnCompleteData) {
  const DMatrix raw = ManufacturedData(50, 6, {5.0, 3.0, 2.0, 1.2, 0.7, 0.4}, 0.1, 7);
  const auto fit_all = [&raw](double convergence) {
    PCAEngine engine = StandardisedEngine(raw, FixedCount(6, convergence, 1000));
    EXPECT_EQ(engine.AutoFit(), 6);
    return engine;
  };
  const PCAEngine engine = fit_all(1e-12);
  const testing::SymmetricEigen reference =
      testing::DecomposeSymmetric(CrossProduct(engine.ScaledInput()), 6);
  // The eigenvalue converges quadratically in the loading error, so a 1e-12 criterion pins it.
  for (std::size_t a = 0; a < 6; ++a) {
    EXPECT_NEAR(engine.Nodes()[a].eigenvalue, reference.values[a], 1e-8 * reference.values[a])
        << "component " << a + 1;
  }
  // The loadings converge only as the square root of the criterion; run to the last bit.
  const PCAEngine exact = fit_all(0.0);
  for (std::size_t a = 0; a < 6; ++a) {
    EXPECT_LT(SignFreeDistance(exact.Nodes()[a].p, reference.vectors[a]), 1e-8)
        << "component " << a + 1;
    EXPECT_LT(SignFreeDistance(engine.Nodes()[a].p, reference.vectors[a]), 1e-5);
  }
  // The sum of all eigenvalues of a correlation matrix is K.
  double eigenvalue_sum = 0.0;
  for (const CPCANode& node : exact.Nodes()) eigenvalue_sum += node.eigenvalue;
  EXPECT_NEAR(eigenvalue_sum, 6.0, 1e-9);
}

TEST(PCAEngineProperties, OrthogonalScoresUnitLoadingsAndSumsOfSquaresAddUp) {
  const DMatrix raw = ManufacturedData(40, 7, {4.0, 2.5, 1.5, 1.0}, 0.3, 3);
  PCAEngine engine = StandardisedEngine(raw, FixedCount(4, 1e-13));
  ASSERT_EQ(engine.AutoFit(), 4);
  // Converged to a criterion of 1e-13, directions are accurate to about its square root.
  const auto& nodes = engine.Nodes();
  EXPECT_NEAR(engine.TotalSS(), 7.0 * 39.0, 1e-9);  // K (N - 1) for unit-variance columns
  double previous_cumulative = 0.0;
  for (std::size_t a = 0; a < nodes.size(); ++a) {
    EXPECT_NEAR(Dot(nodes[a].p, nodes[a].p), 1.0, 1e-12);
    EXPECT_NEAR(Dot(nodes[a].t, nodes[a].t) / 39.0, nodes[a].eigenvalue, 1e-10);
    EXPECT_NEAR(nodes[a].score_mean, 0.0, 1e-10) << "scores of centred data have mean 0";
    for (std::size_t b = 0; b < a; ++b) {
      EXPECT_LT(std::fabs(Cosine(nodes[a].t, nodes[b].t)), 1e-6);
      EXPECT_LT(std::fabs(Cosine(nodes[a].p, nodes[b].p)), 1e-6);
    }
    // What the component took out of each column adds up to what it took out of the matrix.
    double per_variable = 0.0;
    for (double value : nodes[a].explained_ss_per_variable) per_variable += value;
    EXPECT_NEAR(per_variable, nodes[a].ss_explained, 1e-8 * engine.TotalSS());
    EXPECT_NEAR(nodes[a].ss_explained, nodes[a].eigenvalue * 39.0, 1e-8 * engine.TotalSS());
    EXPECT_NEAR(
        nodes[a].cumulative_ss_explained - previous_cumulative, nodes[a].ss_explained, 1e-9);
    previous_cumulative = nodes[a].cumulative_ss_explained;
    EXPECT_GT(engine.R2X(nodes[a]), 0.0);
  }
  EXPECT_NEAR(nodes.back().cumulative_ss_explained, engine.TotalSS() - ResidualSS(engine), 1e-9);
  EXPECT_NEAR(nodes.back().residual_ss, ResidualSS(engine), 1e-9);
  EXPECT_LE(engine.R2XCumulative(nodes.back()), 1.0);
}

// On complete data the iteration runs on XᵀX; streaming the data in every iteration is the
// same iteration, so both give the same components to rounding, excluded rows and variables
// included. With 33 columns the cross-product kernels use full and edge tiles alike.
TEST(PCAEngineCrossProducts, MatchTheStreamedIterationToRounding) {
  const DMatrix raw = ManufacturedData(300, 33, {6.0, 4.0, 3.0, 2.0, 1.5}, 0.3, 17);
  std::vector<bool> excluded_rows(300, false);
  std::vector<bool> excluded_variables(33, false);
  excluded_rows[5] = true;
  excluded_variables[20] = true;
  PCAFitOptions options = FixedCount(5, 1e-9);
  PCAEngine products = StandardisedEngine(raw, options, excluded_rows, excluded_variables);
  options.cross_products = false;
  PCAEngine streamed = StandardisedEngine(raw, options, excluded_rows, excluded_variables);
  ASSERT_TRUE(products.UsesCrossProducts());
  ASSERT_FALSE(streamed.UsesCrossProducts());
  ASSERT_EQ(products.AutoFit(), 5);
  ASSERT_EQ(streamed.AutoFit(), 5);
  for (std::size_t a = 0; a < 5; ++a) {
    const CPCANode& x = products.Nodes()[a];
    const CPCANode& y = streamed.Nodes()[a];
    EXPECT_EQ(x.iterations, y.iterations) << a;
    EXPECT_NEAR(x.eigenvalue, y.eigenvalue, 1e-11 * y.eigenvalue) << a;
    EXPECT_LT(SignFreeDistance(x.p, y.p), 1e-10) << a;
    EXPECT_LT(SignFreeDistance(x.t, y.t), 1e-9) << a;
    EXPECT_NEAR(x.residual_ss, y.residual_ss, 1e-10 * products.TotalSS()) << a;
    EXPECT_LT(SignFreeDistance(x.explained_ss_per_variable, y.explained_ss_per_variable), 1e-9);
    EXPECT_EQ(x.t[5], 0.0);
    EXPECT_EQ(x.p[20], 0.0);
  }
  // The matrix kept up to date by rank-one terms equals the one formed from the residuals.
  PCAEngine copy = products;
  copy.SetOptions(FixedCount(5, 1e-9));  // same options: the matrix is kept
  const std::vector<double> updated(products.Gram().begin(), products.Gram().end());
  PCAFitOptions off = FixedCount(5, 1e-9);
  off.cross_products = false;
  copy.SetOptions(off);
  copy.SetOptions(FixedCount(5, 1e-9));  // dropped and formed again from the residuals
  const std::span<const double> formed = copy.Gram();
  for (std::size_t k = 0; k < formed.size(); ++k) EXPECT_NEAR(updated[k], formed[k], 1e-9);
}

// The dense kernels against plain loops, on a table large enough to be cut into row segments
// and shared by the threads; the sums come out bit for bit the same with 1 and 2 threads.
TEST(CrossProductKernels, MatchPlainLoopsAndDoNotDependOnTheThreadCount) {
  const DMatrix x = ManufacturedData(6001, 37, {3.0, 2.0}, 0.5, 23);
  const std::vector<double> reference = CrossProduct(x);  // divided by N - 1
  std::vector<double> grams[2];
  for (int threads : {1, 2}) {
    const ThreadCount thread_count(threads);
    grams[threads - 1].assign(37 * 37, 0.0);
    kernels::AddGram(x, {}, grams[threads - 1]);
  }
  EXPECT_EQ(grams[0], grams[1]);
  for (std::size_t k = 0; k < reference.size(); ++k) {
    EXPECT_NEAR(grams[0][k] / 6000.0, reference[k], 1e-12 * (1.0 + std::fabs(reference[k])));
  }
  // Rows 10..29 times a 37 × 19 matrix: a full tile of rows, a remainder, and narrow columns.
  std::vector<double> b(37 * 19);
  for (std::size_t k = 0; k < b.size(); ++k) b[k] = std::sin(static_cast<double>(k));
  std::vector<double> product(20 * 19);
  kernels::MultiplyRows(x, 10, 20, b, 19, product);
  for (std::size_t row = 0; row < 20; ++row) {
    for (std::size_t col = 0; col < 19; ++col) {
      double sum = 0.0;
      for (std::size_t c = 0; c < 37; ++c) sum += x(10 + row, c) * b[c * 19 + col];
      EXPECT_NEAR(product[row * 19 + col], sum, 1e-12 * (1.0 + std::fabs(sum)));
    }
  }
}

// A streamed fit of a matrix large enough to be summed in row chunks by several threads gives
// the same components bit for bit with 1 and 2 threads.
TEST(PCAEngineMissing, ChunkedPassesDoNotDependOnTheThreadCount) {
  DMatrix raw = ManufacturedData(1100, 64, {4.0, 2.0}, 0.3, 29);
  for (std::size_t k = 0; k < 1100; k += 7) raw(k, (k * 13) % 64) = kMissingValue;
  std::vector<CPCANode> runs[2];
  for (int threads : {1, 2}) {
    const ThreadCount thread_count(threads);
    PCAEngine engine = StandardisedEngine(raw, FixedCount(2, 1e-10));
    ASSERT_FALSE(engine.UsesCrossProducts());
    engine.AutoFit();
    runs[threads - 1] = engine.Nodes();
  }
  for (std::size_t a = 0; a < 2; ++a) {
    EXPECT_EQ(runs[0][a].p, runs[1][a].p) << a;
    EXPECT_EQ(runs[0][a].t, runs[1][a].t) << a;
    EXPECT_EQ(runs[0][a].iterations, runs[1][a].iterations) << a;
  }
}

TEST(PCAEngineRemoval, RemovingComponentsRestoresTheWorkingMatrix) {
  DMatrix raw = ManufacturedData(25, 5, {3.0, 2.0}, 0.4, 21);
  raw(3, 1) = kMissingValue;
  raw(10, 4) = kMissingValue;
  PCAEngine engine = StandardisedEngine(raw, FixedCount(3));
  ASSERT_EQ(engine.AutoFit(), 2 + 1);
  const std::int64_t initial_dof = engine.InitialDegreesOfFreedom();
  EXPECT_EQ(initial_dof, 25 * 5);
  EXPECT_EQ(engine.ResidualDegreesOfFreedom(), initial_dof - (28 + 26 + 24));

  PCAEngine one_component = StandardisedEngine(raw, FixedCount(1));
  one_component.AutoFit();
  engine.RemoveLastComponent();
  engine.RemoveLastComponent();
  EXPECT_EQ(engine.ComponentCount(), 1);
  EXPECT_EQ(engine.ResidualDegreesOfFreedom(), initial_dof - 28);
  for (std::size_t i = 0; i < raw.rows(); ++i) {
    for (std::size_t j = 0; j < raw.cols(); ++j) {
      EXPECT_NEAR(engine.Residual(i, j), one_component.Residual(i, j), 1e-12);
    }
  }

  engine.RemoveAllComponents();
  EXPECT_EQ(engine.ComponentCount(), 0);
  EXPECT_EQ(engine.ResidualDegreesOfFreedom(), initial_dof);
  for (std::size_t i = 0; i < raw.rows(); ++i) {
    for (std::size_t j = 0; j < raw.cols(); ++j) {
      const double scaled = engine.ScaledInput()(i, j);
      EXPECT_EQ(engine.Residual(i, j), IsMissing(scaled) ? 0.0 : scaled);
    }
  }
  // Fitting again after a full removal gives the same components bit for bit.
  engine.AutoFit();
  EXPECT_EQ(engine.Nodes()[0].t, one_component.Nodes()[0].t);
  EXPECT_EQ(engine.Nodes()[0].p, one_component.Nodes()[0].p);
}

TEST(PCAEngineMissing, EmptyColumnKeepsZeroLoadingAndEmptyRowZeroScore) {
  DMatrix raw = ManufacturedData(20, 5, {3.0, 1.0}, 0.2, 8);
  for (std::size_t i = 0; i < raw.rows(); ++i) raw(i, 3) = kMissingValue;
  for (std::size_t j = 0; j < raw.cols(); ++j) raw(6, j) = kMissingValue;
  raw(2, 0) = std::numeric_limits<double>::infinity();  // cannot take part: counts as missing
  PCAEngine engine = StandardisedEngine(raw, FixedCount(2));
  ASSERT_EQ(engine.AutoFit(), 2);
  for (const CPCANode& node : engine.Nodes()) {
    EXPECT_EQ(node.p[3], 0.0);
    EXPECT_EQ(node.t[6], 0.0);
    EXPECT_EQ(node.explained_ss_per_variable[3], 0.0);
    EXPECT_TRUE(std::isfinite(node.eigenvalue));
  }
  EXPECT_EQ(engine.VariableTotalSS()[3], 0.0);
  EXPECT_TRUE(engine.IsMissingCell(2, 0));
  EXPECT_FALSE(engine.IsValidCell(2, 0));
  EXPECT_TRUE(IsMissing(engine.Residuals()(2, 0)));
}

TEST(PCAEngineExclusion, ExcludedRowsAndVariablesAreLeftOutOfTheFit) {
  DMatrix raw = ManufacturedData(30, 6, {3.0, 1.5}, 0.3, 17);
  std::vector<bool> excluded_rows(30, false);
  std::vector<bool> excluded_variables(6, false);
  excluded_rows[7] = true;
  excluded_variables[2] = true;
  // The reduced matrix without row 7 and column 2.
  DMatrix reduced(29, 5);
  for (std::size_t i = 0, r = 0; i < 30; ++i) {
    if (i == 7) continue;
    for (std::size_t j = 0, c = 0; j < 6; ++j) {
      if (j != 2) reduced(r, c++) = raw(i, j);
    }
    ++r;
  }
  // Whatever the excluded cells hold does not matter.
  raw(7, 0) = 1e300;
  raw(11, 2) = -1e300;

  // Scale both with the statistics of the reduced data.
  const testing::ColumnStatistics stats = testing::ComputeColumnStatistics(reduced);
  std::vector<double> mean(6, 0.0);
  std::vector<double> scale(6, 1.0);
  for (std::size_t j = 0, c = 0; j < 6; ++j) {
    if (j == 2) continue;
    mean[j] = stats.mean[c];
    scale[j] = stats.sd[c++];
  }
  PCAEngine full(FixedCount(2));
  full.CenterAndScale(raw, mean, scale, excluded_rows, excluded_variables);
  PCAEngine small = StandardisedEngine(reduced, FixedCount(2));
  ASSERT_EQ(full.AutoFit(), 2);
  ASSERT_EQ(small.AutoFit(), 2);
  EXPECT_EQ(full.ActiveRows(), 29);
  EXPECT_EQ(full.ActiveVariables(), 5);
  EXPECT_EQ(full.ComponentCost(1), 29 + 5 - 2);
  for (std::size_t a = 0; a < 2; ++a) {
    const CPCANode& wide = full.Nodes()[a];
    const CPCANode& narrow = small.Nodes()[a];
    EXPECT_NEAR(wide.eigenvalue, narrow.eigenvalue, 1e-10 * narrow.eigenvalue);
    EXPECT_EQ(wide.p[2], 0.0);
    EXPECT_EQ(wide.t[7], 0.0);
    for (std::size_t j = 0, c = 0; j < 6; ++j) {
      if (j == 2) continue;
      EXPECT_NEAR(wide.p[j], narrow.p[c++], 1e-9);
    }
  }
  EXPECT_TRUE(IsMissing(full.Scores()(7, 0)));
}

TEST(PCAEngineIteration, IterationLimitAndZeroCriterionBoundTheLoop) {
  // Two nearly equal leading eigenvalues make the iteration converge slowly: the limit wins over
  // any criterion, a zero criterion runs to the limit, and the previous eigenvalue starts at -1.
  const DMatrix raw = ManufacturedData(30, 5, {2.0, 1.95, 0.5}, 0.1, 4);
  for (const auto& [criterion, limit, iterations] :
       {std::tuple{0.5, 1, 1}, {0.0, 25, 25}, {0.9, 1000, 2}}) {
    PCAEngine engine = StandardisedEngine(raw, FixedCount(1, criterion, limit));
    engine.AutoFit();
    EXPECT_EQ(engine.Nodes()[0].iterations, iterations) << criterion << " " << limit;
  }
}

TEST(PCAEngineIteration, EqualColumnSumsOfSquaresStartFromTheEarlierColumn) {
  // Columns 1 and 2 have the same sum of squares and column 0 less; one iteration from column 1
  // gives p proportional to X' x_1.
  const DMatrix x =
      testing::MatrixOf(4, 3, {0.5, 1.0, 2.0, -0.5, -1.0, 0.0, 0.5, 2.0, -1.0, -0.5, -2.0, -1.0});
  PCAEngine engine(FixedCount(1, 0.0, 1));
  engine.LoadScaled(x);
  engine.AutoFit();
  std::vector<double> expected(3, 0.0);
  for (std::size_t j = 0; j < 3; ++j) {
    for (std::size_t i = 0; i < 4; ++i) expected[j] += x(i, j) * x(i, 1);
  }
  const double norm = std::sqrt(Dot(expected, expected));
  for (double& value : expected) value /= norm;
  EXPECT_LT(SignFreeDistance(engine.Nodes()[0].p, expected), 1e-15);
}

TEST(PCAEngineStopping, DegreesOfFreedomAllowAtMostMinOfNMinusOneAndK) {
  const DMatrix raw = ManufacturedData(5, 8, {3.0, 2.0, 1.0, 0.5}, 0.2, 9);
  PCAEngine engine = StandardisedEngine(raw, FixedCount(10));
  EXPECT_EQ(engine.MaxComponentsAllowed(), 4);
  EXPECT_EQ(engine.AutoFit(), 4);
  EXPECT_GT(engine.ResidualDegreesOfFreedom(), 0);
  EXPECT_EQ(engine.ResidualDegreesOfFreedom(), 40 - (11 + 9 + 7 + 5));
  EXPECT_EQ(engine.FitNextComponent(ComponentMode::FixedNumberOfComponents),
            NodeState::kTooManyComponents);
  EXPECT_EQ(engine.RefusalMessage(), MessageId::kDegreesOfFreedomNotEnough);
  EXPECT_EQ(engine.ComponentCount(), 4);

  PCAEngine two = StandardisedEngine(raw, FixedCount(2));
  EXPECT_EQ(two.AutoFit(), 2);
  EXPECT_FALSE(two.RefusalMessage().has_value()) << "reaching the count is no refusal";
  EXPECT_EQ(two.FitNextComponent(ComponentMode::FixedNumberOfComponents),
            NodeState::kTooManyComponents);
  EXPECT_EQ(two.RefusalMessage(), MessageId::kNoAdditionalModel);
}

TEST(PCAEngineStopping, EigenvalueModeKeepsTheComponentsAboveTheLimit) {
  const DMatrix raw = ManufacturedData(60, 6, {3.0, 2.0, 1.0, 0.5}, 0.5, 31);
  PCAFitOptions options = FixedCount(6, 1e-12);
  options.component_mode = ComponentMode::EigenvalueLimit;
  options.eigenvalue_limit = 1.0;
  PCAEngine engine = StandardisedEngine(raw, options);
  const testing::SymmetricEigen reference =
      testing::DecomposeSymmetric(CrossProduct(engine.ScaledInput()), 6);
  int above = 0;
  for (double value : reference.values) above += value > 1.0 ? 1 : 0;
  ASSERT_GT(above, 0);
  EXPECT_EQ(engine.AutoFit(), above);
  EXPECT_EQ(engine.LastCandidate().state, NodeState::kEigenvalueBelowLimit);
  for (const CPCANode& node : engine.Nodes()) {
    EXPECT_EQ(node.significance, Significance::kUnknown) << "no cross-validation was asked for";
  }
}

TEST(PCAEngineCancel, CancelKeepsTheComponentsAcceptedBefore) {
  const DMatrix raw = ManufacturedData(30, 6, {3.0, 2.0, 1.0}, 0.2, 12);
  // Count the polls of an uncancelled run of two components.
  RecordingProgress counter;
  PCAEngine reference = StandardisedEngine(raw, FixedCount(2, 1e-12));
  reference.SetProgress(&counter);
  reference.AutoFit();
  const int polls_for_two = counter.polls;
  EXPECT_EQ(counter.starts.front(), "Computing...");
  EXPECT_EQ(counter.last_steps, 6 * 1000);
  EXPECT_EQ(counter.captions.front(), "PCA modeling: Model 1, Iteration: 1");

  // The first poll of the third component cancels.
  RecordingProgress cancel(polls_for_two);
  PCAEngine engine = StandardisedEngine(raw, FixedCount(4, 1e-12));
  engine.SetProgress(&cancel);
  EXPECT_THROW(engine.AutoFit(), UserAbort);
  EXPECT_FALSE(cancel.running) << "the progress bar is taken down";
  ASSERT_EQ(engine.ComponentCount(), 2);
  EXPECT_TRUE(testing::SameCells(engine.Residuals(), reference.Residuals()));
  // The model carries on from where it stopped.
  engine.SetProgress(nullptr);
  EXPECT_EQ(engine.AutoFit(), 2);
}

TEST(PCAFitOptionsValidate, RefusesOutOfRangeOptions) {
  struct Case {
    int max_iterations;
    double convergence;
    int folds;
    std::optional<MessageId> expected;
  };
  const Case cases[] = {
      {1, 0.0, 2, std::nullopt},
      {1000, 1.0, 7, std::nullopt},
      {0, 0.1, 7, MessageId::kMaxIterationsOutOfRange},
      {1001, 0.1, 7, MessageId::kMaxIterationsOutOfRange},
      {50, -1e-9, 7, MessageId::kConvergenceCriterionOutOfRange},
      {50, 1.0001, 7, MessageId::kConvergenceCriterionOutOfRange},
      {50, std::numeric_limits<double>::quiet_NaN(), 7, MessageId::kConvergenceCriterionOutOfRange},
      {50, 0.1, 1, MessageId::kFoldsBelowTwo},
  };
  for (const Case& test_case : cases) {
    PCAFitOptions options;
    options.max_iterations = test_case.max_iterations;
    options.convergence = test_case.convergence;
    options.folds = test_case.folds;
    EXPECT_EQ(options.Validate(), test_case.expected)
        << test_case.max_iterations << " " << test_case.convergence << " " << test_case.folds;
  }
  PCAFitOptions fixed;
  fixed.component_mode = ComponentMode::FixedNumberOfComponents;
  fixed.folds = 1;
  EXPECT_EQ(fixed.Validate(), std::nullopt) << "folds matter only when cross-validation runs";
}

}  // namespace
}  // namespace mspc
