#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "batch/bmpls_model.hpp"
#include "batch/mpca_model.hpp"
#include "batch/mpls_model.hpp"
#include "deploy/batch_pls_document.hpp"
#include "deploy/deployment_model.hpp"
#include "deploy/pca_deployment.hpp"
#include "deploy/pls_deployment.hpp"
#include "deploy/tmpca_document.hpp"
#include "export/batch_pls_export.hpp"
#include "export/export_test_support.hpp"
#include "export/tmpca_export.hpp"
#include "frame/analysis_support.hpp"
#include "pca/pca_reports.hpp"
#include "pca/pca_test_support.hpp"
#include "platform/boost_probability.hpp"
#include "platform/pugi_xml_parser.hpp"
#include "pls/pls_reports.hpp"
#include "support/batch_tables.hpp"
#include "support/compile_c.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

using testing::Children;
using testing::Parse;
constexpr std::size_t kBatches = 10;
constexpr std::size_t kTimes = 4;
constexpr std::size_t kVariables = 3;
const std::string kOddName = "x\"<1>&'";

void ExpectClose(double actual, double expected, const std::string& what) {
  testing::ExpectClose(actual, expected, 1e-12, what);
}

void ExpectSameLimits(const ControlLimitSet& read, const ControlLimitSet& written) {
  ExpectClose(read.control_line, written.control_line, "control line");
  ExpectClose(read.upper_control, written.upper_control, "upper control");
  ExpectClose(read.lower_control, written.lower_control, "lower control");
  EXPECT_EQ(read.warning, written.warning);
}

// Ten batches of three process variables at four times (codes 10 to 40), one case per batch
// and time; the quality of a batch, a linear function of its course, is marked at its last time.
// The first variable's name would break the markup if it were written as it stands.
class BatchExport : public ::testing::Test {
 protected:
  BatchExport()
      : unfolded_(testing::ManufacturedData(kBatches, kTimes * kVariables, {3.0, 1.5}, 0.3, 23)) {
    const testing::LongTableLayout layout(1, 10, false, true, {kOddName, "x2", "x3"});
    testing::WriteLongTable(unfolded_, kVariables, table_, layout);
    testing::AddMarkedQuality(unfolded_, kTimes, table_, layout);
    HostServices services = host_.Services(&table_, true);
    services.xml = &parser_;
    services.probability = &probability_;
    analysis_.InitCommons(services);
    options_.predictor_variables = {kOddName, "x2", "x3"};
  }

  template <typename Model>
  void Fit(Model& model) {
    model.ApplyOptions(options_);
    model.Run(options_);
    ASSERT_TRUE(model.IsFitted());
  }

  // Deploy the document on the training table.
  void RunDeployment(const std::string& text) {
    deployment_.SetSources({{text, false}});
    const StartupOptions options;
    deployment_.ApplyOptions(options);
    deployment_.Run(options);
  }

  // Deployment of the document on the training table gives the fit's scores, row for row.
  const PLSDeploymentScores& Deploy(const std::string& text, const CPLSModel& model) {
    RunDeployment(text);
    EXPECT_EQ(deployment_.pls_models().size(), 1u);
    const PLSDeploymentScores& scores = deployment_.pls_models().at(0).scores;
    const DMatrix fitted = model.engine().XScores();
    EXPECT_EQ(scores.x_scores.rows(), fitted.rows());
    EXPECT_EQ(scores.x_scores.cols(), fitted.cols());
    for (std::size_t r = 0; r < fitted.rows() && r < scores.x_scores.rows(); ++r) {
      for (std::size_t a = 0; a < fitted.cols(); ++a) {
        ExpectClose(scores.x_scores(r, a), fitted(r, a), "score");
      }
    }
    return scores;
  }

  DMatrix unfolded_;
  FakeDataTable table_;
  RecordingHost host_;
  platform::BoostProbability probability_;
  platform::PugiXmlParser parser_;
  CAnalysisSupport analysis_;
  StartupOptions options_ = testing::BatchOptions();
  PLSReportOptions report_options_;
  CDeploymentModel deployment_{&analysis_};
};

TEST_F(BatchExport, ATMPLSDocumentReadsBackAndScoresTheBatchesAsTheFitDid) {
  options_.dependent_variables = {"quality"};
  options_.dependent_identifier = "mark";
  options_.dependent_identifier_code = 1.0;
  CMPLSModel model(&analysis_);
  Fit(model);
  const LoadedTMPLSModel exported = TMPLSDocumentModel(model, report_options_, probability_);
  std::string text;
  WriteTMPLSDocument(exported, text);
  const LoadedTMPLSModel read = ReadTMPLSDocument(Parse(text));

  // The predictors are the variables at their times, at their unfolded columns; the one
  // dependent slot of marked cases is numbered.
  const LoadedPLSModel& unfolded = read.unfolded;
  ASSERT_EQ(unfolded.predictor_fields.size(), kTimes * kVariables);
  EXPECT_EQ(unfolded.predictor_fields[0].name, kOddName + " {10}");
  EXPECT_EQ(unfolded.predictor_fields[4].name, "x2 {20}");
  EXPECT_EQ(exported.unfolded.predictor_fields[4].location, 5);
  ASSERT_EQ(unfolded.dependent_fields.size(), 1u);
  EXPECT_EQ(unfolded.dependent_fields[0].name, "quality {1}");
  EXPECT_EQ(read.frame.batch_name, "batch");
  EXPECT_EQ(read.frame.batches, static_cast<int>(kBatches));
  EXPECT_EQ(read.frame.time_codes, (std::vector<double>{10, 20, 30, 40}));
  EXPECT_EQ(read.dependent_time_code, 40.0);
  ExpectSameLimits(unfolded.spe, exported.unfolded.spe);
  EXPECT_TRUE(unfolded.spe.warning);
  EXPECT_EQ(Deploy(text, model).predicted.cols(), 1u);
  EXPECT_EQ(host_.messages().back().text, "1 TMPLS model has been loaded.");
  EXPECT_EQ(deployment_.cases().numbers.size(), kBatches);
}

TEST_F(BatchExport, ABMPLSDocumentCarriesThePerTimeLimitsAndPredictsTheTime) {
  options_.variables = options_.predictor_variables;
  CBMPLSModel model(&analysis_);
  Fit(model);
  LoadedBMPLSModel exported = BMPLSDocumentModel(model, report_options_, probability_);
  std::string text;
  WriteBMPLSDocument(exported, text);
  const LoadedBMPLSModel read = ReadBMPLSDocument(Parse(text));

  ASSERT_EQ(read.model.predictor_fields.size(), kVariables);
  EXPECT_EQ(read.model.predictor_fields[0].name, kOddName);
  ASSERT_EQ(read.model.dependent_fields.size(), 1u);
  EXPECT_EQ(read.model.dependent_fields[0].name, "time");
  ExpectClose(read.model.dependent_columns[0].mean, 25.0, "mean time");
  // Per time: the SPE(Q) lines and every component's score limits of the fit.
  const TimeLimits spe = model.SPEByTime(report_options_.chart, probability_);
  ASSERT_EQ(read.spe_by_time.size(), kTimes);
  const int components = model.engine().ComponentCount();
  ASSERT_GE(components, 1);
  ASSERT_EQ(read.scores_by_time.size(), static_cast<std::size_t>(components));
  for (std::size_t k = 0; k < kTimes; ++k) {
    ExpectSameLimits(read.spe_by_time[k], spe.limits[k]);
    EXPECT_TRUE(read.spe_by_time[k].warning);
    for (int a = 1; a <= components; ++a) {
      const TimeLimits scores = model.ScoreTrajectory(a, report_options_.score, probability_);
      ExpectSameLimits(read.scores_by_time[static_cast<std::size_t>(a - 1)][k], scores.limits[k]);
    }
  }
  // Every case is one batch at one time; the time is predicted and read back as observed.
  const PLSDeploymentScores& scores = Deploy(text, model);
  ASSERT_EQ(scores.observed.rows(), kBatches * kTimes);
  EXPECT_EQ(scores.observed(6, 0), 30.0);
  EXPECT_EQ(host_.messages().back().text, "1 BMPLS model has been loaded.");

  // A time with too few batches has undefined lines; they read back undefined.
  exported.spe_by_time[1].control_line = std::nan("");
  text.clear();
  WriteBMPLSDocument(exported, text);
  EXPECT_TRUE(std::isnan(ReadBMPLSDocument(Parse(text)).spe_by_time[1].control_line));
}

// The document names the batch, the time with its codes and the process variables; read back
// and deployed on the training table it scores the batches as the fit did, and its C compiles.
TEST_F(BatchExport, ATMPCADocumentReadsBackAndScoresTheBatchesAsTheFitDid) {
  options_.variables = options_.predictor_variables;
  CMPCAModel model(&analysis_);
  Fit(model);
  const LoadedTMPCAModel exported = TMPCADocumentModel(model, PCAReportOptions{}, probability_);
  std::string text;
  WriteTMPCADocument(exported, text);
  const XmlElement root = Parse(text);
  const XmlElement& dictionary = *Children(root, "DataDictionary").at(0);
  EXPECT_EQ(*dictionary.Attribute("numberOfFields"), "5");
  const auto fields = Children(dictionary, "DataField");
  ASSERT_EQ(fields.size(), 5u);
  EXPECT_EQ(*fields[0]->Attribute("optype"), "batch");
  EXPECT_EQ(*fields[0]->Attribute("numberOfCategories"), "10");
  EXPECT_EQ(*fields[1]->Attribute("name"), "time");
  const auto codes = Children(*fields[1], "Code");
  ASSERT_EQ(codes.size(), kTimes);
  EXPECT_EQ(std::stod(*codes[2]->Attribute("value")), 30.0);
  EXPECT_EQ(*fields[4]->Attribute("name"), "x3");
  const XmlElement& tmpca = *Children(root, "TMPCA").at(0);
  EXPECT_EQ(*tmpca.Attribute("numberOfVariables"), "3");
  EXPECT_EQ(Children(*Children(tmpca, "Scales").at(0), "Time").size(), kTimes);

  // The unfolded model's fields are the variables at their times, at their unfolded columns.
  const LoadedTMPCAModel read = ReadTMPCADocument(root);
  ASSERT_EQ(read.unfolded.fields.size(), exported.unfolded.fields.size());
  EXPECT_EQ(read.unfolded.fields[4].name, "x2 {20}");
  EXPECT_EQ(read.unfolded.fields[4].location, 5);
  for (std::size_t f = 0; f < read.unfolded.fields.size(); ++f) {
    EXPECT_EQ(read.unfolded.fields[f].name, exported.unfolded.fields[f].name);
    EXPECT_EQ(read.unfolded.fields[f].location, exported.unfolded.fields[f].location);
  }

  RunDeployment(text);
  EXPECT_EQ(host_.messages().back().text, "1 TMPCA model has been loaded.");
  ASSERT_EQ(deployment_.pca_models().size(), 1u);
  const PCADeploymentScores& scores = deployment_.pca_models()[0].scores;
  ASSERT_EQ(scores.t2.size(), kBatches);
  const std::vector<double> t2 = ComputeModelT2(model.engine());
  const std::vector<double> spe = ComputeModelSPE(model.engine());
  for (std::size_t i = 0; i < kBatches; ++i) {
    testing::ExpectClose(scores.t2[i], t2[i], 1e-10, "T2");
    testing::ExpectClose(scores.spe[i], spe[i], 1e-10, "SPE");
  }
  EXPECT_EQ(deployment_.cases().names.front(), "1");

  const std::string c = GenerateTMPCACCode(exported);
  EXPECT_NE(c.find("// Continuous variable name : x2 {20} ; Location = 5\n"), std::string::npos);
  testing::ExpectCompiles(c, "tmpca.c");
}

}  // namespace
}  // namespace mspc
