#include "export/batch_pls_export.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "batch/bmpls_model.hpp"
#include "batch/mpls_model.hpp"
#include "deploy/batch_pls_document.hpp"
#include "deploy/deployment_model.hpp"
#include "deploy/pls_deployment.hpp"
#include "export/export_test_support.hpp"
#include "frame/analysis_support.hpp"
#include "pca/pca_test_support.hpp"
#include "platform/boost_probability.hpp"
#include "platform/pugi_xml_parser.hpp"
#include "pls/pls_reports.hpp"
#include "support/batch_tables.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

using testing::Parse;
constexpr std::size_t kBatches = 10;
constexpr std::size_t kTimes = 4;
constexpr std::size_t kVariables = 3;
// A name that would break the markup if it were written as it stands.
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
class BatchPLSExport : public ::testing::Test {
 protected:
  BatchPLSExport()
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

  // Deployment of the document on the training table gives the fit's scores, row for row.
  const PLSDeploymentScores& Deploy(const std::string& text, const CPLSModel& model) {
    deployment_.SetSources({{text, false}});
    const StartupOptions options;
    deployment_.ApplyOptions(options);
    deployment_.Run(options);
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

TEST_F(BatchPLSExport, ATMPLSDocumentReadsBackAndScoresTheBatchesAsTheFitDid) {
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

TEST_F(BatchPLSExport, ABMPLSDocumentCarriesThePerTimeLimitsAndPredictsTheTime) {
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

}  // namespace
}  // namespace mspc
