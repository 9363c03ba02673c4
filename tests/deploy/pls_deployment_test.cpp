#include "deploy/pls_deployment.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "deploy/deployment_analysis.hpp"
#include "deploy/deployment_model.hpp"
#include "deploy/pls_deployment_reports.hpp"
#include "deploy/pls_document.hpp"
#include "export/export_test_support.hpp"
#include "export/pls_model_document.hpp"
#include "pls/pls_coefficients.hpp"
#include "pls/pls_monitoring.hpp"
#include "pls/pls_reports.hpp"
#include "pls/pls_test_support.hpp"

namespace mspc {
namespace {

using testing::DeploymentAnalysis;
using testing::ExpectClose;
using testing::Parse;

// A two-block fit with missing cells in both blocks: X (25 × 5) of rank 3, Y (25 × 2).
struct PLSFit {
  DMatrix x = testing::ManufacturedData(25, 5, {3.0, 2.0, 1.0}, 0.2, 41);
  DMatrix y;
  WorkingData predictors;
  WorkingData dependents;
  PLSEngine engine;

  PLSFit() {
    y = testing::LinearResponse(
        x, {{1.0, 0.0}, {0.5, -1.0}, {0.0, 2.0}, {0.3, 0.0}, {0.0, 0.2}}, {5.0, -2.0}, 0.1, 7);
    x(3, 1) = std::nan("");
    x(10, 4) = std::nan("");
    y(6, 1) = std::nan("");
    predictors = testing::ContinuousData(x, {"a", "b", "c", "d", "e"});
    dependents = testing::ContinuousData(y, {"p", "q"});
    engine = testing::FittedPLSEngine(x, y, predictors, dependents, 3);
  }

  LoadedPLSModel Exported() const {
    return testing::ExportedPLSModel(engine, predictors, dependents);
  }
};

TEST(PLSDeploymentRoundTrip, TheTrainingCasesScoreAsTheFitScoredThem) {
  const PLSFit fit;
  std::string text;
  WritePLSDocument(fit.Exported(), text);
  const LoadedPLSModel model = ReadPLSDocument(Parse(text));
  ASSERT_EQ(model.Components(), 3);
  const PLSDeploymentScores scores =
      ScorePLS(model,
               BlockColumns(model.predictor_fields, model.predictor_columns, fit.x),
               BlockColumns(model.dependent_fields, model.dependent_columns, fit.y));

  const platform::BoostProbability probability;
  const PLSMonitoring monitoring = ComputePLSMonitoring(fit.engine, {}, probability);
  const PLSPredictions predictions = ComputePLSPredictions(fit.engine);
  const DMatrix t = fit.engine.XScores();
  const DMatrix u = fit.engine.YScores();
  for (std::size_t row = 0; row < fit.x.rows(); ++row) {
    const std::string at = " row " + std::to_string(row);
    ExpectClose(scores.t2[row], monitoring.t2[row], 1e-12, "T2" + at);
    ExpectClose(scores.spe[row], monitoring.spe[row], 1e-12, "SPE" + at);
    ExpectClose(scores.distance[row], monitoring.distance.distance[row], 1e-12, "distance" + at);
    for (std::size_t a = 0; a < 3; ++a) {
      ExpectClose(scores.x_scores(row, a), t(row, a), 1e-12, "t" + at);
      if (!std::isnan(fit.y(row, 0)) && !std::isnan(fit.y(row, 1))) {
        ExpectClose(scores.y_scores(row, a), u(row, a), 1e-12, "u" + at);
      }
    }
    double t2_sum = 0.0;
    for (std::size_t j = 0; j < 5; ++j) {
      if (!std::isnan(scores.t2_contributions(row, j))) t2_sum += scores.t2_contributions(row, j);
    }
    ExpectClose(t2_sum, scores.t2[row], 1e-12, "T2 contributions" + at);
    for (std::size_t k = 0; k < 2; ++k) {
      ExpectClose(scores.predicted(row, k), predictions.y_predicted(row, k), 1e-12, "y" + at);
      ExpectClose(scores.y_residuals(row, k), predictions.y_residual(row, k), 1e-10, "f" + at);
    }
  }
}

TEST(PLSDeploymentScoring, ACategoricalDependentIsPredictedAsItsHighestDummy) {
  // One predictor x (mean 0, scale 1) and a dependent with categories 1 and 2 whose dummy
  // columns have mean 0.5 and scale 0.5; one component with w = p = 1, b = 1, q = (r, -r).
  const double r = 1.0 / std::sqrt(2.0);
  LoadedPLSModel model;
  DocumentField x_field;
  x_field.name = "x";
  model.predictor_fields = {x_field};
  model.predictor_columns = {DocumentColumn{0, 0.0, 0.0, 1.0, 1.0}};
  DocumentField grade;
  grade.name = "grade";
  grade.categorical = true;
  grade.category_codes = {1.0, 2.0};
  grade.category_labels = {"A", "B"};
  model.dependent_fields = {grade};
  model.dependent_columns = {DocumentColumn{0, 1.0, 0.5, 0.5, 0.5},
                             DocumentColumn{0, 2.0, 0.5, 0.5, 0.5}};
  model.inner = {1.0};
  model.weights = DMatrix(1, 1, 1.0);
  model.x_loadings = DMatrix(1, 1, 1.0);
  model.y_loadings = DMatrix(1, 2);
  model.y_loadings(0, 0) = r;
  model.y_loadings(0, 1) = -r;
  ControlLimitSet unit;
  unit.standard_deviation = 1.0;
  model.x_scores = {unit};
  model.y_scores = {unit};

  DMatrix x(2, 1);
  x(0, 0) = 2.0;                // t = 2: dummies predicted 0.5 ± 0.5·2r, category 1
  x(1, 0) = -1.0;               // t = -1: category 2
  DMatrix observed(2, 1, 1.0);  // both cases observed in category 1
  const PLSDeploymentScores scores =
      ScorePLS(model,
               BlockColumns(model.predictor_fields, model.predictor_columns, x),
               BlockColumns(model.dependent_fields, model.dependent_columns, observed));
  EXPECT_NEAR(scores.predicted(0, 0), 0.5 + 2.0 * r * 0.5, 1e-15);
  EXPECT_NEAR(scores.predicted(0, 1), 0.5 - 2.0 * r * 0.5, 1e-15);
  EXPECT_NEAR(scores.y_residuals(1, 0), 1.0 - (0.5 - r * 0.5), 1e-15);
  EXPECT_NEAR(scores.y_scores(0, 0), 2.0 * r, 1e-15);  // f = (1, -1) scaled: u = f·q / q·q
  EXPECT_NEAR(scores.spe[0], 0.0, 1e-15);
  EXPECT_NEAR(scores.t2[1], 1.0, 1e-15);

  const DeployedCases cases{{1, 2}, {"", ""}};
  for (const RoutedOutput& report : DeployedPLSReports(model, scores, cases, "")) {
    const auto* sheet = std::get_if<Spreadsheet>(&report);
    if (sheet == nullptr || sheet->title != "Predictions") continue;
    ASSERT_EQ(sheet->columns.back(), "Predicted class of grade");
    EXPECT_EQ(std::get<double>(sheet->rows[0].cells.back()), 1.0);
    EXPECT_EQ(std::get<double>(sheet->rows[1].cells.back()), 2.0);
    return;
  }
  ADD_FAILURE() << "no predictions";
}

TEST(PLSDocumentReading, CountsAndLengthsMustAgreeWithTheElements) {
  const PLSFit fit;
  std::string good;
  WritePLSDocument(fit.Exported(), good);
  const auto damaged = [&good](const std::string& from, const std::string& to) {
    std::string text = good;
    text.replace(text.find(from), from.size(), to);
    return text;
  };
  const std::vector<std::pair<std::string, MessageId>> cases = {
      {damaged("numberOfComponents=\"3\"", "numberOfComponents=\"4\""),
       MessageId::kDeployCountDiffers},
      {damaged("numberOfPredictors=\"5\"", "numberOfPredictors=\"4\""),
       MessageId::kDeployVariablesDoNotMatch},
      {damaged("<Loading value=", "<Load value="), MessageId::kDeployLoadingLength},
      {damaged("optype=\"dependent\"", "optype=\"other\""), MessageId::kDeployMissingAttribute},
      {damaged("coefficient=\"", "coefficient=\"x"), MessageId::kDeployBadNumber},
  };
  for (const auto& [text, id] : cases) {
    EXPECT_EQ(StopId([&] { ReadPLSDocument(Parse(text)); }), id) << text;
  }
}

TEST(PLSDeploymentDialog, DeployingTheExportedModelDrawsTheResultsChartsAgain) {
  DeploymentAnalysis analysis;
  const std::string document = analysis.FitPLSAndExport();
  ASSERT_TRUE(fake::Run(analysis.Twin(), "TSquareChart"));
  ASSERT_TRUE(fake::Run(analysis.Twin(), "SPEQChart"));
  const std::size_t fitted_graphs = analysis.host().graphs().size();
  ASSERT_TRUE(analysis.Deploy({document, document}));
  EXPECT_EQ(analysis.host().messages().back().text, "2 PLS models have been loaded.");
  analysis.ExpectChartsRedrawn(fitted_graphs, 1e-11);
  bool side_by_side = false;
  bool predictions = false;
  for (const Spreadsheet& sheet : analysis.host().spreadsheets()) {
    side_by_side = side_by_side || sheet.title == "T\xC2\xB2 and SPE(Q) of every loaded model";
    predictions = predictions || (sheet.title == "Predictions" && sheet.columns.size() == 6 &&
                                  sheet.columns[0] == "y1 observed");
  }
  EXPECT_TRUE(side_by_side);
  EXPECT_TRUE(predictions);
}

TEST(PLSDeploymentDialog, SelectionAndDependentsAreChecked) {
  DeploymentAnalysis analysis;
  const std::string pls = analysis.FitPLSAndExport();
  ASSERT_TRUE(analysis.Deploy({pls}, {}, {"x4", "x3", "x2", "x1"}));
  EXPECT_EQ(analysis.host().messages().back().text, "1 PLS model has been loaded.");
  ASSERT_TRUE(analysis.Deploy({pls}, {}, {"y2", "x4", "x3", "x2", "x1", "y1"}));
  EXPECT_FALSE(analysis.Deploy({pls}, {}, {"x1", "x2", "x3"}));
  EXPECT_EQ(analysis.LastStop()->id, MessageId::kDeployVariableCountDiffers);
  EXPECT_FALSE(analysis.Deploy({pls}, {}, {"x1", "x2", "x3", "y1"}));
  EXPECT_EQ(analysis.LastStop()->id, MessageId::kDeployVariablesDoNotMatch);
  std::string other = pls;
  other.replace(other.find("name=\"y2\""), 9, "name=\"x9\"");
  EXPECT_FALSE(analysis.Deploy({pls, other}));
  EXPECT_EQ(analysis.LastStop()->id, MessageId::kDeployDependentsDiffer);
  const std::string pca = analysis.FitAndExport();
  EXPECT_FALSE(analysis.Deploy({pls, pca}));
  EXPECT_EQ(analysis.LastStop()->id, MessageId::kDeployMixedKinds);
}

}  // namespace
}  // namespace mspc
