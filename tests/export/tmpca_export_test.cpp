#include "export/tmpca_export.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "batch/mpca_model.hpp"
#include "deploy/deployment_model.hpp"
#include "deploy/pca_deployment.hpp"
#include "deploy/tmpca_document.hpp"
#include "export/export_test_support.hpp"
#include "frame/analysis_support.hpp"
#include "pca/pca_reports.hpp"
#include "pca/pca_test_support.hpp"
#include "platform/boost_probability.hpp"
#include "platform/pugi_xml_parser.hpp"
#include "support/batch_tables.hpp"
#include "support/compile_c.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

constexpr std::size_t kBatches = 10;
constexpr std::size_t kTimes = 4;
constexpr std::size_t kVariables = 3;

// Ten batches of three variables at four times (codes 10, 20, 30, 40), one case per batch and
// time, fitted by TMPCA with two components.
class TMPCAExport : public ::testing::Test {
 protected:
  TMPCAExport()
      : unfolded_(testing::ManufacturedData(kBatches, kTimes * kVariables, {3.0, 1.5}, 0.3, 8)) {
    testing::WriteLongTable(unfolded_, kVariables, table_, testing::LongTableLayout(1, 10, false));
    HostServices services = host_.Services(&table_, true);
    services.xml = &parser_;
    services.probability = &probability_;
    analysis_.InitCommons(services);
    StartupOptions options = testing::BatchOptions();
    options.variables = {"x1", "x2", "x3"};
    model_.ApplyOptions(options);
    model_.Run(options);
    exported_ = TMPCADocumentModel(model_, PCAReportOptions{}, probability_);
  }

  DMatrix unfolded_;
  FakeDataTable table_;
  RecordingHost host_;
  platform::BoostProbability probability_;
  platform::PugiXmlParser parser_;
  CAnalysisSupport analysis_;
  CMPCAModel model_{&analysis_};
  LoadedTMPCAModel exported_;
};

using testing::Children;

TEST_F(TMPCAExport, TheDocumentHoldsTheBatchTimeAndProcessVariables) {
  std::string text;
  WriteTMPCADocument(exported_, text);
  const XmlElement root = testing::Parse(text);
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
}

TEST_F(TMPCAExport, TheDeployedDocumentScoresTheBatchesAsTheFitDid) {
  std::string text;
  WriteTMPCADocument(exported_, text);
  const LoadedTMPCAModel read = ReadTMPCADocument(parser_.LoadText(text, true).root);
  // The unfolded model's fields are the variables at their times, at their unfolded columns.
  EXPECT_EQ(exported_.unfolded.fields[4].name, "x2 {20}");
  EXPECT_EQ(exported_.unfolded.fields[4].location, 5);
  ASSERT_EQ(read.unfolded.fields.size(), exported_.unfolded.fields.size());
  for (std::size_t f = 0; f < read.unfolded.fields.size(); ++f) {
    EXPECT_EQ(read.unfolded.fields[f].name, exported_.unfolded.fields[f].name);
    EXPECT_EQ(read.unfolded.fields[f].location, exported_.unfolded.fields[f].location);
  }

  CDeploymentModel deployment(&analysis_);
  deployment.SetSources({{text, false}});
  const StartupOptions options;
  deployment.ApplyOptions(options);
  deployment.Run(options);
  EXPECT_EQ(host_.messages().back().text, "1 TMPCA model has been loaded.");
  ASSERT_EQ(deployment.pca_models().size(), 1u);
  const PCADeploymentScores& scores = deployment.pca_models()[0].scores;
  ASSERT_EQ(scores.t2.size(), kBatches);
  const std::vector<double> t2 = ComputeModelT2(model_.engine());
  const std::vector<double> spe = ComputeModelSPE(model_.engine());
  for (std::size_t i = 0; i < kBatches; ++i) {
    EXPECT_NEAR(scores.t2[i], t2[i], 1e-10 * std::max(1.0, t2[i])) << "batch " << i;
    EXPECT_NEAR(scores.spe[i], spe[i], 1e-10 * std::max(1.0, spe[i])) << "batch " << i;
  }
  EXPECT_EQ(deployment.cases().names.front(), "1");
}

TEST_F(TMPCAExport, TheCodeCarriesTheTMPCATitlesAndCompiles) {
  exported_.unfolded.title = "Multivariate Statistical Process Control";
  const std::string c = GenerateTMPCACCode(exported_);
  EXPECT_NE(c.find("//Time-wise Multi-way Principal Components Analysis C/C++/C# deployment code"),
            std::string::npos);
  EXPECT_NE(c.find("// Continuous variable name : x2 {20} ; Location = 5\n"), std::string::npos);
  const std::string kvb = GenerateTMPCAKVBCode(exported_);
  EXPECT_NE(kvb.find("'Time-wise Multi-way Principal Components Analysis KVB deployment code\n"),
            std::string::npos);
  testing::ExpectCompiles(c, "tmpca.c");
}

}  // namespace
}  // namespace mspc
