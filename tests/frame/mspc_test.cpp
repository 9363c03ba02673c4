#include "frame/mspc.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "frame/exports.hpp"
#include "frame/variable_lookup.hpp"
#include "support/hosted_analysis.hpp"

namespace mspc {
namespace {

using fake::FakeHost;

TEST(AnalysisFactories, MakeTheFullAndTheSimpleAnalysis) {
  CMSPC* full = Kvs6NewAnalysis();
  CMSPC* simple = Kvs6NewAnalysisSimple();
  ASSERT_NE(full, nullptr);
  ASSERT_NE(simple, nullptr);
  EXPECT_EQ(full->GetAnalysisID(), 3390);
  EXPECT_EQ(simple->GetAnalysisID(), 3391);
  EXPECT_EQ(full->CurrentModel(), nullptr);
  Kvs6DeleteAnalysis(full);
  Kvs6DeleteAnalysis(simple);
  Kvs6DeleteAnalysis(nullptr);
}

TEST(AnalysisStepTable, RowsAreStoredInTheirOrderAndOnlyInitHasASuccessor) {
  FakeHost host;
  CMSPC analysis(0, nullptr);
  analysis.InitCommons(host.Services());
  const std::vector<int> expected_order = {100, 101, 120, 121, 102, 103, 104, 105, 106,
                                           107, 108, 109, 110, 111, 112, 113, 114, 115,
                                           116, 117, 118, 119, 122, 123, 124};
  std::vector<int> order;
  for (const SequenceStep& row : host.steps.table) order.push_back(row.step);
  EXPECT_EQ(order, expected_order);
  ASSERT_FALSE(host.steps.table.empty());
  EXPECT_EQ(host.steps.table.front().default_successor, 101);
  for (std::size_t row = 1; row < host.steps.table.size(); ++row) {
    EXPECT_EQ(host.steps.table[row].default_successor, 0) << "step " << host.steps.table[row].step;
  }
}

TEST(AnalysisStepTable, AStepOpensItsDialogOnlyWhenThereIsSomethingToShow) {
  CMSPC without_host(0, nullptr);
  EXPECT_EQ(without_host.StartAnalysis(), 0);
  fake::HostedAnalysis fixture;
  // Steps without a dialog; each kind's Startup without a model.
  for (const int step : {108, 109, 110, 119, 121, 123, 124, 102, 105, 111, 114, 117, 120, 122}) {
    EXPECT_EQ(fixture.host.steps.RunStep(step), 0) << "step " << step;
  }
  EXPECT_EQ(fixture.host.steps.dialogs_opened, 0);
  // A Startup opens over a model of its kind only; Results and Details over a fitted one.
  fixture.Choose(2);  // PLS
  EXPECT_EQ(fixture.host.steps.RunStep(kStepPCAStartup), 0);
  for (const int step : {103, 104, 106, 107, 112, 113, 115, 116, 118}) {
    EXPECT_EQ(fixture.host.steps.RunStep(step), 0) << "step " << step;
  }
  EXPECT_EQ(fixture.host.steps.RunStep(kStepPLSStartup), kDialogOpened);
  EXPECT_EQ(fixture.host.steps.Twin().TwinName(), "PLSStartup");
}

TEST(AnalysisStepTable, StepOneHundredOneOpensTheListOfTheAnalysisMode) {
  for (const auto& [mode, twin] :
       {std::pair{0, "MSPCStartup"}, std::pair{1, "SimpleMSPCStartup"}}) {
    fake::HostedAnalysis fixture(mode);
    EXPECT_EQ(fixture.host.steps.RunStep(kStepMSPCStartup), kDialogOpened);
    EXPECT_EQ(fixture.host.steps.Twin().TwinName(), twin);
  }
}

TEST(AnalysisInit, InvalidatesTheVariableCacheAndRegistersTheTableAgain) {
  fake::HostedAnalysis fixture;
  ASSERT_TRUE(LookUpVariable(fixture.host.table, "x2").has_value());
  ASSERT_EQ(CachedVariableIndex(), 1);
  const int registrations = fixture.host.steps.registrations;
  EXPECT_EQ(fixture.host.steps.RunStep(kStepInit), 1);
  EXPECT_EQ(CachedVariableIndex(), -1);
  EXPECT_EQ(fixture.host.steps.registrations, registrations + 1);
  EXPECT_EQ(fixture.host.steps.table.size(), 25U);
}

TEST(AnalysisProgress, TdstarRestartsARunningBarAndDdstopIsHarmlessWhenNoneRuns) {
  fake::HostedAnalysis fixture;
  fake::FakeProgressBar& bar = fixture.host.progress;
  fixture.analysis.ddstop();
  EXPECT_EQ(bar.stops, 0);

  fixture.analysis.tdstar(10);
  EXPECT_TRUE(fixture.analysis.ProgressRunning());
  EXPECT_EQ(bar.caption, "Reading data...");
  EXPECT_EQ(bar.steps, 10);
  fixture.analysis.tdstar(4);
  EXPECT_EQ(bar.starts, 2);
  EXPECT_EQ(bar.stops, 1);
  EXPECT_EQ(bar.steps, 4);

  fixture.analysis.ddstop();
  fixture.analysis.ddstop();
  EXPECT_FALSE(fixture.analysis.ProgressRunning());
  EXPECT_EQ(bar.stops, 2);
  EXPECT_EQ(bar.stops_while_hidden, 0);
}

TEST(AnalysisLifetime, DestructionDeletesTheModel) {
  const int baseline = CBaseModel::LiveModels();
  {
    fake::HostedAnalysis fixture;
    fixture.Choose(2);
    EXPECT_EQ(CBaseModel::LiveModels(), baseline + 1);
  }
  EXPECT_EQ(CBaseModel::LiveModels(), baseline);
}

Spreadsheet Sheet(const std::string& title) {
  Spreadsheet sheet;
  sheet.title = title;
  return sheet;
}

TEST(OutputTracker, RecordsUnderThePendingPairOnlyAndReplacesInPlace) {
  OutputAutoUpdate tracker;
  EXPECT_FALSE(tracker.OutputExists(0, 0));
  EXPECT_FALSE(tracker.BeforeRouteOutput(Sheet("unnamed")));
  tracker.SetNextOutputID(1, 2);
  EXPECT_TRUE(tracker.BeforeRouteOutput(Sheet("first")));
  // The pair names one output only.
  EXPECT_FALSE(tracker.BeforeRouteOutput(Sheet("second")));
  tracker.SetNextOutputID(3, 4);
  Graph graph;
  graph.title = "chart";
  EXPECT_TRUE(tracker.BeforeRouteOutput(graph));
  tracker.SetNextOutputID(1, 2);
  EXPECT_TRUE(tracker.BeforeRouteOutput(Sheet("first again")));

  EXPECT_TRUE(tracker.OutputExists(1, 2));
  EXPECT_TRUE(tracker.OutputExists(3, 4));
  EXPECT_FALSE(tracker.OutputExists(2, 1));
  EXPECT_EQ(tracker.size(), 2U);

  fake::FakeWorkbook workbook;
  EXPECT_EQ(tracker.AutoUpdate(workbook), 2U);
  EXPECT_EQ(workbook.received, (std::vector<std::string>{"sheet:first again", "graph:chart"}));

  tracker.ReleaseOutputs();
  EXPECT_FALSE(tracker.OutputExists(1, 2));
}

TEST(OutputTracker, AnalysisTracksAndReplaysOnlyWithStandaloneResults) {
  fake::HostedAnalysis fixture;
  fixture.analysis.SetNextOutputID(7, 1);
  fixture.analysis.RouteOutput(Sheet("untracked"));
  EXPECT_FALSE(fixture.analysis.OutputExists(7, 1));
  EXPECT_EQ(fixture.analysis.AutoUpdate(0), 0);
  // The pair set while tracking was off does not name the next output.
  fixture.analysis.SetStandAloneResults(1);
  fixture.analysis.RouteOutput(Sheet("after"));
  EXPECT_FALSE(fixture.analysis.OutputExists(7, 1));

  fixture.analysis.SetNextOutputID(7, 2);
  fixture.analysis.RouteOutput(Sheet("tracked"));
  EXPECT_TRUE(fixture.analysis.OutputExists(7, 2));
  EXPECT_EQ(fixture.analysis.AutoUpdate(0), 1);
  EXPECT_EQ(fixture.host.workbook.received,
            (std::vector<std::string>{
                "sheet:untracked", "sheet:after", "sheet:tracked", "sheet:tracked"}));
}

TEST(VariableLookup, CachedIndexIsCheckedAgainstTheTable) {
  const fake::NamesOnlyTable first({"a", "b"});
  const fake::NamesOnlyTable second({"b", "c"});
  ResetVariableLookupCache();
  EXPECT_EQ(LookUpVariable(first, "b"), 1U);
  EXPECT_EQ(LookUpVariable(first, "b"), 1U);
  EXPECT_EQ(first.finds, 1);
  EXPECT_EQ(LookUpVariable(second, "b"), 0U);
  EXPECT_EQ(LookUpVariable(second, "a"), std::nullopt);
  EXPECT_EQ(CachedVariableIndex(), -1);
}

}  // namespace
}  // namespace mspc
