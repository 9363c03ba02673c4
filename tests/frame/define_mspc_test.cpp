#include "frame/define_mspc.hpp"

#include <gtest/gtest.h>

#include <string>
#include <typeindex>
#include <typeinfo>
#include <vector>

#include "batch/bmpls_model.hpp"
#include "batch/mpca_model.hpp"
#include "batch/mpls_model.hpp"
#include "deploy/deployment_model.hpp"
#include "frame/hierarchical_model.hpp"
#include "frame/mspc.hpp"
#include "pca/pca_model.hpp"
#include "pls/pls_model.hpp"
#include "support/hosted_analysis.hpp"

namespace mspc {
namespace {

TEST(MSPCStartupList, PCAFirstThenTheRowChosenLastIsSelected) {
  fake::HostedAnalysis fixture;
  EXPECT_EQ(std::get<std::int64_t>(fake::Get(fixture.OpenList(), "SelectedKind")), 1);
  fake::Put(fixture.host.steps.Twin(), "SelectedKind", std::int64_t{4});
  ASSERT_TRUE(fake::Run(fixture.host.steps.Twin(), "OK"));
  AutomationObject& reopened = fixture.OpenList();
  EXPECT_EQ(std::get<std::int64_t>(fake::Get(reopened, "SelectedKind")), 4);
  // Step 101 itself gives up the model chosen before.
  EXPECT_EQ(fixture.analysis.CurrentModel(), nullptr);
}

// What each row makes is checked row by row below; the list itself is read-only.
TEST(MSPCStartupList, TheFullListHasSixRowsAndTheSimpleThree) {
  for (const auto& [mode, rows] : {std::pair{0, 6u}, std::pair{1, 3u}}) {
    fake::HostedAnalysis fixture(mode);
    AutomationObject& twin = fixture.OpenList();
    EXPECT_FALSE(fake::FindProperty(twin, "Rows").put);
    EXPECT_EQ(std::get<std::vector<std::string>>(fake::Get(twin, "Rows")).size(), rows);
  }
}

struct RowCase {
  int row;
  bool simple;
  std::type_index model;
  int next_step;
  std::string twin;  // of the Startup step
};

void PrintTo(const RowCase& c, std::ostream* out) {
  *out << (c.simple ? "simple" : "full") << " row " << c.row;
}

class MSPCStartupRow : public ::testing::TestWithParam<RowCase> {};

TEST_P(MSPCStartupRow, OKMakesTheModelOfTheRowAndMovesToItsStartup) {
  const RowCase& c = GetParam();
  fake::HostedAnalysis fixture(c.simple ? 1 : 0);
  AutomationObject& twin = fixture.OpenList();
  fake::Put(twin, "SelectedKind", std::int64_t{c.row});
  ASSERT_TRUE(fake::Run(twin, "OK"));
  ASSERT_NE(fixture.analysis.CurrentModel(), nullptr);
  EXPECT_EQ(std::type_index(typeid(*fixture.analysis.CurrentModel())), c.model);
  EXPECT_EQ(fixture.analysis.SelectedKind(), c.row);
  const auto exit = fixture.host.steps.LastExit();
  ASSERT_TRUE(exit.has_value());
  EXPECT_EQ(exit->next_step, c.next_step);
  EXPECT_EQ(exit->direction, kDirectionForward);
  EXPECT_EQ(exit->flags, 0);
  EXPECT_EQ(fixture.host.steps.RunStep(c.next_step), kDialogOpened);
  EXPECT_EQ(fixture.host.steps.Twin().TwinName(), c.twin);
}

std::vector<RowCase> RowCases() {
  const std::type_index deploy = typeid(CDeploymentModel);
  const std::type_index pca = typeid(CPCAModel);
  const std::type_index pls = typeid(CPLSModel);
  const std::type_index tmpca = typeid(CMPCAModel);
  const std::type_index tmpls = typeid(CMPLSModel);
  const std::type_index bmpls = typeid(CBMPLSModel);
  const std::type_index hierarchical = typeid(CHierarchicalModel);
  return {
      {0, false, deploy, 120, "MSPCDeployment"},
      {1, false, pca, 102, "PCAStartup"},
      {2, false, pls, 111, "PLSStartup"},
      {3, false, bmpls, 117, "BMPLSStartup"},
      {4, false, tmpca, 105, "TMPCAStartup"},
      {5, false, tmpls, 114, "TMPLSStartup"},
      {6, false, hierarchical, 122, "HierarchicalStartup"},
      {7, false, pca, 102, "PCAStartup"},
      {-1, false, pca, 102, "PCAStartup"},
      {0, true, deploy, 120, "MSPCDeployment"},
      {1, true, pca, 102, "PCAStartup"},
      {2, true, pls, 111, "PLSStartup"},
      // The simple analysis reads rows 3 to 5 in another order than the full one.
      {3, true, tmpca, 105, "TMPCAStartup"},
      {4, true, tmpls, 114, "TMPLSStartup"},
      {5, true, bmpls, 117, "BMPLSStartup"},
      {6, true, hierarchical, 122, "HierarchicalStartup"},
      {42, true, pca, 102, "PCAStartup"},
  };
}

INSTANTIATE_TEST_SUITE_P(AllRows, MSPCStartupRow, ::testing::ValuesIn(RowCases()));

TEST(MSPCStartupList, ChoosingAgainReplacesTheModel) {
  const int baseline = CBaseModel::LiveModels();
  fake::HostedAnalysis fixture;
  fake::Put(fixture.OpenList(), "SelectedKind", std::int64_t{2});
  ASSERT_TRUE(fake::Run(fixture.host.steps.Twin(), "OK"));
  // OK pressed twice on the same list: the first model is gone before the second exists.
  fake::Put(fixture.host.steps.Twin(), "SelectedKind", std::int64_t{5});
  ASSERT_TRUE(fake::Run(fixture.host.steps.Twin(), "OK"));
  EXPECT_EQ(CBaseModel::LiveModels(), baseline + 1);
  EXPECT_EQ(typeid(*fixture.analysis.CurrentModel()), typeid(CMPLSModel));
}

TEST(MSPCStartupList, CancelEndsTheSequence) {
  fake::HostedAnalysis fixture;
  ASSERT_TRUE(fake::Run(fixture.OpenList(), "Cancel"));
  const auto exit = fixture.host.steps.LastExit();
  ASSERT_TRUE(exit.has_value());
  EXPECT_EQ(exit->next_step, 0);
  EXPECT_EQ(exit->direction, kDirectionBack);
  EXPECT_EQ(fixture.analysis.CurrentModel(), nullptr);
}

TEST(MSPCStartupList, OpeningReadsTheStandaloneResultsSetting) {
  fake::HostedAnalysis fixture(0, /*attach=*/false);
  fixture.host.settings.values["StandAloneResults"] = 1;
  fixture.Attach();
  EXPECT_EQ(fixture.analysis.StandAloneResults(), 0);
  fixture.OpenList();
  EXPECT_EQ(fixture.analysis.StandAloneResults(), 1);
}

TEST(MSPCStartupList, SelectedKindTakesOnlyIntegers) {
  fake::HostedAnalysis fixture;
  AutomationObject& twin = fixture.OpenList();
  EXPECT_THROW(fake::Put(twin, "SelectedKind", std::string("PCA")), AutomationError);
  EXPECT_THROW(fake::Put(twin, "SelectedKind", std::int64_t{1} << 40), AutomationError);
  EXPECT_EQ(std::get<std::int64_t>(fake::Get(twin, "SelectedKind")), 1);
}

TEST(DeploymentStartup, CancelKeepsTheStandaloneChoiceAndReturnsToTheList) {
  fake::HostedAnalysis fixture;
  fake::Put(fixture.OpenList(), "SelectedKind", std::int64_t{0});
  ASSERT_TRUE(fake::Run(fixture.host.steps.Twin(), "OK"));
  ASSERT_EQ(fixture.host.steps.RunStep(kStepDeployStartup), kDialogOpened);
  AutomationObject& twin = fixture.host.steps.Twin();
  fake::Put(twin, "StandAloneResults", true);
  ASSERT_TRUE(fake::Run(twin, "Cancel"));
  EXPECT_EQ(fixture.host.settings.values.at("StandAloneResults"), 1);
  EXPECT_EQ(fixture.host.steps.LastExit()->next_step, 101);
  EXPECT_EQ(fixture.host.steps.LastExit()->direction, kDirectionBack);
}

}  // namespace
}  // namespace mspc
