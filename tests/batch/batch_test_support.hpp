#pragma once

// Small batch tables written as text.

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "frame/analysis_support.hpp"
#include "host/errors.hpp"
#include "models/dmatrix.hpp"
#include "models/missing.hpp"
#include "pca/pca_test_support.hpp"
#include "support/batch_tables.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"

namespace mspc::testing {

/// The stop a call ends with, or nothing when it returns.
template <typename Call>
std::optional<AnalysisStop> StopFrom(Call&& call) {
  try {
    call();
  } catch (const AnalysisStop& stop) {
    return stop;
  }
  return std::nullopt;
}

/// Add the variables named in `names` (blank-separated; "-" skips a column) from `rows`: cells
/// separated by blanks, rows by ';', "." for an empty cell.
inline void AddColumns(FakeDataTable& table, const std::string& names, const std::string& rows) {
  std::istringstream name_stream(names);
  std::vector<std::string> columns;
  for (std::string name; name_stream >> name;) columns.push_back(name);
  std::vector<std::vector<double>> values(columns.size());
  std::istringstream row_stream(rows);
  for (std::string row; std::getline(row_stream, row, ';');) {
    std::istringstream cells(row);
    for (std::vector<double>& column : values) {
      std::string cell;
      cells >> cell;
      column.push_back(cell == "." ? kMissingValue : std::stod(cell));
    }
  }
  for (std::size_t c = 0; c < columns.size(); ++c) {
    if (columns[c] != "-") table.AddVariable(columns[c], values[c]);
  }
}

constexpr std::size_t kBatches = 12;
constexpr std::size_t kTimes = 5;
constexpr std::size_t kVariables = 3;

/// A batch model of `Model` on the long table of `unfolded_` (kBatches × (kTimes, kVariables),
/// two components and noise), run as a script runs it with the batch options.
template <typename Model>
class BatchModelTest : public ::testing::Test {
 protected:
  explicit BatchModelTest(std::uint64_t seed)
      : unfolded_(ManufacturedData(kBatches, kTimes * kVariables, {3.0, 1.5}, 0.3, seed)) {
    WriteLongTable(unfolded_, kVariables, table_);
    analysis_.InitCommons(host_.Services(&table_, true));
  }

  void Fit() {
    model_.ApplyOptions(options_);
    model_.Run(options_);
  }

  DMatrix unfolded_;
  FakeDataTable table_;
  RecordingHost host_;
  CAnalysisSupport analysis_;
  StartupOptions options_ = BatchOptions();
  Model model_{&analysis_};
};

/// The trajectories of every variable rebuilt from a batch model's fit give `unfolded` back.
template <typename Model>
void ExpectTrajectoriesRebuildTheData(const Model& model,
                                      const DMatrix& unfolded,
                                      std::size_t variables) {
  const std::size_t times = unfolded.cols() / variables;
  for (std::size_t j = 0; j < variables; ++j) {
    const DMatrix values = model.TrajectoryValues(j);
    ASSERT_EQ(values.rows(), unfolded.rows());
    ASSERT_EQ(values.cols(), times);
    for (std::size_t i = 0; i < unfolded.rows(); ++i) {
      for (std::size_t k = 0; k < times; ++k) {
        EXPECT_NEAR(values(i, k), unfolded(i, k * variables + j), 1e-9) << i << "," << k;
      }
    }
  }
}

}  // namespace mspc::testing
