// What every kind's Results dialog does alike: component commands, the Details dialog, the
// exports, and the trajectories of the batch kinds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "frame/results_support.hpp"

namespace mspc {
namespace {

using fake::Get;
using fake::Put;
using testing::BatchAnalysis;
using testing::Cell;
using testing::DialogAnalysis;

struct ResultsKind {
  const char* name;
  std::function<std::shared_ptr<DialogAnalysis>(int)> fit;  // at Results with this many
  int results_step;
  const char* component_report;  // a report that needs a component
  int details_step;
  const char* details;
};

void PrintTo(const ResultsKind& kind, std::ostream* out) { *out << kind.name; }

// Shared pointers, as DialogAnalysis has no virtual destructor: each keeps its own deleter.
template <typename Analysis>
std::shared_ptr<DialogAnalysis> Fitted(int components) {
  auto analysis = std::make_shared<Analysis>();
  analysis->Fit(components);
  return analysis;
}

std::shared_ptr<DialogAnalysis> FittedBatches(const testing::BatchKind& kind, int components) {
  auto analysis = std::make_shared<BatchAnalysis>();
  analysis->Fit(kind, components);
  return analysis;
}

const ResultsKind kKinds[] = {
    {"PCA",
     Fitted<testing::PCAAnalysis>,
     kStepPCAResults,
     "TSquareChart",
     kStepPCADetails,
     "PCADetails"},
    {"PLS",
     Fitted<testing::PLSAnalysis>,
     kStepPLSResults,
     "XScoreSpreadsheet",
     kStepPLSDetails,
     "PLSDetails"},
    {"TMPCA",
     [](int a) { return FittedBatches(testing::kTMPCA, a); },
     kStepTMPCAResults,
     "LoadingSpreadsheet",
     kStepTMPCADetails,
     "TMPCADetails"},
    {"TMPLS",
     [](int a) { return FittedBatches(testing::kTMPLS, a); },
     kStepTMPLSResults,
     "XScoreSpreadsheet",
     kStepTMPLSDetails,
     "TMPLSDetails"},
};

class ResultsDialog : public ::testing::TestWithParam<ResultsKind> {};

TEST_P(ResultsDialog, ComponentCommandsChangeTheModelAndRefuseWhatCannotBeDone) {
  const std::shared_ptr<DialogAnalysis> analysis = GetParam().fit(1);
  ASSERT_TRUE(analysis->Run("AddNextComponent"));
  EXPECT_EQ(analysis->Components(), 2);
  ASSERT_TRUE(analysis->Run("RemoveLastComponent"));
  EXPECT_EQ(analysis->Components(), 1);
  ASSERT_TRUE(analysis->Run("RemoveAllComponent"));
  EXPECT_EQ(analysis->Components(), 0);

  // Nothing to remove is refused; a report that needs a component says so and shows nothing.
  EXPECT_FALSE(analysis->Run("RemoveLastComponent"));
  EXPECT_EQ(analysis->LastMessage(), MessageId::kNoComponentToRemove);
  const std::size_t reports = analysis->ReportCount();
  EXPECT_TRUE(analysis->Run(GetParam().component_report));
  EXPECT_EQ(analysis->LastMessage(), MessageId::kReportNeedsComponent);
  EXPECT_EQ(analysis->ReportCount(), reports);

  // The fixed count of the options is what AutoFitMoreComponents fits again, and then no more.
  ASSERT_TRUE(analysis->Run("AutoFitMoreComponents"));
  EXPECT_EQ(analysis->Components(), 1);
  ASSERT_TRUE(analysis->Run("AutoFitMoreComponents"));
  EXPECT_EQ(analysis->Components(), 1);
  EXPECT_EQ(analysis->LastMessage(), MessageId::kNoAdditionalModel);
}

TEST_P(ResultsDialog, DetailsOpenFromResultsAndReturnToThemWithTheSettingsKept) {
  const ResultsKind& kind = GetParam();
  const std::shared_ptr<DialogAnalysis> analysis = kind.fit(2);
  Put(analysis->Twin(), "TSquareControlLimit", 97.5);
  analysis->GoTo("Details", kind.details_step);
  EXPECT_EQ(analysis->Twin().TwinName(), kind.details);
  ASSERT_TRUE(analysis->Run("VariableStatistics"));
  Put(analysis->Twin(), "Component", std::int64_t{3});
  EXPECT_FALSE(analysis->Run("VariableStatistics"));
  EXPECT_EQ(analysis->LastMessage(), MessageId::kDetailsComponentOutOfRange);

  ASSERT_TRUE(analysis->Run("Close"));
  EXPECT_EQ(analysis->steps().LastExit()->next_step, kind.results_step);
  EXPECT_EQ(analysis->steps().LastExit()->direction, kDirectionBack);
  ASSERT_EQ(analysis->steps().RunStep(kind.results_step), kDialogOpened);
  EXPECT_EQ(std::get<double>(Get(analysis->Twin(), "TSquareControlLimit")), 97.5);
}

INSTANTIATE_TEST_SUITE_P(Kinds,
                         ResultsDialog,
                         ::testing::ValuesIn(kKinds),
                         [](const ::testing::TestParamInfo<ResultsKind>& kind_info) {
                           return std::string(kind_info.param.name);
                         });

class BatchResultsDialog : public ::testing::TestWithParam<testing::BatchKind> {};

TEST_P(BatchResultsDialog, ExportsWriteTheDocumentAndTheCode) {
  BatchAnalysis analysis;
  analysis.Fit(GetParam());
  for (const char* exporter : {"CodeGeneratorPMML", "CodeGeneratorCLang", "CodeGeneratorKVB"}) {
    ASSERT_TRUE(analysis.Run(exporter)) << exporter;
  }
  const auto& texts = analysis.host().texts();
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_NE(texts[0].text.find("<" + std::string(GetParam().name) + " "), std::string::npos);
  EXPECT_NE(texts[1].text.find("//"), std::string::npos);
  EXPECT_NE(texts[2].title.find(" KVB deployment code"), std::string::npos);
}

// x1 at time 20 is 1..5: mean 3 and s = sqrt(2.5), whatever the kind.
TEST_P(BatchResultsDialog, TrajectoriesBandTheBatchesAndHighlightThoseOutside) {
  constexpr int kBatches = BatchAnalysis::kBatches;
  constexpr std::size_t kTimes = BatchAnalysis::kTimes;
  const double s = std::sqrt(2.5);
  BatchAnalysis analysis;
  analysis.Fit(GetParam());
  AutomationObject& twin = analysis.Twin();
  ASSERT_TRUE(analysis.Run("VariableTrajectorySpreadsheet"));
  {
    // Defaults: c = 3 and no warning band, so four statistic rows come before the batches.
    const Spreadsheet& sheet = analysis.Sheet("Trajectory spreadsheet of variable: x1");
    EXPECT_EQ(sheet.columns, (std::vector<std::string>{"10", "20", "30", "40"}));
    ASSERT_EQ(sheet.rows.size(), 4u + kBatches);
    EXPECT_EQ(sheet.rows[4].label, "1");
    EXPECT_NEAR(Cell(sheet, 0, 1), 3.0, 1e-9);
    EXPECT_NEAR(Cell(sheet, 1, 1), s, 1e-9);
    EXPECT_NEAR(Cell(sheet, 2, 1), 3.0 + 3.0 * s, 1e-9);
    EXPECT_NEAR(Cell(sheet, 3, 1), 3.0 - 3.0 * s, 1e-9);
    EXPECT_NEAR(Cell(sheet, 8, 1), 5.0, 1e-9);  // batch 5, rebuilt from the fit
  }
  // With c = 1.2 and w = 1 the bands are 3 ± 1.897 and 3 ± 1.581: batches 1 and 5 (values 1
  // and 5) fall outside the control band at time 20, and six statistic rows lead.
  Put(twin, "ConstantForTrajectoryControlLimits", 1.2);
  Put(twin, "ConstantForTrajectoryWarningLimits", 1.0);
  Put(twin, "AddTrajectoryWarningLimits", true);
  ASSERT_TRUE(analysis.Run("VariableTrajectorySpreadsheet"));
  const Spreadsheet& sheet = analysis.LastSheet();
  ASSERT_EQ(sheet.rows.size(), 6u + kBatches);
  EXPECT_NEAR(Cell(sheet, 4, 1), 3.0 + s, 1e-9);
  std::vector<std::pair<int, int>> at_time_20;
  std::copy_if(sheet.highlights.begin(),
               sheet.highlights.end(),
               std::back_inserter(at_time_20),
               [](const std::pair<int, int>& cell) { return cell.second == 1; });
  EXPECT_EQ(at_time_20, (std::vector<std::pair<int, int>>{{6, 1}, {10, 1}}));

  // A warning constant above the control constant is refused, and so is an unknown variable.
  Put(twin, "ConstantForTrajectoryWarningLimits", 2.0);
  EXPECT_FALSE(analysis.Run("VariableTrajectorySpreadsheet"));
  EXPECT_EQ(analysis.host().CountOf(MessageId::kTrajectoryConstantsOutOfRange), 1);
  Put(twin, "ConstantForTrajectoryWarningLimits", 1.0);
  Put(twin, "VariableForTrajectory", std::string("x9"));
  EXPECT_FALSE(analysis.Run("VariableTrajectoryPlot"));
  EXPECT_EQ(analysis.LastMessage(), MessageId::kTrajectoryVariableUnknown);

  // Without chosen batches the plot warns and draws the mean and the control band's two lines.
  Put(twin, "VariableForTrajectory", std::string("x2"));
  Put(twin, "AddTrajectoryWarningLimits", false);
  Put(twin, "ConstantForTrajectoryControlLimits", 3.0);
  Put(twin, "ConstantForTrajectoryWarningLimits", 2.0);
  ASSERT_TRUE(analysis.Run("VariableTrajectoryPlot"));
  EXPECT_EQ(analysis.host().CountOf(MessageId::kSelectBatchesToDisplay), 1);
  {
    const Graph& plot = analysis.LastGraph();
    EXPECT_EQ(plot.title, "Trajectory plot of variable: x2");
    ASSERT_EQ(plot.series.size(), 3u);
    EXPECT_EQ(plot.series[1].name, "Control: Mean \xC2\xB1 3 SD");
    EXPECT_EQ(plot.series[1].name, plot.series[2].name);
  }
  // Mean, one closed outline per band, the two batches chosen.
  Put(twin, "BatchesToDisplay", std::vector<std::string>{"2", "4"});
  Put(twin, "AddTrajectoryWarningLimits", true);
  Put(twin, "TrajectoryLimitsAsRegions", true);
  ASSERT_TRUE(analysis.Run("VariableTrajectoryPlot"));
  const Graph& plot = analysis.LastGraph();
  ASSERT_EQ(plot.series.size(), 5u);
  EXPECT_EQ(plot.series[2].name, "Warning: Mean \xC2\xB1 2 SD");
  // Out along the upper limits, back along the lower and to the first point again.
  ASSERT_EQ(plot.series[1].y.size(), 2 * kTimes + 1);
  EXPECT_EQ(plot.series[1].y.front(), plot.series[1].y.back());
  EXPECT_EQ(plot.series[4].name, "4");
  // A batch the model does not know is refused.
  Put(twin, "BatchesToDisplay", std::vector<std::string>{"99"});
  EXPECT_FALSE(analysis.Run("VariableTrajectoryPlot"));
  EXPECT_EQ(analysis.LastMessage(), MessageId::kObservationNotInModel);
}

// The time-wise kinds name each row by its batch and each column by its variable and time.
class TimeWiseResultsDialog : public ::testing::TestWithParam<testing::BatchKind> {};

TEST_P(TimeWiseResultsDialog, ReportsNameBatchesAndVariablesAtTimes) {
  BatchAnalysis analysis;
  analysis.Fit(GetParam());
  // Per variable and time, time-major: x1 at time 20 (1..5) is row J.
  ASSERT_TRUE(analysis.Run("DescriptiveStatistics"));
  const Spreadsheet& statistics = analysis.Sheet("Descriptive statistics");
  ASSERT_EQ(statistics.rows.size(), 3u * BatchAnalysis::kTimes);
  EXPECT_EQ(statistics.rows[3].label, "x1");
  EXPECT_EQ(std::get<std::string>(statistics.rows[3].cells[0]), "20");
  EXPECT_NEAR(Cell(statistics, 3, 2), 3.0, 1e-12);
  EXPECT_NEAR(Cell(statistics, 3, 3), std::sqrt(2.5), 1e-12);
  // Loadings over time: one curve per process variable with a point per time.
  ASSERT_TRUE(analysis.Run("LineplotsOfLoadings"));
  const Graph& loadings = analysis.LastGraph();
  ASSERT_EQ(loadings.series.size(), 3u);
  EXPECT_EQ(loadings.series[1].name, "x2");
  EXPECT_EQ(loadings.series[1].labels,
            (std::vector<std::string>{"Time: 10", "Time: 20", "Time: 30", "Time: 40"}));

  // Per batch: each component adds sum (t / s)² = N - 1 over the batches (s the sample
  // deviation of centred scores), so the T² add up to A (N - 1).
  ASSERT_TRUE(analysis.Run("DToModelSpreadsheet"));
  const Spreadsheet distance = analysis.Sheet("Distance to model");
  EXPECT_EQ(distance.row_header, "Batch");
  for (const char* report : {"XScoreSpreadsheet", "SPEQSpreadsheet"}) {
    ASSERT_TRUE(analysis.Run(report));
    EXPECT_EQ(analysis.LastSheet().row_header, "Batch") << report;
  }
  ASSERT_TRUE(analysis.Run("SPEQChart"));
  EXPECT_EQ(analysis.LastGraph().x_label, "Batch");
  ASSERT_EQ(distance.columns, (std::vector<std::string>{"Distance", "T\xC2\xB2"}));
  ASSERT_TRUE(analysis.Run("TSquareSpreadsheet"));
  double t2_sum = 0.0;
  for (std::size_t row = 0; row < BatchAnalysis::kBatches; ++row) {
    EXPECT_DOUBLE_EQ(Cell(distance, row, 1), Cell(analysis.LastSheet(), row, 0));
    t2_sum += Cell(distance, row, 1);
  }
  EXPECT_NEAR(t2_sum, 2.0 * (BatchAnalysis::kBatches - 1), 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Kinds,
                         BatchResultsDialog,
                         ::testing::Values(testing::kTMPCA, testing::kTMPLS, testing::kBMPLS),
                         [](const ::testing::TestParamInfo<testing::BatchKind>& kind_info) {
                           return std::string(kind_info.param.name);
                         });

INSTANTIATE_TEST_SUITE_P(Kinds,
                         TimeWiseResultsDialog,
                         ::testing::Values(testing::kTMPCA, testing::kTMPLS),
                         [](const ::testing::TestParamInfo<testing::BatchKind>& kind_info) {
                           return std::string(kind_info.param.name);
                         });

}  // namespace
}  // namespace mspc
