#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "deploy/deployment_analysis.hpp"
#include "deploy/deployment_model.hpp"
#include "deploy/pca_deployment.hpp"
#include "deploy/pca_document.hpp"
#include "export/export_test_support.hpp"
#include "export/model_document.hpp"
#include "host/errors.hpp"
#include "pca/pca_reports.hpp"

namespace mspc {
namespace {

using testing::DeploymentAnalysis;
using testing::Parse;

void ExpectRelative(double actual, double expected, double tolerance, const std::string& what) {
  if (std::isnan(expected)) {
    EXPECT_TRUE(std::isnan(actual)) << what;
    return;
  }
  EXPECT_LE(std::fabs(actual - expected), tolerance * std::max(std::fabs(expected), 1e-300))
      << what << ": " << actual << " vs " << expected;
}

std::string DocumentOf(const PCAEngine& engine, const WorkingData& data) {
  const platform::BoostProbability probability;
  std::string text;
  ExportPCADocument(
      engine, data, ScalingMode::UnitStandardDeviations, PCAReportOptions{}, probability, text);
  return text;
}

// Scoring the training cases with the saved model gives back what the fit computed; on a
// complete table the T² contributions of every case add up to its T².
void ExpectRoundTrip(const DMatrix& raw, int components, bool complete = true) {
  const WorkingData data = testing::ContinuousData(raw, {"a", "b", "c", "d", "e"});
  const PCAEngine engine = testing::FittedEngine(data, components);
  const LoadedPCAModel model = ReadPCADocument(Parse(DocumentOf(engine, data)));
  ASSERT_EQ(model.Components(), components);
  const PCADeploymentScores scores = ScorePCA(model, ModelColumns(model, raw));
  const std::vector<double> t2 = ComputeModelT2(engine);
  const std::vector<double> spe = ComputeModelSPE(engine);
  const DMatrix fitted = engine.Scores();
  std::vector<std::size_t> all(raw.rows());
  DeployedCases cases;
  for (std::size_t row = 0; row < raw.rows(); ++row) {
    all[row] = row;
    cases.numbers.push_back(static_cast<int>(row) + 1);
  }
  const Spreadsheet contributions = DeployedT2Contributions(model, scores, cases, all);
  for (std::size_t row = 0; row < raw.rows(); ++row) {
    const std::string at = "row " + std::to_string(row);
    ExpectRelative(scores.t2[row], t2[row], 1e-12, "T2 " + at);
    ExpectRelative(scores.spe[row], spe[row], 1e-12, "SPE " + at);
    if (complete) {
      double t2_sum = 0.0;
      for (const ReportCell& cell : contributions.rows[row].cells) t2_sum += std::get<double>(cell);
      EXPECT_NEAR(t2_sum, scores.t2[row], 1e-9 * std::max(1.0, scores.t2[row])) << at;
    }
    for (int a = 0; a < components; ++a) {
      const auto col = static_cast<std::size_t>(a);
      EXPECT_LE(std::fabs(scores.scores(row, col) - fitted(row, col)),
                1e-12 * std::max(1.0, std::fabs(fitted(row, col))))
          << "score " << a + 1 << " " << at;
    }
  }
}

TEST(PCADeploymentRoundTrip, TheTrainingCasesScoreAsTheFitScoredThem) {
  ExpectRoundTrip(testing::ManufacturedData(40, 5, {3.0, 2.0, 1.0}, 0.3, 11), 3);
  ExpectRoundTrip(testing::ManufacturedData(12, 5, {2.0}, 0.5, 3), 1);
}

TEST(PCADeploymentRoundTrip, CasesWithMissingCellsAreScoredOverThePresentCells) {
  DMatrix raw = testing::ManufacturedData(30, 5, {3.0, 1.5}, 0.3, 21);
  raw(2, 1) = std::nan("");
  raw(7, 0) = std::nan("");
  raw(7, 4) = std::nan("");
  raw(19, 3) = std::nan("");
  ExpectRoundTrip(raw, 2, /*complete=*/false);
}

TEST(PCADeploymentScoring, ACaseOnTheModelLineHasNoResidualAndOneAcrossItHasNoScore) {
  // Hand-made model: two variables, one component along (1, 1)/sqrt(2).
  const double r = 1.0 / std::sqrt(2.0);
  const std::string text =
      "<PMML version=\"2.0\"><DataDictionary numberOfFields=\"2\">"
      "<DataField name=\"u\" optype=\"predictor\"><Mean value=\"1\"/><Std value=\"2\"/>"
      "<Scale value=\"2\"/></DataField>"
      "<DataField name=\"v\" optype=\"predictor\"><Mean value=\"0\"/><Std value=\"1\"/>"
      "<Scale value=\"1\"/></DataField></DataDictionary>"
      "<PCA scaling=\"UnitStandardDeviations\" numberOfVariables=\"2\" numberOfComponents=\"1\">"
      "<TS controllimit=\"99\" controlline=\"9\" warning=\"0\"/>"
      "<SPE controllimit=\"99\" controlline=\"0.5\" warning=\"0\"/><Components><Component>"
      "<Score type=\"0\" std=\"2\" df=\"9\" controllimit=\"0.99\" uppercontrol=\"6\" "
      "lowercontrol=\"-6\" warning=\"0\"/><Loadings><Loading value=\"" +
      FormatDocumentReal(r) + "\"/><Loading value=\"" + FormatDocumentReal(r) +
      "\"/></Loadings></Component></Components></PCA></PMML>";
  const LoadedPCAModel model = ReadPCADocument(Parse(text));
  DMatrix cases(3, 2);
  cases(0, 0) = 5.0;  // scaled (2, 2): on the line, t = 2 sqrt(2), T² = 2, SPE = 0
  cases(0, 1) = 2.0;
  cases(1, 0) = 3.0;  // scaled (1, -1): across it, t = 0, SPE = 2
  cases(1, 1) = -1.0;
  cases(2, 0) = std::nan("");  // only v = 3 present: t = 3 r / r² = 3 sqrt(2), SPE = 0
  cases(2, 1) = 3.0;
  const PCADeploymentScores scores = ScorePCA(model, ModelColumns(model, cases));
  EXPECT_NEAR(scores.scores(0, 0), 2.0 * std::sqrt(2.0), 1e-14);
  EXPECT_NEAR(scores.t2[0], 2.0, 1e-14);
  EXPECT_NEAR(scores.spe[0], 0.0, 1e-14);
  EXPECT_NEAR(scores.scores(1, 0), 0.0, 1e-14);
  EXPECT_NEAR(scores.spe[1], 2.0, 1e-14);
  EXPECT_NEAR(scores.scores(2, 0), 3.0 * std::sqrt(2.0), 1e-13);
  EXPECT_NEAR(scores.spe[2], 0.0, 1e-14);
  EXPECT_TRUE(std::isnan(scores.residuals(2, 0)));
  // Only the case across the line lies above a control line (SPE 2 > 0.5).
  const std::vector<std::size_t> flagged = FlaggedCases(model, scores);
  EXPECT_EQ(flagged, std::vector<std::size_t>{1});
  // Its squared SPE contributions add up to its SPE.
  const DeployedCases numbers{{1, 2, 3}, {}};
  const Spreadsheet spe = DeployedSPEContributions(model, scores, numbers, flagged);
  ASSERT_EQ(spe.rows.size(), 1u);
  double total = 0.0;
  for (const ReportCell& cell : spe.rows[0].cells) total += std::pow(std::get<double>(cell), 2);
  EXPECT_NEAR(total, 2.0, 1e-14);
}

// Documents that must be refused, each with the message that says why.
TEST(PCADocumentReading, MalformedDocumentsAreRefusedWithTheirMessage) {
  const WorkingData data =
      testing::ContinuousData(testing::ManufacturedData(20, 3, {2.0}, 0.3, 9), {"a", "b", "c"});
  const std::string good = DocumentOf(testing::FittedEngine(data, 1), data);
  ASSERT_NO_THROW(ReadPCADocument(Parse(good)));

  auto replaced = [&good](const std::string& from, const std::string& to) {
    std::string text = good;
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
  };
  auto drop_line = [&good](const std::string& start) {
    std::string text = good;
    const std::size_t at = text.find(start);
    EXPECT_NE(at, std::string::npos) << start;
    return at == std::string::npos ? text : text.erase(at, text.find('\n', at) + 1 - at);
  };
  struct Case {
    std::string document;
    MessageId id;
  };
  const std::size_t mean_at = good.find("<Mean value=\"");
  const std::string first_mean = good.substr(mean_at, good.find('\n', mean_at) - mean_at);
  const std::vector<Case> cases = {
      {replaced("numberOfFields=\"3\"", "numberOfFields=\"4\""), MessageId::kDeployCountDiffers},
      {replaced("numberOfComponents=\"1\"", "numberOfComponents=\"2\""),
       MessageId::kDeployCountDiffers},
      {replaced("numberOfVariables=\"3\"", "numberOfVariables=\"2\""),
       MessageId::kDeployVariablesDoNotMatch},
      {drop_line("<Loading value="), MessageId::kDeployLoadingLength},
      {replaced(first_mean, "<Mean value=\"nan\"/>"), MessageId::kDeployBadNumber},
      {replaced(first_mean, "<Mean value=\"inf\"/>"), MessageId::kDeployBadNumber},
      {replaced(first_mean, "<Mean value=\"twelve\"/>"), MessageId::kDeployBadNumber},
      {replaced(first_mean, "<Mean value=\"1.5e0x\"/>"), MessageId::kDeployBadNumber},
      {replaced("numberOfFields=\"3\"", "numberOfFields=\"-3\""), MessageId::kDeployBadNumber},
      {replaced("numberOfFields=\"3\"", "numberOfFields=\"3.5\""), MessageId::kDeployBadNumber},
      {drop_line("<SPE "), MessageId::kDeployMissingElement},
      {drop_line("<Score "), MessageId::kDeployMissingElement},
      {drop_line(first_mean), MessageId::kDeployMissingElement},
      {replaced("UnitStandardDeviations", "Sideways"), MessageId::kDeployMissingAttribute},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(StopId([&] { ReadPCADocument(Parse(c.document)); }), c.id) << c.document;
  }
}

TEST(PCADocumentReading, ADocumentWithoutComponentsHasUndefinedTSquareLines) {
  const WorkingData data =
      testing::ContinuousData(testing::ManufacturedData(20, 3, {2.0}, 0.3, 9), {"a", "b", "c"});
  const std::string text = DocumentOf(testing::FittedEngine(data, 0), data);
  EXPECT_NE(text.find("numberOfComponents=\"0\""), std::string::npos);
  EXPECT_NE(text.find("<Components>\n</Components>"), std::string::npos);
  const LoadedPCAModel model = ReadPCADocument(Parse(text));
  EXPECT_EQ(model.Components(), 0);
  EXPECT_TRUE(std::isnan(model.t2.control_line));
  EXPECT_GT(model.spe.control_line, 0.0);
}

TEST(DocumentKinds, OnlyTheRootsDirectChildrenCount) {
  int count = 0;
  EXPECT_EQ(DocumentModelKind(Parse("<PMML><DataDictionary/><PLS/></PMML>"), count),
            ModelKind::kPLS);
  EXPECT_EQ(count, 1);
  EXPECT_FALSE(DocumentModelKind(Parse("<PMML><PCA/><PLS/></PMML>"), count));
  EXPECT_EQ(count, 2);
  EXPECT_FALSE(DocumentModelKind(Parse("<PMML><Wrapper><PCA/></Wrapper></PMML>"), count));
  EXPECT_EQ(count, 0);
  EXPECT_FALSE(DocumentModelKind(Parse("<PMML><pca/></PMML>"), count));
  EXPECT_EQ(count, 0);
}

TEST(DeploymentDialog, DeployingTheExportedModelDrawsTheResultsChartsAgain) {
  DeploymentAnalysis analysis;
  const std::string document = analysis.FitAndExport();
  ASSERT_TRUE(analysis.Run("TSquareChart"));
  ASSERT_TRUE(analysis.Run("SPEQChart"));
  const std::size_t fitted_graphs = analysis.host().graphs().size();
  ASSERT_TRUE(analysis.Deploy({document}));
  EXPECT_EQ(analysis.host().CountOf(MessageId::kDeployOnePCALoaded), 1);
  analysis.ExpectChartsRedrawn(fitted_graphs, 1e-12);
}

TEST(DeploymentDialog, LoadingRefusalsEndTheDeploymentWithTheirMessage) {
  DeploymentAnalysis analysis;
  const std::string pca = analysis.FitAndExport();
  const std::string pls = "<PMML version=\"2.0\"><PLS/></PMML>";
  struct Case {
    std::vector<std::string> texts;
    std::vector<std::string> files;
    MessageId id;
  };
  const std::vector<Case> cases = {
      {{pca, pls}, {}, MessageId::kDeployMixedKinds},
      {{pls, pca}, {}, MessageId::kDeployMixedKinds},
      {{"<PMML><PCA/><PLS/></PMML>"}, {}, MessageId::kDeployMoreThanOneModel},
      {{"<PMML><Models><PCA/></Models></PMML>"}, {}, MessageId::kDeployNoModelInText},
      {{"<!DOCTYPE PMML [<!ENTITY a \"x\">]><PMML><PCA/></PMML>"},
       {},
       MessageId::kDeployTextNotLoaded},
      {{"<?xml version=\"1.0\"?><!DOCTYPE l [<!ENTITY a \"aaaaaaaa\"><!ENTITY b "
        "\"&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;\">]><PMML>&c;</PMML>"},
       {},
       MessageId::kDeployTextNotLoaded},
      {{"<!DOCTYPE PMML [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><PMML>&e;<PCA/></PMML>"},
       {},
       MessageId::kDeployTextNotLoaded},
      {{"<PMML><PCA>"}, {}, MessageId::kDeployTextNotLoaded},
      {{}, {"/nonexistent/model.pmml"}, MessageId::kDeployFileNotLoaded},
      {{}, {}, MessageId::kDeployNoSourceChosen},
      {{"<PMML version=\"2.0\"><TMPLS/></PMML>"}, {}, MessageId::kDeployMissingElement},
  };
  for (const Case& c : cases) {
    EXPECT_FALSE(analysis.Deploy(c.texts, c.files));
    ASSERT_NE(analysis.LastStop(), nullptr);
    EXPECT_EQ(analysis.LastStop()->id, c.id) << analysis.LastStop()->text;
  }
  EXPECT_EQ(analysis.LastStop()->text,
            "The model document has no DataDictionary element inside PMML.");
  EXPECT_FALSE(analysis.Deploy({}, {"/nonexistent/model.pmml"}));
  EXPECT_EQ(analysis.LastStop()->text,
            "Could not load PMML file /nonexistent/model.pmml successfully. Please check the "
            "file carefully.");
}

TEST(DeploymentDialog, VariablesAreMatchedByName) {
  DeploymentAnalysis analysis;
  const std::string pca = analysis.FitAndExport();
  // Two models of one kind, the selection in another order.
  ASSERT_TRUE(analysis.Deploy({pca, pca}, {}, {"x4", "x3", "x2", "x1"}));
  EXPECT_EQ(analysis.host().messages().back().text, "2 PCA models have been loaded.");
  // Counts and names that differ from the selection are checked with the PLS models.
  std::string renamed = pca;
  renamed.replace(renamed.find("name=\"x4\""), 9, "name=\"zz\"");
  EXPECT_FALSE(analysis.Deploy({renamed}));
  EXPECT_EQ(analysis.LastStop()->id, MessageId::kDeployUnknownVariable);
}

}  // namespace
}  // namespace mspc
