#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "batch/batch_test_support.hpp"
#include "batch/bmpls_model.hpp"
#include "batch/mpls_model.hpp"
#include "pca/pca_test_support.hpp"
#include "platform/boost_probability.hpp"
#include "pls/pls_test_support.hpp"
#include "support/batch_tables.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

using testing::kBatches;
using testing::kTimes;
using testing::kVariables;

// A PLS engine on blocks the test lays out itself, scaled by their two-pass statistics, whose
// X scores the model's must match.
void ExpectTheScoresOf(const PLSEngine& fitted, const DMatrix& x, const DMatrix& y) {
  PLSFitOptions options = testing::TightOptions();
  options.num_components = 2;
  options.convergence = 1e-14;
  PLSEngine reference = testing::StandardisedPLS(x, y, options);
  ASSERT_EQ(reference.AutoFit(), fitted.ComponentCount());
  const DMatrix t = fitted.XScores();
  const DMatrix t_reference = reference.XScores();
  ASSERT_EQ(t.rows() * t.cols(), t_reference.rows() * t_reference.cols());
  const std::size_t size = t.rows() * t.cols();
  EXPECT_LT(testing::MaxDifference({t.data(), size}, {t_reference.data(), size}), 1e-8);
}

// The quality of each batch marked at its last time, and its "grade": 2 for a batch of positive
// quality, else 1.
class TimeWisePLSTest : public testing::BatchModelTest<CMPLSModel> {
 protected:
  TimeWisePLSTest() : BatchModelTest(17) {
    quality_ = testing::AddMarkedQuality(unfolded_, kTimes, table_);
    std::vector<double> grade;
    testing::ForEachCase(
        kBatches, kTimes, testing::LongTableLayout(), [&](std::size_t i, std::size_t) {
          grade.push_back(quality_[i] > 0.0 ? 2.0 : 1.0);
        });
    table_.AddVariable("grade", grade);
    options_.predictor_variables = {"x1", "x2", "x3"};
    options_.dependent_variables = {"quality"};
    options_.dependent_identifier = "mark";
  }

  std::vector<double> quality_;
};

TEST_F(TimeWisePLSTest, FitEqualsAPLSOfTheBlocksUnfoldedByHand) {
  Fit();
  ASSERT_TRUE(model_.IsFitted());
  EXPECT_EQ(model_.predictors().column_names[4], "x2 {20}");
  EXPECT_EQ(model_.dependents().column_names, std::vector<std::string>{"quality {1}"});
  DMatrix y(kBatches, 1);
  std::copy(quality_.begin(), quality_.end(), y.data());
  ExpectTheScoresOf(model_.engine(), unfolded_, y);
  // The batch rows are labelled by their codes, in code order.
  EXPECT_EQ(model_.predictors().case_names.front(), "100");
}

TEST_F(TimeWisePLSTest, WithoutAnIdentifierEveryTimeCarriesADependentColumn) {
  options_.dependent_identifier.clear();
  // Before the last time the recorded value is constant: the dependent's column screen names
  // the first such column by variable and time.
  const AnalysisStop stop = testing::StopFrom([&] { Fit(); }).value();
  EXPECT_EQ(stop.id(), MessageId::kVariableNoVariance);
  EXPECT_NE(stop.text().find("quality {10}"), std::string::npos) << stop.text();
  EXPECT_FALSE(model_.IsFitted());
  options_.auto_remove_variables = true;
  Fit();
  ASSERT_EQ(model_.dependents().x.cols(), kTimes);
  EXPECT_EQ(model_.dependents().column_names[2], "quality {30}");
  EXPECT_EQ(model_.dependents().removed_columns,
            (std::vector<bool>{true, true, true, true, false}));
  EXPECT_EQ(model_.engine().ActiveYColumns(), 1);
}

TEST_F(TimeWisePLSTest, ACategoricalDependentMakesAClassificationPerSlot) {
  options_.dependent_variables = {"grade"};
  options_.categorical_variables = {"grade"};
  Fit();
  ASSERT_EQ(model_.ModelType(), PLSModelType::kClassification);
  EXPECT_EQ(model_.dependents().column_names,
            (std::vector<std::string>{"grade: 1 {1}", "grade: 2 {1}"}));
  // The two dummy columns of one slot are each other's complement.
  for (std::size_t i = 0; i < kBatches; ++i) {
    EXPECT_EQ(model_.dependents().x(i, 0) + model_.dependents().x(i, 1), 1.0);
    EXPECT_EQ(model_.dependents().x(i, 1), quality_[i] > 0.0 ? 1.0 : 0.0);
  }
  EXPECT_EQ(model_.engine().ComponentCount(), 2);
}

TEST_F(TimeWisePLSTest, TrajectoriesRebuildTheDataFromTheFit) {
  Fit();
  testing::ExpectTrajectoriesRebuildTheData(model_, unfolded_, kVariables);
}

TEST_F(TimeWisePLSTest, AFailedRunLeavesNoFit) {
  Fit();
  ASSERT_TRUE(model_.IsFitted());
  // The second batch carries two marked cases, the others one.
  FakeDataTable table;
  testing::AddColumns(table,
                      "batch time x1 x2 x3 mark quality",
                      "1 1 1 2 1 0 0; 1 2 2 1 1 1 1; 2 1 3 4 2 1 2; 2 2 4 3 3 1 2;"
                      "3 1 5 6 5 0 3; 3 2 6 2 4 1 3; 4 1 7 1 4 0 4; 4 2 9 1 2 1 5");
  analysis_.SetInputTable(&table);
  EXPECT_EQ(StopId([&] { Fit(); }), MessageId::kMultipleDependentValues);
  EXPECT_FALSE(model_.IsFitted());
  EXPECT_EQ(model_.batch_data().num_batches, 0u);
}

class BatchWisePLSTest : public testing::BatchModelTest<CBMPLSModel> {
 protected:
  BatchWisePLSTest() : BatchModelTest(5) { options_.variables = {"x1", "x2", "x3"}; }

  platform::BoostProbability probability_;
};

TEST_F(BatchWisePLSTest, EveryBatchAndTimeIsAnObservationWhoseDependentIsTheTime) {
  Fit();
  ASSERT_TRUE(model_.IsFitted());
  DMatrix x(kBatches * kTimes, kVariables);
  DMatrix y(kBatches * kTimes, 1);
  for (std::size_t i = 0; i < kBatches; ++i) {
    for (std::size_t k = 0; k < kTimes; ++k) {
      for (std::size_t j = 0; j < kVariables; ++j) {
        x(i * kTimes + k, j) = unfolded_(i, k * kVariables + j);
      }
      y(i * kTimes + k, 0) = 10.0 * static_cast<double>(k + 1);
    }
  }
  // Means and deviations are per variable over all 60 observations.
  const testing::ColumnStatistics stats = testing::ComputeColumnStatistics(x);
  for (std::size_t j = 0; j < kVariables; ++j) {
    EXPECT_NEAR(model_.predictors().mean[j], stats.mean[j], 1e-12);
    EXPECT_NEAR(model_.predictors().scale[j], stats.sd[j], 1e-12);
  }
  ExpectTheScoresOf(model_.engine(), x, y);
  EXPECT_EQ(model_.predictors().case_names[kTimes + 1], "101 {20}");

  // Variable trajectories are the data as read, batches × times.
  const DMatrix values = model_.TrajectoryValues(1);
  EXPECT_EQ(values(3, 2), unfolded_(3, 2 * kVariables + 1));
}

TEST_F(BatchWisePLSTest, ScreenedRowsThatLeaveOneTimeStopForItsVariance) {
  // Every case after the first time has only x1: with automatic removal those observations go,
  // and the time that remains is constant.
  FakeDataTable table;
  std::string rows;
  for (int i = 0; i < 6; ++i) {
    for (int k = 0; k < 3; ++k) {
      rows += std::to_string(i) + " " + std::to_string(k) + " " +
              std::to_string(i * 0.5 + k + (i % 3)) + " " +
              (k == 0 ? std::to_string(i * i * 0.1) : ".") + ";";
    }
  }
  testing::AddColumns(table, "batch time x1 x2", rows);
  analysis_.SetInputTable(&table);
  options_.variables = {"x1", "x2"};
  options_.auto_remove_cases = true;
  EXPECT_EQ(StopId([&] { Fit(); }), MessageId::kNoTimeVariance);
  EXPECT_FALSE(model_.IsFitted());
}

TEST_F(BatchWisePLSTest, ScoreAndSPELinesAreOfEachTimeAlone) {
  Fit();
  const ScoreLimitOptions by_deviation =
      ScoreLimitOptions::Defaults(ScoreLimitType::kStandardDeviations);
  const TimeLimits scores = model_.ScoreTrajectory(1, by_deviation, probability_);
  ASSERT_EQ(scores.values.rows(), kBatches);
  ASSERT_EQ(scores.limits.size(), kTimes);
  for (std::size_t k = 0; k < kTimes; ++k) {
    // The scores of a time are those of its rows, and its degrees of freedom are I - 1.
    EXPECT_EQ(scores.values(4, k), model_.engine().Nodes()[0].t[4 * kTimes + k]);
    EXPECT_EQ(scores.limits[k].degrees_of_freedom, static_cast<int>(kBatches) - 1);
  }
  const TimeLimits spe = model_.SPEByTime(ChartLimitOptions{}, probability_);
  const std::vector<double> all =
      ComputeSPE(model_.engine().XResiduals(), model_.engine().ExcludedRows(), {});
  EXPECT_NEAR(spe.values(7, 3), all[7 * kTimes + 3], 1e-12);
  EXPECT_GT(spe.limits[0].control_line, spe.limits[0].warning_line);
}

TEST(ScoreLimitsByTime, HandComputedBandsAroundEachTimesMean) {
  platform::BoostProbability probability;
  // Time 0 holds 1..5 (mean 3, s = sqrt(2.5)); time 1 holds one score; time 2 is 1..5 + 10.
  DMatrix scores(5, 3, kMissingValue);
  for (std::size_t i = 0; i < 5; ++i) {
    scores(i, 0) = static_cast<double>(i + 1);
    scores(i, 2) = static_cast<double>(i + 11);
  }
  scores(2, 1) = 4.0;
  const double s = std::sqrt(2.5);
  const auto deviation = ScoreLimitsByTime(
      scores, ScoreLimitOptions::Defaults(ScoreLimitType::kStandardDeviations), probability);
  EXPECT_NEAR(deviation[0].standard_deviation, s, 1e-12);
  EXPECT_EQ(deviation[0].degrees_of_freedom, 4);
  EXPECT_NEAR(deviation[0].upper_control, 3.0 + 3.0 * s, 1e-12);
  EXPECT_NEAR(deviation[0].lower_warning, 3.0 - 2.0 * s, 1e-12);
  EXPECT_TRUE(IsMissing(deviation[1].upper_control));
  EXPECT_EQ(deviation[1].degrees_of_freedom, 0);
  EXPECT_NEAR(deviation[2].upper_control, 13.0 + 3.0 * s, 1e-12);

  // By p-value: t(0.995; 4) = 4.604094 (tables of Student's t), centred on the time's mean.
  const auto p_value = ScoreLimitsByTime(scores, ScoreLimitOptions{}, probability);
  EXPECT_NEAR(p_value[2].upper_control, 13.0 + 4.604094 * s, 1e-5);
  EXPECT_NEAR(p_value[2].lower_control, 13.0 - 4.604094 * s, 1e-5);
}

TEST(SPELimitsByTime, EachTimeScalesWithItsOwnValues) {
  platform::BoostProbability probability;
  DMatrix spe(4, 3, kMissingValue);
  const double base[] = {0.5, 1.0, 2.0, 4.5};
  for (std::size_t i = 0; i < 4; ++i) {
    spe(i, 0) = base[i];
    spe(i, 1) = 3.0 * base[i];  // g triples and h stays: the lines triple
  }
  spe(0, 2) = 1.0;
  const auto limits = SPELimitsByTime(spe, ChartLimitOptions{}, probability);
  EXPECT_NEAR(limits[1].control_line, 3.0 * limits[0].control_line, 1e-9);
  EXPECT_NEAR(limits[1].warning_line, 3.0 * limits[0].warning_line, 1e-9);
  EXPECT_GT(limits[0].control_line, 4.5 * 0.5);
  EXPECT_TRUE(IsMissing(limits[2].control_line));
}

}  // namespace
}  // namespace mspc
