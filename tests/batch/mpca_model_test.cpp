#include "batch/mpca_model.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "pca/pca_test_support.hpp"
#include "support/batch_tables.hpp"
#include "support/dialog_analysis.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"
#include "support/reference_eigen.hpp"

namespace mspc {
namespace {

constexpr std::size_t kBatches = 12;
constexpr std::size_t kTimes = 5;
constexpr std::size_t kVariables = 3;

class TimeWisePCATest : public ::testing::Test {
 protected:
  TimeWisePCATest()
      : unfolded_(testing::ManufacturedData(kBatches, kTimes * kVariables, {3.0, 1.5}, 0.3, 29)) {
    testing::WriteLongTable(unfolded_, kVariables, table_);
    analysis_.InitCommons(host_.Services(&table_, true));
    options_.variables = {"x1", "x2", "x3"};
  }

  void Fit() {
    model_.ApplyOptions(options_);
    model_.Run(options_);
  }

  DMatrix unfolded_;
  FakeDataTable table_;
  RecordingHost host_;
  CAnalysisSupport analysis_;
  StartupOptions options_ = testing::BatchOptions();
  CMPCAModel model_{&analysis_};
};

double SignFreeDistance(const std::vector<double>& a, const std::vector<double>& b) {
  double same = 0.0;
  double opposite = 0.0;
  for (std::size_t index = 0; index < a.size(); ++index) {
    same = std::max(same, std::abs(a[index] - b[index]));
    opposite = std::max(opposite, std::abs(a[index] + b[index]));
  }
  return std::min(same, opposite);
}

TEST_F(TimeWisePCATest, FitEqualsAPCAOfTheMatrixUnfoldedByHand) {
  Fit();
  ASSERT_TRUE(model_.IsFitted());
  const PCAEngine& engine = model_.engine();
  ASSERT_EQ(engine.Rows(), kBatches);
  ASSERT_EQ(engine.Cols(), kTimes * kVariables);
  ASSERT_EQ(engine.ComponentCount(), 2);

  // The hand-unfolded matrix, centred and scaled by its two-pass statistics.
  const testing::ColumnStatistics stats = testing::ComputeColumnStatistics(unfolded_);
  std::vector<double> cross(engine.Cols() * engine.Cols(), 0.0);  // X'X
  DMatrix scaled = unfolded_;
  for (std::size_t i = 0; i < kBatches; ++i) {
    for (std::size_t c = 0; c < engine.Cols(); ++c) {
      scaled(i, c) = (unfolded_(i, c) - stats.mean[c]) / stats.sd[c];
    }
  }
  for (std::size_t a = 0; a < engine.Cols(); ++a) {
    for (std::size_t b = 0; b < engine.Cols(); ++b) {
      for (std::size_t i = 0; i < kBatches; ++i)
        cross[a * engine.Cols() + b] += scaled(i, a) * scaled(i, b);
    }
    EXPECT_NEAR(model_.working_data().mean[a], stats.mean[a], 1e-12);
    EXPECT_NEAR(model_.working_data().scale[a], stats.sd[a], 1e-12);
  }
  for (std::size_t i = 0; i < kBatches; ++i) {
    for (std::size_t c = 0; c < engine.Cols(); ++c) {
      EXPECT_NEAR(engine.ScaledInput()(i, c), scaled(i, c), 1e-12);
    }
  }
  const testing::SymmetricEigen reference = testing::DecomposeSymmetric(cross, engine.Cols());
  // The engine's eigenvalue is the variance of the scores, t't / (N - 1).
  const double divisor = static_cast<double>(kBatches - 1);
  for (std::size_t a = 0; a < 2; ++a) {
    const double eigenvalue = reference.values[a] / divisor;
    EXPECT_NEAR(engine.Nodes()[a].eigenvalue, eigenvalue, 1e-8 * eigenvalue);
    EXPECT_LT(SignFreeDistance(engine.Nodes()[a].p, reference.vectors[a]), 1e-6);
  }
  EXPECT_EQ(model_.working_data().case_names.front(), "100");
  EXPECT_EQ(model_.working_data().column_names[4], "x2 {20}");
}

TEST_F(TimeWisePCATest, TrajectoriesRebuildTheDataAndBandThem) {
  Fit();
  for (std::size_t j = 0; j < kVariables; ++j) {
    const DMatrix values = model_.TrajectoryValues(j);
    ASSERT_EQ(values.rows(), kBatches);
    ASSERT_EQ(values.cols(), kTimes);
    for (std::size_t i = 0; i < kBatches; ++i) {
      for (std::size_t k = 0; k < kTimes; ++k) {
        EXPECT_NEAR(values(i, k), unfolded_(i, k * kVariables + j), 1e-9);
      }
    }
  }
  // The bands of variable x3 at time 40 are those of its column.
  const testing::ColumnStatistics stats = testing::ComputeColumnStatistics(unfolded_);
  const std::size_t col = 3 * kVariables + 2;
  const TrajectoryBands bands = model_.Trajectory(2);
  EXPECT_NEAR(bands.mean[3], stats.mean[col], 1e-9);
  EXPECT_NEAR(bands.standard_deviation[3], stats.sd[col], 1e-9);
  EXPECT_NEAR(bands.upper_control[3], stats.mean[col] + 3.0 * stats.sd[col], 1e-9);
  EXPECT_TRUE(bands.upper_warning.empty());
}

TEST_F(TimeWisePCATest, RemovedColumnsAndMissingCellsKeepTheirTrajectories) {
  // x1 is constant at time 10 (removed for no variance), and batch 103 misses x2 at time 30.
  DMatrix changed = unfolded_;
  for (std::size_t i = 0; i < kBatches; ++i) changed(i, 0) = 7.0;
  changed(3, 2 * kVariables + 1) = kMissingValue;
  FakeDataTable table;
  testing::WriteLongTable(changed, kVariables, table);
  analysis_.SetInputTable(&table);
  options_.auto_remove_variables = true;
  Fit();
  EXPECT_TRUE(model_.working_data().removed_columns[0]);
  const DMatrix x1_values = model_.TrajectoryValues(0);
  for (std::size_t i = 0; i < kBatches; ++i) EXPECT_NEAR(x1_values(i, 0), 7.0, 1e-12);
  const DMatrix x2_values = model_.TrajectoryValues(1);
  EXPECT_TRUE(IsMissing(x2_values(3, 2)));
  EXPECT_NEAR(x2_values(4, 2), unfolded_(4, 2 * kVariables + 1), 1e-9);
  // The band at time 10 of x1 has no spread; the batches sit on its limits, so all are out.
  const TrajectoryBands bands = model_.Trajectory(0);
  EXPECT_EQ(bands.standard_deviation[0], 0.0);
  const std::vector<bool> outside = OutsideControlBand(x1_values, bands);
  EXPECT_TRUE(outside[0]);
}

TEST_F(TimeWisePCATest, AFailedRunLeavesNoFit) {
  Fit();
  ASSERT_TRUE(model_.IsFitted());
  // One case fewer in one batch.
  FakeDataTable table;
  table.AddVariable("batch", {1, 1, 2, 2, 3});
  table.AddVariable("time", {1, 2, 1, 2, 1});
  table.AddVariable("x1", {1, 2, 3, 4, 5});
  table.AddVariable("x2", {2, 1, 4, 3, 6});
  table.AddVariable("x3", {1, 1, 2, 3, 5});
  analysis_.SetInputTable(&table);
  EXPECT_EQ(StopId([&] { Fit(); }), MessageId::kUnequalTimeIntervals);
  EXPECT_FALSE(model_.IsFitted());
  EXPECT_EQ(model_.batch_data().num_batches, 0u);
}

// The TMPCA Startup twin takes the batch roles by name and fits on OK, as a script drives it.
TEST(TimeWisePCAStartup, OKFitsTheChosenBatchesAndMovesToTheResults) {
  testing::DialogAnalysis analysis;
  testing::WriteLongTable(testing::ManufacturedData(kBatches, kTimes * kVariables, {2.0}, 0.5, 3),
                          kVariables,
                          analysis.table());
  analysis.Start(/*automation=*/true);
  AutomationObject& startup = analysis.OpenStartup(4, kStepTMPCAStartup);
  fake::Put(startup, "BatchVariable", std::string("batch"));
  fake::Put(startup, "TimeVariable", std::string("time"));
  fake::Put(startup, "Variables", std::vector<std::string>{"x1", "x2", "x3"});
  fake::Put(startup, "FactorCodes", std::vector<std::string>{"batch: 100, 101, 103, 104, 105"});
  fake::Put(startup, "FixedNumberOfComponents", true);
  fake::Put(startup, "NumberOfComponents", std::int64_t{1});
  fake::Put(startup, "MinimumNumberOfBatches", std::int64_t{6});
  // Five chosen batches are fewer than six: the stop is shown and the dialog stays.
  EXPECT_FALSE(analysis.Run("OK"));
  ASSERT_EQ(analysis.host().CountOf(MessageId::kTooFewBatches), 1);
  fake::Put(startup, "MinimumNumberOfBatches", std::int64_t{5});
  ASSERT_TRUE(analysis.Run("OK"));
  ASSERT_EQ(analysis.steps().LastExit()->next_step, kStepTMPCAResults);

  const auto* model = dynamic_cast<const CMPCAModel*>(analysis.analysis().CurrentModel());
  ASSERT_NE(model, nullptr);
  ASSERT_TRUE(model->IsFitted());
  EXPECT_EQ(model->batch_data().batch_labels,
            (std::vector<std::string>{"100", "101", "103", "104", "105"}));
  EXPECT_EQ(model->engine().ComponentCount(), 1);
  EXPECT_EQ(model->engine().Cols(), kTimes * kVariables);
}

}  // namespace
}  // namespace mspc
