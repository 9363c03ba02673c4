#include "pca/cross_validation.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "host/errors.hpp"
#include "models/missing.hpp"
#include "pca/pca_engine.hpp"
#include "pca/pca_test_support.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

using testing::ManufacturedData;
using testing::RecordingProgress;
using testing::StandardisedEngine;
using testing::ThreadCount;

PCAFitOptions CrossValidated(int method, bool grouped = false, int folds = 7) {
  PCAFitOptions options;
  options.component_mode = ComponentMode::AutoFitByCrossValidation;
  options.cross_validation_method = method;
  options.grouped = grouped;
  options.folds = folds;
  options.max_iterations = 500;
  options.convergence = 1e-10;
  return options;
}

// Rank-3 structure well above the noise, with a few missing cells unless complete.
DMatrix RankThreeData(std::uint64_t seed, bool complete = false) {
  DMatrix raw = ManufacturedData(60, 8, {4.0, 3.0, 2.0}, 0.15, seed);
  if (complete) return raw;
  raw(5, 2) = kMissingValue;
  raw(17, 6) = kMissingValue;
  raw(40, 0) = kMissingValue;
  return raw;
}

// The three planted components are kept and the fitting stops right after them. Behind a strong
// component one noise-level component may be admitted: the residual rows are orthogonal to the
// fitted loadings, so a held-out residual cell is partly predictable from the rest of its row,
// and the per-variable rule compares with what the previous component explained in each column.
// The next candidate then faces that component's tiny explained SS and is refused.
TEST(CrossValidationChoice, KeepsThePlantedComponentsAndStopsRightAfter) {
  for (std::uint64_t seed : {1u, 2u, 3u}) {
    for (int method : {1, 2, 3}) {
      SCOPED_TRACE(::testing::Message() << "seed " << seed << " method " << method);
      PCAEngine engine = StandardisedEngine(RankThreeData(seed), CrossValidated(method));
      engine.AutoFit();
      ASSERT_GE(engine.ComponentCount(), 3);
      ASSERT_LE(engine.ComponentCount(), 4);
      for (int a = 0; a < 3; ++a) EXPECT_GT(engine.Nodes()[a].eigenvalue, 0.5);
      EXPECT_EQ(engine.Nodes()[2].significance, Significance::kSignificant);
      EXPECT_GT(engine.Nodes()[2].q2, engine.Nodes()[2].limit);
      if (engine.ComponentCount() == 4) {
        EXPECT_LT(engine.Nodes()[3].eigenvalue, 0.1) << "a noise-level component";
      }
      const CPCANode& refused = engine.LastCandidate();
      EXPECT_FALSE(IsAccepted(refused.state));
      EXPECT_EQ(refused.significance, Significance::kNotSignificant);
      EXPECT_LT(refused.q2, refused.limit);
      EXPECT_EQ(engine.RefusalMessage(), MessageId::kNoAdditionalModel);
      // Q²(Cumul.) follows 1 - prod(PRESS / SS_prev).
      double product = 1.0;
      for (const CPCANode& node : engine.Nodes()) {
        product *= node.press / node.previous_residual_ss;
        EXPECT_NEAR(node.q2_cumulative, 1.0 - product, 1e-12);
      }
    }
  }
}

void ExpectSameNodes(const PCAEngine& a, const PCAEngine& b) {
  ASSERT_EQ(a.ComponentCount(), b.ComponentCount());
  for (std::size_t k = 0; k < a.Nodes().size(); ++k) {
    const CPCANode& x = a.Nodes()[k];
    const CPCANode& y = b.Nodes()[k];
    EXPECT_EQ(x.t, y.t);
    EXPECT_EQ(x.p, y.p);
    EXPECT_EQ(x.press, y.press);
    EXPECT_EQ(x.press_per_variable, y.press_per_variable);
    EXPECT_EQ(x.q2, y.q2);
    EXPECT_EQ(x.q2_cumulative, y.q2_cumulative);
    EXPECT_EQ(x.eigenvalue, y.eigenvalue);
    EXPECT_EQ(x.iterations, y.iterations);
  }
  EXPECT_EQ(a.LastCandidate().press, b.LastCandidate().press);
}

// With missing cells (streamed fits) and on complete data (cross-product fits alike).
TEST(CrossValidationDeterminism, ResultsDoNotDependOnTheThreadCount) {
  for (const bool complete : {false, true}) {
    for (int method : {1, 2, 3}) {
      SCOPED_TRACE(::testing::Message() << "method " << method << " complete " << complete);
      PCAEngine runs[2] = {StandardisedEngine(RankThreeData(4, complete), CrossValidated(method)),
                           StandardisedEngine(RankThreeData(4, complete), CrossValidated(method))};
      ASSERT_EQ(runs[0].UsesCrossProducts(), complete);
      for (int threads : {1, 2}) {
        const ThreadCount thread_count(threads);
        runs[threads - 1].AutoFit();
      }
      ExpectSameNodes(runs[0], runs[1]);
    }
  }
}

// On complete data the hold-out fits run on cross-products and the held-out columns' scores
// are formed block by block; the PRESS agrees with streamed fits to rounding.
TEST(CrossValidationPasses, CrossProductFitsMatchStreamedFits) {
  for (const auto& [method, grouped] : {std::pair{1, false}, {2, false}, {1, true}}) {
    SCOPED_TRACE(::testing::Message() << "method " << method << " grouped " << grouped);
    PCAFitOptions options = CrossValidated(method, grouped);
    PCAEngine products = StandardisedEngine(RankThreeData(8, true), options);
    options.cross_products = false;
    PCAEngine streamed = StandardisedEngine(RankThreeData(8, true), options);
    products.AutoFit();
    streamed.AutoFit();
    ASSERT_EQ(products.ComponentCount(), streamed.ComponentCount());
    for (std::size_t k = 0; k < products.Nodes().size(); ++k) {
      const CPCANode& x = products.Nodes()[k];
      const CPCANode& y = streamed.Nodes()[k];
      EXPECT_NEAR(x.press, y.press, 1e-8 * y.press) << k;
      for (std::size_t col = 0; col < x.press_per_variable.size(); ++col) {
        EXPECT_NEAR(x.press_per_variable[col], y.press_per_variable[col], 1e-8 * y.press) << k;
      }
      EXPECT_EQ(x.significance, y.significance) << k;
    }
  }
}

TEST(CrossValidationPasses, EquivalentSchemesGiveIdenticalPress) {
  const DMatrix raw = RankThreeData(5);
  // Holding out by fold under either grouped method number is the same computation.
  PCAEngine grouped_vfold = StandardisedEngine(raw, CrossValidated(2, true));
  PCAEngine grouped_krzanowski = StandardisedEngine(raw, CrossValidated(1, true));
  grouped_vfold.AutoFit();
  grouped_krzanowski.AutoFit();
  ExpectSameNodes(grouped_vfold, grouped_krzanowski);
  // More folds than rows put every row in a fold of its own (the rest stay empty and add
  // nothing), which is Krzanowski's one-row-at-a-time scheme.
  PCAEngine single_rows = StandardisedEngine(raw, CrossValidated(1, false, 64));
  PCAEngine krzanowski = StandardisedEngine(raw, CrossValidated(2));
  single_rows.AutoFit();
  krzanowski.AutoFit();
  ExpectSameNodes(single_rows, krzanowski);
}

TEST(CrossValidationPasses, FittedNodeReusesTheFullFitSoPressIsItsResidualSS) {
  PCAEngine engine = StandardisedEngine(RankThreeData(6), CrossValidated(1));
  CPCANode node = engine.NewNode();
  engine.FitComponent(node, HoldOutKind::kNone, -1, -1);
  node.fitted = true;
  ComputePRESS(engine, node, CrossValidationPass::kVFold);
  EXPECT_FALSE(node.fitted) << "the pass clears the flag";
  double residual_ss = 0.0;
  for (std::size_t i = 0; i < engine.Rows(); ++i) {
    for (std::size_t j = 0; j < engine.Cols(); ++j) {
      if (!engine.IsValidCell(i, j)) continue;
      const double residual = engine.Residual(i, j) - node.t[i] * node.p[j];
      residual_ss += residual * residual;
    }
  }
  EXPECT_NEAR(node.press, residual_ss, 1e-10 * residual_ss);

  // Eigenvalue mode with the grouped option sets the flag itself: Q² becomes the share of the
  // residual SS the component took out.
  PCAFitOptions options = CrossValidated(2, true);
  options.component_mode = ComponentMode::EigenvalueLimit;
  PCAEngine eigen = StandardisedEngine(RankThreeData(6), options);
  ASSERT_EQ(eigen.FitNextComponent(ComponentMode::EigenvalueLimit), NodeState::kAccepted);
  const CPCANode& first = eigen.Nodes()[0];
  EXPECT_NEAR(first.press, first.residual_ss, 1e-10 * first.residual_ss);
  EXPECT_NEAR(first.q2, first.ss_explained / first.previous_residual_ss, 1e-10);
}

TEST(CrossValidationProgress, CaptionsNameTheComponentAndTheGroup) {
  const ThreadCount threads(1);
  RecordingProgress vfold_progress;
  PCAEngine vfold = StandardisedEngine(RankThreeData(7), CrossValidated(1, false, 3));
  vfold.SetProgress(&vfold_progress);
  vfold.FitNextComponent(ComponentMode::AutoFitByCrossValidation);
  std::vector<std::string> fold_captions;
  for (const std::string& caption : vfold_progress.captions) {
    if (caption.starts_with("Cross-validation")) fold_captions.push_back(caption);
  }
  EXPECT_EQ(fold_captions,
            (std::vector<std::string>{"Cross-validation: Model 1, Fold 1",
                                      "Cross-validation: Model 1, Fold 2",
                                      "Cross-validation: Model 1, Fold 3"}));

  RecordingProgress row_progress;
  PCAEngine krzanowski = StandardisedEngine(RankThreeData(7), CrossValidated(2));
  krzanowski.SetProgress(&row_progress);
  krzanowski.FitNextComponent(ComponentMode::AutoFitByCrossValidation);
  EXPECT_EQ(std::count(row_progress.captions.begin(),
                       row_progress.captions.end(),
                       "Krzanowski training: Model 1, row 60"),
            1);
}

TEST(CrossValidationProgress, CancelDuringThePassKeepsTheAcceptedComponents) {
  PCAEngine reference = StandardisedEngine(RankThreeData(8), CrossValidated(1));
  ASSERT_EQ(reference.FitNextComponent(ComponentMode::AutoFitByCrossValidation),
            NodeState::kAccepted);
  // With one thread the cancel reaches the fits of fold 4 through the shared flag; with two the
  // fits are shared out unpredictably, and the poll at the start of the pass sees it.
  for (const auto& [threads, caption] : {std::pair{1, "Cross-validation: Model 2, Fold 4"},
                                         {2, "Cross-validation: Model 2, Fold 1"}}) {
    const ThreadCount thread_count(threads);
    RecordingProgress cancel(-1, caption);
    PCAEngine engine = StandardisedEngine(RankThreeData(8), CrossValidated(1));
    engine.SetProgress(&cancel);
    EXPECT_THROW(engine.AutoFit(), UserAbort);
    ASSERT_EQ(engine.ComponentCount(), 1);
    EXPECT_EQ(engine.Nodes()[0].p, reference.Nodes()[0].p);
    EXPECT_EQ(engine.Residual(3, 3), reference.Residual(3, 3));
    EXPECT_FALSE(cancel.running);
  }
}

TEST(CrossValidationPasses, FewerThanTwoFoldsStopTheAnalysis) {
  PCAEngine engine = StandardisedEngine(RankThreeData(9), CrossValidated(1, false, 1));
  EXPECT_EQ(StopId([&] { engine.FitNextComponent(ComponentMode::AutoFitByCrossValidation); }),
            MessageId::kFoldsBelowTwo);
  EXPECT_EQ(engine.ComponentCount(), 0);
}

// The acceptance rules on nodes whose PRESS is set for Q² = q2 and Q²_j = q2_j. Standardised
// 20 × 4 data: total SS 76, 19 per variable, D0 = 80. The first component's limit is
// (N + K - 2) / (N K) = 22 / 80 and its Q²_j divide by 19; the second's limit is
// 20 / (80 - 22) and its Q²_j divide by what the first explained in the column.
TEST(JudgeRules, SignificanceAndAcceptanceOfTheFirstAndLaterComponents) {
  PCAFitOptions options = CrossValidated(1);
  options.component_mode = ComponentMode::FixedNumberOfComponents;
  options.max_components = 1;
  const PCAEngine none = StandardisedEngine(ManufacturedData(20, 4, {2.0, 1.0}, 0.3, 10), options);
  ASSERT_NEAR(none.TotalSS(), 76.0, 1e-12);
  PCAEngine one = none;
  ASSERT_EQ(one.FitNextComponent(ComponentMode::AutoFitByCrossValidation), NodeState::kAccepted);
  const CPCANode& first = one.Nodes()[0];
  const struct {
    bool later;
    double q2;
    std::vector<double> q2_per_variable;
    NodeState state;
    std::optional<Significance> significance;
  } cases[] = {
      {false, 0.3, {0, 0, 0, 0}, NodeState::kAccepted, Significance::kSignificant},
      // √K = 2 variables at the limit make it significant whatever Q² is; one is not enough,
      // and the first component is accepted all the same.
      {false, 0.1, {0.3, 0.28, 0.0, -0.5}, NodeState::kAccepted, Significance::kSignificant},
      {false, 0.1, {0.3, 0.2, 0.0, -0.5}, NodeState::kAccepted, Significance::kNotSignificant},
      // Later: negligible, negligible with one substantial variable, weak, strong.
      {true, 0.005, {0.01, -0.015, 0.0, 0.019}, NodeState::kNotSignificant, std::nullopt},
      {true, 0.005, {0.01, -0.5, 0.0, 0.0}, NodeState::kNotAccepted, std::nullopt},
      {true, 0.05, {0, 0, 0, 0}, NodeState::kNotAccepted, Significance::kNotSignificant},
      {true, 0.5, {0, 0, 0, 0}, NodeState::kAccepted, std::nullopt},
  };
  for (const auto& test_case : cases) {
    SCOPED_TRACE(::testing::Message() << "Q2 " << test_case.q2 << " later " << test_case.later);
    const PCAEngine& engine = test_case.later ? one : none;
    CPCANode node = engine.NewNode();
    node.press = (1.0 - test_case.q2) * node.previous_residual_ss;
    for (std::size_t j = 0; j < 4; ++j) {
      const double reference = test_case.later ? first.explained_ss_per_variable[j] : 19.0;
      node.press_per_variable[j] = (1.0 - test_case.q2_per_variable[j]) * reference;
    }
    EXPECT_EQ(JudgeComponent(engine, node), test_case.state);
    if (test_case.significance) {
      EXPECT_EQ(node.significance, *test_case.significance);
    }
    EXPECT_NEAR(node.limit, test_case.later ? 20.0 / 58.0 : 22.0 / 80.0, 1e-15);
    EXPECT_NEAR(node.q2, test_case.q2, 1e-12);
    for (std::size_t j = 0; j < 4; ++j) {
      EXPECT_NEAR(node.q2_per_variable[j], test_case.q2_per_variable[j], 1e-12) << j;
    }
    if (test_case.state == NodeState::kAccepted) {
      const double before = test_case.later ? 1.0 - first.q2_cumulative : 1.0;
      EXPECT_NEAR(node.q2_cumulative, 1.0 - before * (1.0 - test_case.q2), 1e-12);
    }
  }
}

TEST(JudgeRulesEdges, ExcludedVariablesZeroColumnsAndTheLastAllowedComponent) {
  // Five columns, the last excluded, column 3 all zero: K = 4, so two variables are needed.
  DMatrix x = ManufacturedData(10, 5, {2.0, 1.0}, 0.3, 12);
  for (std::size_t i = 0; i < 10; ++i) x(i, 3) = 0.0;
  PCAEngine engine(CrossValidated(1));
  engine.LoadScaled(x, {}, {false, false, false, false, true});
  CPCANode node = engine.NewNode();
  engine.FitComponent(node, HoldOutKind::kNone, -1, -1);
  node.press = node.previous_residual_ss;  // Q² = 0
  node.press_per_variable.assign(engine.VariableTotalSS().begin(), engine.VariableTotalSS().end());
  node.press_per_variable[4] = 0.0;
  // Only the zero column reaches the limit (Q²_j = 1 when there is nothing to explain); the
  // excluded column, marked -444, is not counted.
  EXPECT_EQ(JudgeComponent(engine, node), NodeState::kAccepted);
  EXPECT_EQ(node.significance, Significance::kNotSignificant);
  EXPECT_EQ(node.q2_per_variable[3], 1.0);
  EXPECT_EQ(node.q2_per_variable[4], kExcludedVariableQ2);

  // With two rows only one component is allowed, and a non-significant one is refused even
  // though it is the first.
  PCAEngine tiny(CrossValidated(1));
  tiny.LoadScaled(testing::MatrixOf(2, 3, {1.0, -1.0, 0.5, -1.0, 1.0, -0.5}));
  ASSERT_EQ(tiny.MaxComponentsAllowed(), 1);
  CPCANode last = tiny.NewNode();
  last.press = 2.0 * last.previous_residual_ss;
  last.press_per_variable.assign(3, 10.0);
  EXPECT_EQ(JudgeComponent(tiny, last), NodeState::kNotAccepted);
}

}  // namespace
}  // namespace mspc
