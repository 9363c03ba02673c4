#include "batch/mpca_model.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "batch/batch_test_support.hpp"
#include "pca/pca_test_support.hpp"
#include "support/batch_tables.hpp"
#include "support/dialog_analysis.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

using testing::kBatches;
using testing::kTimes;
using testing::kVariables;

class TimeWisePCATest : public testing::BatchModelTest<CMPCAModel> {
 protected:
  TimeWisePCATest() : BatchModelTest(29) { options_.variables = {"x1", "x2", "x3"}; }
};

// The engine gets the hand-unfolded matrix, centred and scaled by its two-pass statistics; that
// it decomposes its input correctly is the engine's own test.
TEST_F(TimeWisePCATest, FitIsAPCAOfTheMatrixUnfoldedByHand) {
  Fit();
  ASSERT_TRUE(model_.IsFitted());
  const PCAEngine& engine = model_.engine();
  ASSERT_EQ(engine.Rows(), kBatches);
  ASSERT_EQ(engine.Cols(), kTimes * kVariables);
  ASSERT_EQ(engine.ComponentCount(), 2);
  const testing::ColumnStatistics stats = testing::ComputeColumnStatistics(unfolded_);
  for (std::size_t c = 0; c < engine.Cols(); ++c) {
    EXPECT_NEAR(model_.working_data().mean[c], stats.mean[c], 1e-12);
    EXPECT_NEAR(model_.working_data().scale[c], stats.sd[c], 1e-12);
    for (std::size_t i = 0; i < kBatches; ++i) {
      EXPECT_NEAR(
          engine.ScaledInput()(i, c), (unfolded_(i, c) - stats.mean[c]) / stats.sd[c], 1e-12);
    }
  }
  EXPECT_EQ(model_.working_data().case_names.front(), "100");
  EXPECT_EQ(model_.working_data().column_names[4], "x2 {20}");
}

TEST_F(TimeWisePCATest, TrajectoriesRebuildTheDataAndBandThem) {
  Fit();
  testing::ExpectTrajectoriesRebuildTheData(model_, unfolded_, kVariables);
  // The bands of variable x3 at time 40 are those of its column.
  const testing::ColumnStatistics stats = testing::ComputeColumnStatistics(unfolded_);
  const TrajectoryBands bands = model_.Trajectory(2);
  EXPECT_NEAR(bands.mean[3], stats.mean[3 * kVariables + 2], 1e-9);
  EXPECT_NEAR(bands.standard_deviation[3], stats.sd[3 * kVariables + 2], 1e-9);
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
  testing::AddColumns(
      table, "batch time x1 x2 x3", "1 1 1 2 1; 1 2 2 1 1; 2 1 3 4 2; 2 2 4 3 3; 3 1 5 6 5");
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
