// The branch-free kernels against the plain loops they replace.

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "models/missing.hpp"
#include "models/tolerant.hpp"
#include "pca/pca_engine.hpp"
#include "pca/pca_test_support.hpp"

namespace mspc {
namespace {

using testing::ManufacturedData;
using testing::MaxDifference;
using testing::StandardisedEngine;

constexpr double kKernelTolerance = 1e-12;

// The readable NIPALS fit: every sum skips the cells that take no part with an explicit test.
struct ReferenceFit {
  std::vector<double> t;
  std::vector<double> p;
  int iterations = 0;
  double eigenvalue = 0.0;
};

struct ReferenceProblem {
  const DMatrix& x;  // centred and scaled, not-a-number where missing
  const std::vector<bool>& excluded_rows;
  const std::vector<bool>& excluded_variables;
  const std::vector<bool>& held_out_rows;
  int held_out_column;

  bool RowTakesPart(std::size_t i) const { return !excluded_rows[i] && !held_out_rows[i]; }
  bool ColumnTakesPart(std::size_t j) const {
    return !excluded_variables[j] && static_cast<int>(j) != held_out_column;
  }
  bool IsValid(std::size_t i, std::size_t j) const {
    return RowTakesPart(i) && ColumnTakesPart(j) && !IsMissing(x(i, j));
  }
};

void ReferenceLoadingStep(const ReferenceProblem& problem,
                          const std::vector<double>& t,
                          std::vector<double>& p) {
  for (std::size_t j = 0; j < problem.x.cols(); ++j) {
    double score_ss = 0.0;  // d_j
    for (std::size_t i = 0; i < problem.x.rows(); ++i) {
      if (problem.IsValid(i, j)) score_ss += t[i] * t[i];
    }
    p[j] = 0.0;
    if (IsTolerantZero(score_ss)) continue;
    for (std::size_t i = 0; i < problem.x.rows(); ++i) {
      if (problem.IsValid(i, j)) p[j] += problem.x(i, j) * t[i] / score_ss;
    }
  }
}

void ReferenceScoreStep(const ReferenceProblem& problem,
                        const std::vector<double>& p,
                        std::vector<double>& t) {
  for (std::size_t i = 0; i < problem.x.rows(); ++i) {
    t[i] = 0.0;
    if (!problem.RowTakesPart(i)) continue;
    double projection = 0.0;
    double loading_ss = 0.0;
    for (std::size_t j = 0; j < problem.x.cols(); ++j) {
      if (!problem.IsValid(i, j)) continue;
      projection += problem.x(i, j) * p[j];
      loading_ss += p[j] * p[j];
    }
    if (!IsTolerantZero(loading_ss)) t[i] = projection / loading_ss;
  }
}

ReferenceFit ReferenceNIPALS(const ReferenceProblem& problem,
                             int max_iterations,
                             double criterion) {
  const std::size_t rows = problem.x.rows();
  const std::size_t cols = problem.x.cols();
  ReferenceFit fit{std::vector<double>(rows, 0.0), std::vector<double>(cols, 0.0)};
  std::size_t best = cols;
  std::vector<double> column_ss(cols, 0.0);
  for (std::size_t j = 0; j < cols; ++j) {
    for (std::size_t i = 0; i < rows; ++i) {
      if (problem.IsValid(i, j)) column_ss[j] += problem.x(i, j) * problem.x(i, j);
    }
    if (!problem.ColumnTakesPart(j)) continue;
    if (best == cols || TolerantGreater(column_ss[j], column_ss[best])) best = j;
  }
  for (std::size_t i = 0; i < rows; ++i) {
    if (problem.IsValid(i, best)) fit.t[i] = problem.x(i, best);
  }
  int active_rows = 0;
  for (std::size_t i = 0; i < rows; ++i) active_rows += problem.excluded_rows[i] ? 0 : 1;
  double previous = -1.0;
  while (true) {
    ReferenceLoadingStep(problem, fit.t, fit.p);
    double norm = 0.0;
    for (double value : fit.p) norm += value * value;
    norm = std::sqrt(norm);
    for (double& value : fit.p) value /= IsTolerantZero(norm) ? 1.0 : norm;
    ReferenceScoreStep(problem, fit.p, fit.t);
    ++fit.iterations;
    double score_ss = 0.0;
    for (std::size_t i = 0; i < rows; ++i) {
      if (!problem.excluded_rows[i]) score_ss += fit.t[i] * fit.t[i];
    }
    fit.eigenvalue = score_ss / (active_rows - 1);
    if (fit.iterations >= max_iterations) break;
    if (TolerantAtMost(std::fabs(fit.eigenvalue - previous), criterion * fit.eigenvalue)) break;
    previous = fit.eigenvalue;
  }
  return fit;
}

// A standardised matrix with scattered missing cells, an excluded row and an excluded variable.
struct Sparse {
  explicit Sparse(std::size_t rows = 30, std::size_t cols = 7) {
    DMatrix raw = ManufacturedData(rows, cols, {3.0, 1.5}, 0.3, 11);
    std::mt19937_64 random(5);
    std::bernoulli_distribution missing(0.12);
    for (std::size_t i = 0; i < raw.rows(); ++i) {
      for (std::size_t j = 0; j < raw.cols(); ++j) {
        if (missing(random)) raw(i, j) = kMissingValue;
      }
    }
    excluded_rows.assign(raw.rows(), false);
    excluded_rows[4] = true;
    excluded_variables.assign(raw.cols(), false);
    excluded_variables[2] = true;
    PCAFitOptions options;
    options.max_iterations = 200;
    options.convergence = 1e-10;
    engine = StandardisedEngine(raw, options, excluded_rows, excluded_variables);
  }
  std::vector<bool> excluded_rows;
  std::vector<bool> excluded_variables;
  PCAEngine engine;
};

// A small table runs the scalar column tails only; 1101 × 61 runs the vector columns (three
// runs of 16, one of 8, a tail of 5), rows left over from the groups of 4, and the row chunks
// of a large table.
TEST(NIPALSKernels, LoadingAndScoreStepsMatchThePlainLoops) {
  for (const auto& [rows, cols] : {std::pair<std::size_t, std::size_t>{30, 7}, {1101, 61}}) {
    const Sparse data(rows, cols);
    const PCAEngine& engine = data.engine;
    const std::vector<bool> none(rows, false);
    const ReferenceProblem problem{
        engine.ScaledInput(), data.excluded_rows, data.excluded_variables, none, -1};

    std::mt19937_64 random(3);
    std::normal_distribution<double> normal;
    std::vector<double> t(rows);
    for (std::size_t i = 0; i < rows; ++i) t[i] = data.excluded_rows[i] ? 0.0 : normal(random);
    NIPALSScratch scratch;
    scratch.Resize(rows, cols);

    std::vector<double> expected_p(cols);
    ReferenceLoadingStep(problem, t, expected_p);
    std::vector<double> p(cols);
    nipals::LoadingStep(engine.MaskedResidual(), engine.Mask(), t, -1, p, scratch);
    EXPECT_LT(MaxDifference(expected_p, p), kKernelTolerance) << rows;
    EXPECT_EQ(p[2], 0.0) << "an excluded variable keeps a zero loading";

    std::vector<double> expected_t(rows);
    ReferenceScoreStep(problem, p, expected_t);
    std::vector<double> scores(rows);
    nipals::ScoreStep(
        engine.MaskedResidual(), engine.Mask(), p, engine.BaseRowWeight(), scores, scratch);
    EXPECT_LT(MaxDifference(expected_t, scores), kKernelTolerance) << rows;
    EXPECT_EQ(scores[4], 0.0) << "an excluded row keeps a zero score";

    // The fused pass: the same scores, then the loadings from them.
    ReferenceLoadingStep(problem, expected_t, expected_p);
    nipals::ScoreAndLoadingSums(
        engine.MaskedResidual(), engine.Mask(), p, engine.BaseRowWeight(), scores, scratch);
    nipals::FinishLoadingStep(-1, p, scratch);
    EXPECT_LT(MaxDifference(expected_t, scores), kKernelTolerance) << rows;
    EXPECT_LT(MaxDifference(expected_p, p), kKernelTolerance) << rows;
  }
}

TEST(NIPALSKernels, WholeFitsMatchTheReferenceWithAndWithoutHoldOuts) {
  const Sparse data;
  const PCAEngine& engine = data.engine;
  const std::size_t rows = engine.Rows();
  struct Case {
    std::vector<bool> held_out_rows;
    int held_out_column;
  };
  std::vector<bool> fold(rows, false);
  for (std::size_t i = 0; i < rows; i += 3) fold[i] = true;
  const std::vector<Case> cases = {
      {std::vector<bool>(rows, false), -1}, {fold, -1}, {std::vector<bool>(rows, false), 5}};
  for (const Case& test_case : cases) {
    const ReferenceProblem problem{engine.ScaledInput(),
                                   data.excluded_rows,
                                   data.excluded_variables,
                                   test_case.held_out_rows,
                                   test_case.held_out_column};
    const ReferenceFit expected = ReferenceNIPALS(problem, 200, 1e-10);

    std::vector<double> weight(engine.BaseRowWeight().begin(), engine.BaseRowWeight().end());
    for (std::size_t i = 0; i < rows; ++i) {
      if (test_case.held_out_rows[i]) weight[i] = 0.0;
    }
    std::vector<double> t(rows);
    std::vector<double> p(engine.Cols());
    NIPALSScratch scratch;
    scratch.Resize(rows, engine.Cols());
    const NIPALSOutcome outcome =
        engine.RunNIPALS(weight, test_case.held_out_column, t, p, scratch, {});
    EXPECT_EQ(outcome.iterations, expected.iterations);
    EXPECT_NEAR(outcome.eigenvalue, expected.eigenvalue, 1e-10 * expected.eigenvalue);
    EXPECT_LT(MaxDifference(expected.t, t), 1e-9);
    EXPECT_LT(MaxDifference(expected.p, p), 1e-9);
    if (test_case.held_out_column >= 0) {
      EXPECT_EQ(p[5], 0.0);
    }
    for (std::size_t i = 0; i < rows; ++i) {
      if (test_case.held_out_rows[i]) {
        EXPECT_EQ(t[i], 0.0) << "held-out row " << i;
      }
    }
  }
}

}  // namespace
}  // namespace mspc
