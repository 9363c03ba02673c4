#pragma once

// An analysis on a 30-case table (x1..x4 of rank two, y1 and y2 explained by them) driven as
// a host would: PCA or PLS fitted and exported, or saved documents deployed.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/mspc.hpp"
#include "frame/steps.hpp"
#include "pca/pca_test_support.hpp"
#include "platform/boost_probability.hpp"
#include "platform/pugi_xml_parser.hpp"
#include "platform/seeded_random.hpp"
#include "support/fake_data_table.hpp"
#include "support/fake_host.hpp"
#include "support/recording_host.hpp"

namespace mspc::testing {

using fake::Put;

// An analysis on a 30-case table driven as a host would: PCA fitted and exported, or saved
// documents deployed.
class DeploymentAnalysis {
 public:
  DeploymentAnalysis() {
    const DMatrix raw = testing::ManufacturedData(30, 4, {3.0, 1.5}, 0.3, 33);
    for (std::size_t col = 0; col < raw.cols(); ++col) {
      std::vector<double> values;
      for (std::size_t row = 0; row < raw.rows(); ++row) values.push_back(raw(row, col));
      table_.AddVariable("x" + std::to_string(col + 1), values);
    }
    // Two dependents that the predictors explain up to a small deterministic wobble.
    std::vector<double> y1;
    std::vector<double> y2;
    for (std::size_t row = 0; row < raw.rows(); ++row) {
      const double wobble = 0.1 * std::sin(3.0 * static_cast<double>(row));
      y1.push_back(2.0 * raw(row, 0) + raw(row, 1) + wobble);
      y2.push_back(raw(row, 2) - raw(row, 3) + 10.0 - wobble);
    }
    table_.AddVariable("y1", y1);
    table_.AddVariable("y2", y2);
    HostServices services = host_.Services(&table_);
    services.steps = &steps_;
    services.probability = &probability_;
    services.random = &random_;
    services.xml = &parser_;
    analysis_.InitCommons(services);
  }

  // Fit two components and export the model; returns the document text.
  std::string FitAndExport() {
    EXPECT_EQ(steps_.RunStep(kStepMSPCStartup), kDialogOpened);
    Put(steps_.Twin(), "SelectedKind", std::int64_t{1});
    EXPECT_TRUE(fake::Run(steps_.Twin(), "OK"));
    EXPECT_EQ(steps_.RunStep(kStepPCAStartup), kDialogOpened);
    Put(steps_.Twin(), "Variables", std::vector<std::string>{"x1", "x2", "x3", "x4"});
    Put(steps_.Twin(), "FixedNumberOfComponents", true);
    Put(steps_.Twin(), "NumberOfComponents", std::int64_t{2});
    EXPECT_TRUE(fake::Run(steps_.Twin(), "OK"));
    EXPECT_EQ(steps_.RunStep(kStepPCAResults), kDialogOpened);
    EXPECT_TRUE(fake::Run(steps_.Twin(), "CodeGeneratorPMML"));
    EXPECT_FALSE(host_.texts().empty());
    return host_.texts().empty() ? std::string() : host_.texts().back().text;
  }

  // Open Deployment Startup with these documents and press OK.
  bool Deploy(const std::vector<std::string>& texts,
              const std::vector<std::string>& files = {},
              const std::vector<std::string>& variables = {}) {
    EXPECT_EQ(steps_.RunStep(kStepMSPCStartup), kDialogOpened);
    Put(steps_.Twin(), "SelectedKind", std::int64_t{0});
    EXPECT_TRUE(fake::Run(steps_.Twin(), "OK"));
    EXPECT_EQ(steps_.RunStep(kStepDeployStartup), kDialogOpened);
    AutomationObject& twin = steps_.Twin();
    EXPECT_EQ(twin.TwinName(), "MSPCDeployment");
    Put(twin, "ModelTexts", texts);
    Put(twin, "ModelFiles", files);
    Put(twin, "Variables", variables);
    return fake::Run(twin, "OK");
  }

  // Fit a PLS model of y1 and y2 on x1..x4 with two components and export it.
  std::string FitPLSAndExport() {
    EXPECT_EQ(steps_.RunStep(kStepMSPCStartup), kDialogOpened);
    Put(steps_.Twin(), "SelectedKind", std::int64_t{2});
    EXPECT_TRUE(fake::Run(steps_.Twin(), "OK"));
    EXPECT_EQ(steps_.RunStep(kStepPLSStartup), kDialogOpened);
    Put(steps_.Twin(), "PredictorVariables", std::vector<std::string>{"x1", "x2", "x3", "x4"});
    Put(steps_.Twin(), "DependentVariables", std::vector<std::string>{"y1", "y2"});
    Put(steps_.Twin(), "FixedNumberOfComponents", true);
    Put(steps_.Twin(), "NumberOfComponents", std::int64_t{2});
    EXPECT_TRUE(fake::Run(steps_.Twin(), "OK"));
    EXPECT_EQ(steps_.RunStep(kStepPLSResults), kDialogOpened);
    EXPECT_TRUE(fake::Run(steps_.Twin(), "CodeGeneratorPMML"));
    return host_.texts().empty() ? std::string() : host_.texts().back().text;
  }

  AutomationObject& Twin() { return steps_.Twin(); }
  CMSPC& analysis() { return analysis_; }
  RecordingHost& host() { return host_; }
  // The last refusal shown, with its text.
  const RecordedMessage* LastStop() const {
    for (auto it = host_.messages().rbegin(); it != host_.messages().rend(); ++it) {
      if (it->kind == MessageKind::kStop) return &*it;
    }
    return nullptr;
  }

 private:
  fake::FakeStepMachinery steps_;
  RecordingHost host_;
  FakeDataTable table_;
  platform::BoostProbability probability_;
  platform::SeededRandom random_;
  platform::PugiXmlParser parser_;
  CMSPC analysis_{0, nullptr};
};

}  // namespace mspc::testing
