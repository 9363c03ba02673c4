// Where a BMPLS model's new cases fall among batches and times.
#include "deploy/batch_deployment.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/messages.hpp"
#include "support/fake_data_table.hpp"

namespace mspc {
namespace {

constexpr std::size_t kNone = DeployedBatchTimes::kNone;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

LoadedBMPLSModel ModelAtTimes(const std::string& time_name, std::vector<double> codes) {
  LoadedBMPLSModel model;
  model.frame.batch_name = "batch";
  model.frame.time_name = time_name;
  model.frame.time_codes = std::move(codes);
  for (std::size_t k = 0; k < model.frame.time_codes.size(); ++k) {
    ControlLimitSet limits;
    limits.control_line = 10.0 * static_cast<double>(k + 1);
    model.spe_by_time.push_back(limits);
  }
  return model;
}

std::vector<std::size_t> AllCases(std::size_t count) {
  std::vector<std::size_t> cases(count);
  for (std::size_t i = 0; i < count; ++i) cases[i] = i;
  return cases;
}

TEST(BatchDeployment, PlacesCasesByTheirTimeCodeOrByTheirOrderInTheBatch) {
  // Batches 7 and 3 interleaved; batch 3 sorts first. Time 0.3 is computed, not typed, so it
  // is one unit in the last place away from the model's 0.3 and still that time. A time the
  // model does not know (25), a missing batch and a repeated time stay unplaced.
  FakeDataTable table;
  table.AddVariable("batch", {7, 3, 7, 3, kNaN, 3, 7});
  table.AddVariable("time", {0.1, 0.1, 0.1 + 0.2, 0.2, 0.1, 25, 0.1});
  const DeployedBatchTimes by_code =
      PlaceBatchTimes(ModelAtTimes("time", {0.1, 0.2, 0.3}), table, AllCases(7));
  EXPECT_EQ(by_code.batch_codes, (std::vector<double>{3, 7}));
  EXPECT_EQ(by_code.batch_labels, (std::vector<std::string>{"3", "7"}));
  EXPECT_EQ(by_code.batch_of_case, (std::vector<std::size_t>{1, 0, 1, 0, kNone, 0, 1}));
  EXPECT_EQ(by_code.time_of_case, (std::vector<std::size_t>{0, 0, 2, 1, kNone, kNone, kNone}));
  const std::vector<double> lines = by_code.SPEControlLines();
  EXPECT_EQ(lines[2], 30.0);
  EXPECT_TRUE(std::isnan(lines[5]));

  // Without the time variable in the table a case's time is its place within its batch; a
  // batch longer than the model's times leaves its late cases unplaced.
  const DeployedBatchTimes by_order =
      PlaceBatchTimes(ModelAtTimes("Time", {0, 1}), table, {0, 1, 2, 3, 6});
  EXPECT_EQ(by_order.time_of_case, (std::vector<std::size_t>{0, 0, 1, 1, kNone}));
}

TEST(BatchDeployment, ReportsTheSPEOfEachBatchAgainstItsTimesLine) {
  FakeDataTable table;
  table.AddVariable("batch", {1, 1, 2, 2});
  table.AddVariable("time", {1, 2, 1, 2});
  const DeployedBatchTimes placement =
      PlaceBatchTimes(ModelAtTimes("time", {1, 2}), table, AllCases(4));
  PLSDeploymentScores scores;
  scores.spe = {5.0, 25.0, 15.0, 5.0};  // above the line (10, 20) at cases 2 and 3
  scores.x_scores = DMatrix(4, 0);
  const std::vector<RoutedOutput> reports = DeployedBatchTimeReports(placement, scores, "m.pmml");
  ASSERT_EQ(reports.size(), 2u);
  const auto& sheet = std::get<Spreadsheet>(reports[0]);
  EXPECT_EQ(sheet.subtitles.front(), FormatMessage(MessageId::kDeployModelSubtitle, "m.pmml"));
  EXPECT_EQ(sheet.highlights.size(), 2u);
  const auto& chart = std::get<Graph>(reports[1]);
  EXPECT_EQ(chart.series.front().y, (std::vector<double>{10.0, 20.0}));  // the control line
  EXPECT_EQ(chart.series.back().y, (std::vector<double>{15.0, 5.0}));    // batch 2

  // No case placed: no per-time reports.
  FakeDataTable no_batches;
  no_batches.AddVariable("x", {1, 2, 3, 4});
  EXPECT_TRUE(
      DeployedBatchTimeReports(
          PlaceBatchTimes(ModelAtTimes("time", {1, 2}), no_batches, AllCases(4)), scores, "")
          .empty());
}

}  // namespace
}  // namespace mspc
