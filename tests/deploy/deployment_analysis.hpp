#pragma once

// An analysis on a 30-case table (x1..x4 of rank two, y1 and y2 explained by them) driven as
// a host would: PCA or PLS fitted and exported, or saved documents deployed.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "export/export_test_support.hpp"
#include "pca/pca_test_support.hpp"
#include "support/dialog_analysis.hpp"

namespace mspc::testing {

using fake::Put;

class DeploymentAnalysis : public DialogAnalysis {
 public:
  DeploymentAnalysis() {
    const DMatrix raw = testing::ManufacturedData(30, 4, {3.0, 1.5}, 0.3, 33);
    AddColumns(raw);
    // Two dependents that the predictors explain up to a small deterministic wobble.
    std::vector<double> y1;
    std::vector<double> y2;
    for (std::size_t row = 0; row < raw.rows(); ++row) {
      const double wobble = 0.1 * std::sin(3.0 * static_cast<double>(row));
      y1.push_back(2.0 * raw(row, 0) + raw(row, 1) + wobble);
      y2.push_back(raw(row, 2) - raw(row, 3) + 10.0 - wobble);
    }
    table().AddVariable("y1", y1);
    table().AddVariable("y2", y2);
    Start();
  }

  // Fit two components and export the model; returns the document text.
  std::string FitAndExport() {
    AutomationObject& startup = OpenStartup(1, kStepPCAStartup);
    Put(startup, "Variables", std::vector<std::string>{"x1", "x2", "x3", "x4"});
    return FitTwoAndExport(kStepPCAResults);
  }

  // Fit a PLS model of y1 and y2 on x1..x4 with two components and export it.
  std::string FitPLSAndExport() {
    AutomationObject& startup = OpenStartup(2, kStepPLSStartup);
    Put(startup, "PredictorVariables", std::vector<std::string>{"x1", "x2", "x3", "x4"});
    Put(startup, "DependentVariables", std::vector<std::string>{"y1", "y2"});
    return FitTwoAndExport(kStepPLSResults);
  }

  // Open Deployment Startup with these documents and press OK.
  bool Deploy(const std::vector<std::string>& texts,
              const std::vector<std::string>& files = {},
              const std::vector<std::string>& variables = {}) {
    AutomationObject& twin = OpenStartup(0, kStepDeployStartup);
    EXPECT_EQ(twin.TwinName(), "MSPCDeployment");
    Put(twin, "ModelTexts", texts);
    Put(twin, "ModelFiles", files);
    Put(twin, "Variables", variables);
    return fake::Run(twin, "OK");
  }

  // The two charts drawn first after `fitted_graphs` carry the points and lines of the last two
  // drawn before: the Results' T² and SPE(Q) charts drawn again by a deployment.
  void ExpectChartsRedrawn(std::size_t fitted_graphs, double tolerance) {
    const std::vector<Graph>& graphs = host().graphs();
    ASSERT_GE(fitted_graphs, 2u);
    ASSERT_GE(graphs.size(), fitted_graphs + 2);
    for (std::size_t chart = 0; chart < 2; ++chart) {
      const Graph& fitted = graphs[fitted_graphs - 2 + chart];
      const Graph& deployed = graphs[fitted_graphs + chart];
      EXPECT_EQ(deployed.title, fitted.title);
      ASSERT_EQ(deployed.series[0].y.size(), fitted.series[0].y.size());
      for (std::size_t i = 0; i < fitted.series[0].y.size(); ++i) {
        ExpectClose(deployed.series[0].y[i], fitted.series[0].y[i], tolerance, fitted.title);
      }
      ASSERT_EQ(deployed.lines.size(), fitted.lines.size());
      for (std::size_t l = 0; l < fitted.lines.size(); ++l) {
        EXPECT_EQ(deployed.lines[l].label, fitted.lines[l].label);
        ExpectClose(deployed.lines[l].value, fitted.lines[l].value, tolerance, fitted.title);
      }
    }
  }

 private:
  std::string FitTwoAndExport(int results_step) {
    Put(Twin(), "FixedNumberOfComponents", true);
    Put(Twin(), "NumberOfComponents", std::int64_t{2});
    EXPECT_TRUE(Run("OK"));
    EXPECT_EQ(steps().RunStep(results_step), kDialogOpened);
    EXPECT_TRUE(Run("CodeGeneratorPMML"));
    EXPECT_FALSE(host().texts().empty());
    return host().texts().empty() ? std::string() : host().texts().back().text;
  }
};

}  // namespace mspc::testing
