#include "pls/pls_engine.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "host/errors.hpp"
#include "models/missing.hpp"
#include "pls/pls_coefficients.hpp"
#include "pls/pls_test_support.hpp"

namespace mspc {
namespace {

using testing::Dot;
using testing::LeastSquares;
using testing::LeastSquaresWithIntercept;
using testing::LinearResponse;
using testing::ManufacturedData;
using testing::NormalMatrix;
using testing::RecordingProgress;
using testing::SameCells;
using testing::StandardisedPLS;
using testing::StoreComponents;
using testing::SumOfSquares;
using testing::ThreadCount;
using testing::TightOptions;

constexpr double kTight = 1e-9;

// Four correlated predictors of full rank and one dependent with noise.
struct SingleDependentData {
  DMatrix x = ManufacturedData(40, 4, {3.0, 2.0, 1.5, 1.0}, 0.3, 11);
  DMatrix y = LinearResponse(x, {{0.8}, {-0.5}, {0.3}, {1.2}}, {5.0}, 0.4, 12);
};

// With one dependent every component takes a single pass, q is exactly 1 and u is the
// dependent column as it stands before the component; the X scores are mutually orthogonal and
// the weights orthonormal, as NIPALS PLS on complete data guarantees.
TEST(PLSEngine, SingleDependentIdentitiesOnCompleteData) {
  const SingleDependentData data;
  PLSEngine engine = StandardisedPLS(data.x, data.y, TightOptions());
  for (int k = 0; k < 4; ++k) {
    const DMatrix y_before = engine.YResiduals();
    CPLSNode node = engine.NewNode();
    engine.FitOnAllCases(node);
    EXPECT_EQ(node.iterations, 1) << k;
    EXPECT_EQ(node.q[0], 1.0) << k;
    for (std::size_t i = 0; i < engine.Rows(); ++i) ASSERT_EQ(node.u[i], y_before(i, 0)) << k;
    engine.StoreComponent(std::move(node));
  }

  const std::vector<CPLSNode>& nodes = engine.Nodes();
  for (std::size_t a = 0; a < nodes.size(); ++a) {
    EXPECT_NEAR(Dot(nodes[a].w, nodes[a].w), 1.0, kTight) << a;
    for (std::size_t b = 0; b < a; ++b) {
      const double t_norms = std::sqrt(Dot(nodes[a].t, nodes[a].t) * Dot(nodes[b].t, nodes[b].t));
      EXPECT_NEAR(Dot(nodes[a].t, nodes[b].t) / t_norms, 0.0, kTight) << a << "," << b;
      EXPECT_NEAR(Dot(nodes[a].w, nodes[b].w), 0.0, kTight) << a << "," << b;
    }
  }
}

// Two dependents made from five predictors (means far from 0, scales far from 1) and a little
// noise. With as many components as X has rank, PLS spans the column space of X and its
// coefficients are those of least squares, in scaled units and in the units of the data (where
// the intercept takes the place of the centring); they lie near the planted ones.
TEST(PLSEngine, FullRankCoefficientsAreLeastSquaresAndRecoverThePlantedOnes) {
  DMatrix x = NormalMatrix(300, 5, 21);
  const std::vector<double> x_mean = {100.0, -40.0, 3.0, 0.0, 1e3};
  const std::vector<double> x_scale = {10.0, 0.5, 2.0, 1.0, 30.0};
  for (std::size_t i = 0; i < x.rows(); ++i) {
    x(i, 1) += 0.6 * x(i, 0);  // correlated predictors
    for (std::size_t j = 0; j < 5; ++j) x(i, j) = x_mean[j] + x_scale[j] * x(i, j);
  }
  const std::vector<std::vector<double>> beta = {
      {0.5, -0.2}, {2.0, 0.0}, {-1.0, 3.0}, {0.25, 0.75}, {0.01, -0.02}};
  const DMatrix y = LinearResponse(x, beta, {7.0, -3.0}, 0.01, 22);

  PLSEngine engine = StandardisedPLS(x, y, TightOptions());
  StoreComponents(engine, 5);
  const PLSCoefficients coefficients = ComputePLSCoefficients(engine);
  const DMatrix scaled_reference = LeastSquares(engine.ScaledX(), engine.ScaledY());
  const DMatrix reference = LeastSquaresWithIntercept(x, y);
  for (std::size_t k = 0; k < 2; ++k) {
    for (std::size_t j = 0; j < 5; ++j) {
      EXPECT_NEAR(coefficients.scaled(j, k), scaled_reference(j, k), 1e-8) << j << "," << k;
      EXPECT_NEAR(coefficients.data(j, k), reference(j + 1, k), 1e-8 / x_scale[j]) << j;
      EXPECT_NEAR(coefficients.data(j, k), beta[j][k], 5e-3 / x_scale[j]) << j << "," << k;
    }
    // The intercepts carry the estimation error of every slope times its mean.
    EXPECT_NEAR(coefficients.intercept[k], reference(0, k), 1e-6);
  }
  EXPECT_NEAR(coefficients.intercept[0], 7.0, 0.3);
  EXPECT_NEAR(coefficients.intercept[1], -3.0, 0.3);
  // With two dependents the inner iteration ran: some component needed more than one pass.
  int most_passes = 0;
  for (const CPLSNode& node : engine.Nodes()) most_passes = std::max(most_passes, node.iterations);
  EXPECT_GT(most_passes, 1);
  for (const CPLSNode& node : engine.Nodes()) EXPECT_NEAR(Dot(node.q, node.q), 1.0, kTight);
}

// On complete data every deflation removes exactly the explained sums of squares, so what is
// explained and what remains add up to the totals, and the remaining SS of each node chains.
TEST(PLSEngine, ExplainedAndResidualSumsOfSquaresAddUp) {
  const SingleDependentData data;
  PLSEngine engine = StandardisedPLS(data.x, data.y, TightOptions());
  StoreComponents(engine, 3);
  const CPLSNode& last = engine.Nodes().back();
  EXPECT_NEAR(last.cumulative_explained_ss_x + SumOfSquares(engine.XResiduals()),
              engine.TotalSSX(),
              1e-9 * engine.TotalSSX());
  EXPECT_NEAR(last.cumulative_explained_ss_y + SumOfSquares(engine.YResiduals()),
              engine.TotalSSY(),
              1e-9 * engine.TotalSSY());
  for (std::size_t k = 1; k < engine.Nodes().size(); ++k) {
    const CPLSNode& previous = engine.Nodes()[k - 1];
    EXPECT_DOUBLE_EQ(engine.Nodes()[k].remaining_ss_y,
                     previous.remaining_ss_y - previous.explained_ss_y);
  }
}

// A case with every X cell missing has no score: t stays 0, so its fitted Y is the mean. A case
// with its Y cell missing starts with u = 0 and gets a prediction but no residual.
TEST(PLSEngine, CasesWithMissingBlocks) {
  SingleDependentData data;
  for (std::size_t j = 0; j < 4; ++j) data.x(5, j) = kMissingValue;
  data.y(9, 0) = kMissingValue;
  PLSEngine engine = StandardisedPLS(data.x, data.y, TightOptions());
  StoreComponents(engine, 2);
  for (const CPLSNode& node : engine.Nodes()) {
    EXPECT_EQ(node.t[5], 0.0);
    EXPECT_TRUE(std::isfinite(node.b));
  }
  EXPECT_EQ(engine.Nodes()[0].u[9], 0.0);

  const PLSPredictions predictions = ComputePLSPredictions(engine);
  EXPECT_DOUBLE_EQ(predictions.y_predicted(5, 0), engine.YScaling().mean[0]);
  EXPECT_TRUE(std::isfinite(predictions.y_predicted(9, 0)));
  EXPECT_TRUE(IsMissing(predictions.y_residual(9, 0)));
}

// The PRESS of the first component against a plain reference: PLS1 fitted on the rows outside
// each fold (w ∝ X'y, t = Xw, p = X't / t't, b = y't / t't), the fold's rows scored with p and
// no division, and their residuals squared.
TEST(PLSCrossValidation, FirstComponentPRESSMatchesPlainReference) {
  const SingleDependentData data;
  PLSFitOptions options = TightOptions(PLSFitMode::kCrossValidation, true);
  options.folds = 5;
  PLSEngine engine = StandardisedPLS(data.x, data.y, options);
  CPLSNode node = engine.NewNode();
  engine.CrossValidate(node);

  const DMatrix& x = engine.ScaledX();
  const DMatrix& y = engine.ScaledY();
  const FoldPlan& plan = engine.Folds();
  double press_x = 0.0;
  double press_y = 0.0;
  for (int fold = 1; fold <= plan.folds; ++fold) {
    std::vector<double> w(4, 0.0);
    for (std::size_t i = 0; i < x.rows(); ++i) {
      if (plan.fold[i] == fold) continue;
      for (std::size_t j = 0; j < 4; ++j) w[j] += x(i, j) * y(i, 0);
    }
    const double w_norm = std::sqrt(Dot(w, w));
    for (double& value : w) value /= w_norm;
    std::vector<double> t(x.rows(), 0.0);
    double tt = 0.0;
    double yt = 0.0;
    for (std::size_t i = 0; i < x.rows(); ++i) {
      if (plan.fold[i] == fold) continue;
      for (std::size_t j = 0; j < 4; ++j) t[i] += x(i, j) * w[j];
      tt += t[i] * t[i];
      yt += y(i, 0) * t[i];
    }
    std::vector<double> p(4, 0.0);
    for (std::size_t i = 0; i < x.rows(); ++i) {
      for (std::size_t j = 0; j < 4; ++j) p[j] += x(i, j) * t[i] / tt;
    }
    const double b = yt / tt;
    for (std::size_t i = 0; i < x.rows(); ++i) {
      if (plan.fold[i] != fold) continue;
      double score = 0.0;
      for (std::size_t j = 0; j < 4; ++j) score += x(i, j) * p[j];
      for (std::size_t j = 0; j < 4; ++j) press_x += std::pow(x(i, j) - score * p[j], 2);
      press_y += std::pow(y(i, 0) - score * b, 2);
    }
  }
  EXPECT_NEAR(node.press_x, press_x, 1e-10 * press_x);
  EXPECT_NEAR(node.press_y, press_y, 1e-10 * press_y);
  EXPECT_NEAR(node.press_y_per_column[0], press_y, 1e-10 * press_y);
}

// The verdicts of the test on crafted PRESS sums. Component 2 of a model whose Kauto is 3; the
// previous component explained 4 of the first Y column and (within the slack) 0 of the second,
// whose Q²_k is then 0, which counts as predicting unless the column is excluded; it is excluded
// in most cases so that the other rules can be reached.
TEST(PLSComponentTest, StatusFollowsQ2AndTheDependentColumns) {
  const struct {
    const char* name;
    int component;
    double press_y;               // against a remaining SS Y of 10
    std::vector<double> press_k;  // per Y column
    PLSStatus status;
    bool accepted;
    std::vector<bool> excluded = {false, true};
  } cases[] = {
      {"positive Q2", 2, 6.0, {5.0, 1.0}, PLSStatus::kAccepted, true},
      {"zero Q2 falls to the columns", 2, 10.0, {5.0, 5.0}, PLSStatus::kUndecided, false},
      {"a column with Q2_k >= 0", 2, 12.0, {4.0, 8.0}, PLSStatus::kAcceptedBySingleDependent, true},
      {"negligible Q2 only", 2, 10.05, {4.1, 5.95}, PLSStatus::kNotSignificant, false},
      {"negligible Q2, a strong column", 2, 10.05, {4.2, 5.85}, PLSStatus::kUndecided, false},
      {"clearly negative Q2", 2, 15.0, {5.0, 10.0}, PLSStatus::kUndecided, false},
      {"beyond Kauto with a positive Q2", 4, 6.0, {2.0, 4.0}, PLSStatus::kBeyondAutoFitLimit, true},
      {"beyond Kauto otherwise", 4, 15.0, {4.0, 11.0}, PLSStatus::kBeyondAutoFitLimit, false},
      {"nothing to predict", 2, 15.0, {5.0, 10.0}, PLSStatus::kAcceptedBySingleDependent, true, {}},
  };
  CPLSNode previous;
  previous.component = 1;
  previous.q2_cumulative = 0.5;
  previous.explained_ss_y_per_column = {4.0, 10 * std::numeric_limits<double>::denorm_min()};
  const std::vector<double> totals = {20.0, 20.0};
  for (const auto& test_case : cases) {
    CPLSNode node;
    node.component = test_case.component;
    node.remaining_ss_y = 10.0;
    node.press_y = test_case.press_y;
    node.press_y_per_column = test_case.press_k;
    const bool accepted = TestPLSComponent(node, &previous, totals, test_case.excluded, 3);
    EXPECT_EQ(node.status, test_case.status) << test_case.name;
    EXPECT_EQ(accepted, test_case.accepted) << test_case.name;
    EXPECT_DOUBLE_EQ(node.q2, 1.0 - test_case.press_y / 10.0) << test_case.name;
    EXPECT_DOUBLE_EQ(node.q2_cumulative, 1.0 - 0.5 * test_case.press_y / 10.0) << test_case.name;
  }
}

// Data with several components' worth of structure for the fit modes.
struct LatentData {
  DMatrix x = ManufacturedData(90, 10, {4.0, 3.0, 2.5, 2.0, 1.5}, 0.3, 31);
  DMatrix y = LinearResponse(
      x, {{1.0}, {-0.8}, {0.6}, {0.0}, {0.4}, {-0.3}, {0.9}, {0.2}, {-0.5}, {0.7}}, {0.0}, 0.5, 32);
};

// Cross-validation keeps the components that predict; the first one it rejects is stored as
// well, and the fit ends with it (or once Kauto components are stored).
TEST(PLSFitModes, CrossValidationStoresTheFirstRejectedComponentAndStops) {
  const LatentData data;
  PLSEngine engine =
      StandardisedPLS(data.x, data.y, TightOptions(PLSFitMode::kCrossValidation, true));
  const int stored = engine.AutoFit();
  ASSERT_EQ(stored, engine.ComponentCount());
  ASSERT_GE(stored, 2);
  const std::vector<CPLSNode>& nodes = engine.Nodes();
  for (std::size_t k = 0; k + 1 < nodes.size(); ++k) {
    EXPECT_TRUE(IsAccepted(nodes[k].status)) << k;
    EXPECT_TRUE(std::isfinite(nodes[k].q2)) << k;
  }
  EXPECT_TRUE(!IsAccepted(nodes.back().status) || stored == engine.AutoFitLimit());
  std::int64_t cost = 0;
  for (int k = 1; k <= stored; ++k) cost += engine.ComponentCost(k);
  EXPECT_EQ(engine.DegreesOfFreedom(), engine.InitialDegreesOfFreedom() - cost);
}

TEST(PLSFitModes, FixedNumberStopsAtTheNumberOrAtKauto) {
  const LatentData data;
  PLSFitOptions options = TightOptions(PLSFitMode::kFixedNumber);
  options.num_components = 3;
  PLSEngine engine = StandardisedPLS(data.x, data.y, options);
  EXPECT_EQ(engine.AutoFit(), 3);
  EXPECT_EQ(engine.LastCandidate().component, 4);
  EXPECT_EQ(engine.LastCandidate().status, PLSStatus::kNotSignificant);

  options.num_components = 50;
  engine.SetOptions(options);
  engine.RemoveAllComponents();
  EXPECT_EQ(engine.AutoFit(), engine.AutoFitLimit());
  EXPECT_EQ(engine.AutoFitLimit(), 5);  // min(90 / 2, 10 / 2)

  // Asking for more once the number is reached stops at once with status -4.
  options.num_components = 5;
  engine.SetOptions(options);
  EXPECT_EQ(engine.AutoFit(), 0);
  EXPECT_EQ(engine.LastCandidate().status, PLSStatus::kNotSignificant);
  EXPECT_EQ(engine.LastCandidate().component, 6);
}

TEST(PLSFitModes, EigenvalueLimitStopsAtTheFirstSmallEigenvalue) {
  const LatentData data;
  PLSEngine reference = StandardisedPLS(data.x, data.y, TightOptions());
  StoreComponents(reference, 4);
  // The eigenvalues of PLS components need not decrease; the third must be below the first two.
  const double smaller_of_two = std::min(reference.Nodes()[0].lambda, reference.Nodes()[1].lambda);
  ASSERT_GT(smaller_of_two, reference.Nodes()[2].lambda);
  const double limit = 0.5 * (smaller_of_two + reference.Nodes()[2].lambda);

  PLSFitOptions options = TightOptions(PLSFitMode::kEigenvalueLimit);
  options.eigenvalue_limit = limit;
  PLSEngine engine = StandardisedPLS(data.x, data.y, options);
  EXPECT_EQ(engine.AutoFit(), 2);
  EXPECT_EQ(engine.LastCandidate().status, PLSStatus::kStoppedByLimit);
  EXPECT_EQ(engine.LastCandidate().component, 3);
  EXPECT_DOUBLE_EQ(engine.LastCandidate().lambda, reference.Nodes()[2].lambda);
}

// Adding components by hand stops short of Kmax; the refusal changes nothing. With K = P the
// model can take no more and the automatic continuation refuses too.
TEST(PLSFitModes, AddNextComponentRespectsTheDegreesOfFreedom) {
  const DMatrix x = NormalMatrix(12, 3, 41);
  const DMatrix y = LinearResponse(x, {{1.0}, {2.0}, {-1.0}}, {0.0}, 0.3, 42);
  PLSEngine engine = StandardisedPLS(x, y, TightOptions(PLSFitMode::kCrossValidation, true));
  ASSERT_EQ(engine.MaxComponents(), 3);
  EXPECT_EQ(engine.AddNextComponent(), std::nullopt);
  EXPECT_EQ(engine.AddNextComponent(), std::nullopt);
  EXPECT_TRUE(std::isfinite(engine.Nodes()[1].q2));  // tested, for the report
  const DMatrix residuals = engine.XResiduals();
  const std::int64_t dof = engine.DegreesOfFreedom();
  EXPECT_EQ(engine.AddNextComponent(), MessageId::kDegreesOfFreedomNotEnough);
  EXPECT_EQ(engine.ComponentCount(), 2);
  EXPECT_EQ(engine.DegreesOfFreedom(), dof);
  EXPECT_TRUE(SameCells(engine.XResiduals(), residuals));

  EXPECT_TRUE(engine.CanAcceptAnotherComponent());
  StoreComponents(engine, 1);
  EXPECT_FALSE(engine.CanAcceptAnotherComponent());
  EXPECT_EQ(engine.AutoFitMoreComponents(), MessageId::kNoAdditionalModel);
  EXPECT_EQ(engine.ComponentCount(), 3);
}

TEST(PLSFitModes, MaxComponentsFollowTheBudget) {
  EXPECT_EQ(MaxPLSComponents(10, 5, 50), 5);  // D0 = N·P never binds
  EXPECT_EQ(MaxPLSComponents(3, 8, 24), 3);
  // Costs 13, 11, 9 from 20: the budget is 20, 7, then -4 before the third.
  EXPECT_EQ(MaxPLSComponents(10, 5, 20), 2);
  EXPECT_EQ(MaxPLSComponents(10, 5, 0), 1);
  EXPECT_EQ(MaxPLSComponents(10, 5, -1), 0);
}

// Removing the last component repeats the deflations of the others, so the working matrices
// and the budget are exactly as they were; removing all restores the scaled input.
TEST(PLSFitModes, RemovingComponentsRestoresTheWorkingMatrices) {
  LatentData data;
  data.x(3, 4) = kMissingValue;
  PLSEngine engine = StandardisedPLS(data.x, data.y, TightOptions());
  StoreComponents(engine, 2);
  const DMatrix x_two = engine.XResiduals();
  const DMatrix y_two = engine.YResiduals();
  const std::int64_t dof_two = engine.DegreesOfFreedom();
  StoreComponents(engine, 1);
  engine.RemoveLastComponent();
  EXPECT_EQ(engine.ComponentCount(), 2);
  EXPECT_EQ(engine.DegreesOfFreedom(), dof_two);
  EXPECT_TRUE(SameCells(engine.XResiduals(), x_two));
  EXPECT_TRUE(SameCells(engine.YResiduals(), y_two));

  engine.RemoveAllComponents();
  EXPECT_EQ(engine.ComponentCount(), 0);
  EXPECT_EQ(engine.DegreesOfFreedom(), engine.InitialDegreesOfFreedom());
  EXPECT_DOUBLE_EQ(SumOfSquares(engine.XResiduals()), engine.TotalSSX());
}

// A cancel during the cross-validation of the third component aborts the fit and keeps the two
// stored components exactly as an uninterrupted fit has them.
TEST(PLSFitModes, CancelKeepsTheStoredComponents) {
  const LatentData data;
  const PLSFitOptions options = TightOptions(PLSFitMode::kCrossValidation, true);
  PLSEngine full = StandardisedPLS(data.x, data.y, options);
  full.AutoFit();
  ASSERT_GE(full.ComponentCount(), 3);

  PLSEngine engine = StandardisedPLS(data.x, data.y, options);
  RecordingProgress progress(-1, "Cross-validation: Model 3, Fold");
  engine.SetProgress(&progress);
  EXPECT_THROW(engine.AutoFit(), UserAbort);
  EXPECT_FALSE(progress.running);
  ASSERT_EQ(engine.ComponentCount(), 2);
  for (std::size_t k = 0; k < 2; ++k) {
    EXPECT_EQ(engine.Nodes()[k].t, full.Nodes()[k].t) << k;
    EXPECT_EQ(engine.Nodes()[k].press_y, full.Nodes()[k].press_y) << k;
  }
  EXPECT_EQ(engine.DegreesOfFreedom(),
            engine.InitialDegreesOfFreedom() - engine.ComponentCost(1) - engine.ComponentCost(2));
}

// Two dependents on nine predictors, with three missing cells unless complete.
struct TwoDependents {
  explicit TwoDependents(bool complete) {
    if (complete) return;
    x(4, 2) = kMissingValue;
    x(30, 7) = kMissingValue;
    y(11, 1) = kMissingValue;
  }
  DMatrix x = ManufacturedData(70, 9, {3.0, 2.0, 1.5}, 0.4, 51);
  DMatrix y = testing::RandomResponse(x, 2, 0.3, 52);
};

// The folds run in parallel, yet every figure comes out bit for bit the same with 1 and 2
// threads, with missing cells (streamed passes) and on complete data (cross-products).
TEST(PLSCrossValidation, ResultsDoNotDependOnTheThreadCount) {
  for (const bool complete : {false, true}) {
    const TwoDependents data(complete);
    const DMatrix& x = data.x;
    const DMatrix& y = data.y;
    const PLSFitOptions options = TightOptions(PLSFitMode::kCrossValidation, true);
    std::vector<CPLSNode> runs[2];
    for (int threads : {1, 2}) {
      const ThreadCount thread_count(threads);
      PLSEngine engine = StandardisedPLS(x, y, options);
      engine.AutoFit();
      runs[threads - 1] = engine.Nodes();
    }
    ASSERT_EQ(runs[0].size(), runs[1].size());
    for (std::size_t k = 0; k < runs[0].size(); ++k) {
      const CPLSNode& a = runs[0][k];
      const CPLSNode& b = runs[1][k];
      EXPECT_EQ(a.press_x, b.press_x) << k << complete;
      EXPECT_EQ(a.press_y, b.press_y) << k << complete;
      EXPECT_EQ(a.press_x_per_column, b.press_x_per_column) << k << complete;
      EXPECT_EQ(a.press_y_per_column, b.press_y_per_column) << k << complete;
      EXPECT_EQ(a.q2_cumulative, b.q2_cumulative) << k << complete;
      EXPECT_EQ(a.status, b.status) << k << complete;
      EXPECT_EQ(a.t, b.t) << k << complete;
      EXPECT_EQ(a.w, b.w) << k << complete;
    }
  }
}

// On complete data the passes run on the cross-products; streaming the data in every pass is
// the same iteration, so both give the same components and cross-validation to rounding.
TEST(PLSCrossValidation, CrossProductPassesMatchStreamedPasses) {
  const TwoDependents data(true);
  PLSFitOptions options = TightOptions(PLSFitMode::kFixedNumber, true);
  options.num_components = 3;
  PLSEngine products = StandardisedPLS(data.x, data.y, options);
  options.cross_products = false;
  PLSEngine streamed = StandardisedPLS(data.x, data.y, options);
  ASSERT_EQ(products.AutoFit(), 3);
  ASSERT_EQ(streamed.AutoFit(), 3);
  const auto expect_near = [](std::span<const double> a, std::span<const double> b) {
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t k = 0; k < a.size(); ++k)
      EXPECT_NEAR(a[k], b[k], 1e-9 * (1.0 + std::fabs(b[k])));
  };
  for (std::size_t k = 0; k < 3; ++k) {
    const CPLSNode& a = products.Nodes()[k];
    const CPLSNode& b = streamed.Nodes()[k];
    EXPECT_EQ(a.iterations, b.iterations) << k;
    expect_near(a.w, b.w);
    expect_near(a.p, b.p);
    expect_near(a.q, b.q);
    expect_near(a.t, b.t);
    expect_near(a.u, b.u);
    expect_near(a.press_y_per_column, b.press_y_per_column);
    EXPECT_NEAR(a.b, b.b, 1e-9 * std::fabs(b.b)) << k;
    EXPECT_NEAR(a.press_x, b.press_x, 1e-9 * b.press_x) << k;
    EXPECT_NEAR(a.explained_ss_x, b.explained_ss_x, 1e-9 * b.explained_ss_x) << k;
    EXPECT_NEAR(a.explained_ss_y, b.explained_ss_y, 1e-9 * b.explained_ss_y) << k;
  }
  // Removing a component rebuilds the residuals, and the next fit forms the products anew.
  products.RemoveLastComponent();
  streamed.RemoveLastComponent();
  ASSERT_EQ(products.AddNextComponent(), std::nullopt);
  ASSERT_EQ(streamed.AddNextComponent(), std::nullopt);
  expect_near(products.Nodes()[2].w, streamed.Nodes()[2].w);
}

// Without cross-validation on complete data the automatic fit leaves the scores and the
// deflation of every component to one pass at its end; the outcome is that of storing the
// components one by one, bit for bit: in the fixed-number mode, in the eigenvalue mode (whose
// refused candidate is scored on the residuals too), and after a cancel, which keeps the
// components stored before it.
TEST(PLSFitModes, AutoFitOnCrossProductsMatchesStoringOneByOne) {
  const TwoDependents data(true);
  PLSEngine reference = StandardisedPLS(data.x, data.y, TightOptions());
  StoreComponents(reference, 3);
  CPLSNode fourth = reference.NewNode();
  reference.FitOnAllCases(fourth);
  const auto expect_same = [&reference](const PLSEngine& engine, std::size_t count) {
    ASSERT_EQ(engine.ComponentCount(), static_cast<int>(count));
    for (std::size_t k = 0; k < count; ++k) {
      const CPLSNode& a = engine.Nodes()[k];
      const CPLSNode& b = reference.Nodes()[k];
      EXPECT_EQ(a.iterations, b.iterations) << k;
      EXPECT_EQ(a.lambda, b.lambda) << k;
      EXPECT_EQ(a.t, b.t) << k;
      EXPECT_EQ(a.u, b.u) << k;
      EXPECT_EQ(a.p, b.p) << k;
      EXPECT_EQ(a.explained_ss_y_per_column, b.explained_ss_y_per_column) << k;
      EXPECT_EQ(a.remaining_ss_x, b.remaining_ss_x) << k;
      EXPECT_EQ(a.cumulative_explained_ss_y, b.cumulative_explained_ss_y) << k;
      EXPECT_EQ(a.dof_at_creation, b.dof_at_creation) << k;
    }
  };

  PLSFitOptions options = TightOptions();
  options.num_components = 3;
  PLSEngine fixed = StandardisedPLS(data.x, data.y, options);
  ASSERT_EQ(fixed.AutoFit(), 3);
  expect_same(fixed, 3);
  EXPECT_TRUE(SameCells(fixed.XResiduals(), reference.XResiduals()));
  EXPECT_TRUE(SameCells(fixed.YResiduals(), reference.YResiduals()));
  EXPECT_EQ(fixed.LastCandidate().component, 4);
  EXPECT_EQ(fixed.LastCandidate().remaining_ss_y, fourth.remaining_ss_y);

  // Stop at the fourth component: its eigenvalue is the limit.
  options = TightOptions(PLSFitMode::kEigenvalueLimit);
  options.eigenvalue_limit = fourth.lambda;
  for (const CPLSNode& node : reference.Nodes()) ASSERT_GT(node.lambda, fourth.lambda);
  PLSEngine limited = StandardisedPLS(data.x, data.y, options);
  ASSERT_EQ(limited.AutoFit(), 3);
  expect_same(limited, 3);
  EXPECT_EQ(limited.LastCandidate().status, PLSStatus::kStoppedByLimit);
  EXPECT_EQ(limited.LastCandidate().t, fourth.t);
  EXPECT_EQ(limited.LastCandidate().u, fourth.u);
  EXPECT_EQ(limited.LastCandidate().remaining_ss_x, fourth.remaining_ss_x);

  // Cancel at the first pass of the third component.
  options = TightOptions();
  options.num_components = 3;
  PLSEngine cancelled = StandardisedPLS(data.x, data.y, options);
  RecordingProgress progress(reference.Nodes()[0].iterations + reference.Nodes()[1].iterations);
  cancelled.SetProgress(&progress);
  EXPECT_THROW(cancelled.AutoFit(), UserAbort);
  expect_same(cancelled, 2);
  EXPECT_EQ(cancelled.LastCandidate().t, reference.Nodes()[1].t);
}

// The folds are those of the PCA engine: in rotation by default, or drawn from the seed.
TEST(PLSCrossValidation, FoldsAreSharedWithPCA) {
  const LatentData data;
  PLSFitOptions options = TightOptions(PLSFitMode::kCrossValidation, true);
  options.folds = 4;
  const PLSEngine rotation = StandardisedPLS(data.x, data.y, options);
  EXPECT_EQ(rotation.Folds().fold, AssignFoldsInRotation(90, 4).fold);

  options.random_folds = true;
  options.seed = 77;
  PLSEngine random = StandardisedPLS(data.x, data.y, options);
  testing::SeededRandom source;
  random.SetRandomSource(&source);
  testing::SeededRandom reference_source;
  EXPECT_EQ(random.Folds().fold, AssignFoldsAtRandom(90, 4, 77, reference_source).fold);
}

TEST(PLSFitOptionsValidation, RefusesOutOfRangeValues) {
  const auto check = [](auto change) {
    PLSFitOptions options;
    change(options);
    return options.Validate();
  };
  EXPECT_EQ(check([](PLSFitOptions&) {}), std::nullopt);
  EXPECT_EQ(check([](PLSFitOptions& o) { o.max_iterations = 0; }),
            MessageId::kMaxIterationsOutOfRange);
  EXPECT_EQ(check([](PLSFitOptions& o) { o.convergence = 1.5; }),
            MessageId::kConvergenceCriterionOutOfRange);
  EXPECT_EQ(check([](PLSFitOptions& o) { o.folds = 1; }), MessageId::kFoldsBelowTwo);
  EXPECT_EQ(check([](PLSFitOptions& o) {
              o.folds = 1;
              o.cross_validation = false;
            }),
            std::nullopt);
}

}  // namespace
}  // namespace mspc
