#include "frame/mpca_results.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "pca/pca_test_support.hpp"
#include "support/batch_tables.hpp"
#include "support/dialog_analysis.hpp"

namespace mspc {
namespace {

using fake::Put;
using testing::Cell;

constexpr std::int64_t kTMPCARow = 4;

// A TMPCA analysis of an unfolded matrix (batches × (time, variable)) written out as a long
// table, batch b coded 10 + b and time k coded 100 (k + 1), driven step by step as a host would.
class TMPCAAnalysis : public testing::DialogAnalysis {
 public:
  TMPCAAnalysis(const DMatrix& unfolded, std::size_t variables, bool time_variable = true)
      : time_variable_(time_variable) {
    testing::WriteLongTable(
        unfolded, variables, table(), testing::LongTableLayout(10, 100, false, time_variable));
    for (std::size_t j = 0; j < variables; ++j) names_.push_back("x" + std::to_string(j + 1));
    Start();
  }

  void Fit(int components) {
    AutomationObject& startup = OpenStartup(kTMPCARow, kStepTMPCAStartup);
    Put(startup, "BatchVariable", std::string("batch"));
    if (time_variable_) Put(startup, "TimeVariable", std::string("time"));
    Put(startup, "Variables", names_);
    Put(startup, "FixedNumberOfComponents", true);
    Put(startup, "NumberOfComponents", std::int64_t{components});
    OpenResults(kStepTMPCAResults, "TMPCAResults");
  }

 private:
  bool time_variable_;
  std::vector<std::string> names_;
};

constexpr std::size_t kBatches = 5;
constexpr std::size_t kTimes = 3;
constexpr std::size_t kVariables = 3;

// Five batches whose x1 at the second time (code 200) is 1, 2, 3, 4, 5.
DMatrix FiveBatches() {
  DMatrix unfolded = testing::ManufacturedData(kBatches, kTimes * kVariables, {2.0}, 0.4, 11);
  for (std::size_t i = 0; i < kBatches; ++i) unfolded(i, kVariables) = static_cast<double>(i + 1);
  return unfolded;
}

// In scaled units each time's mean is 0 and its standard deviation 1 (unit scaling).
TEST(TMPCAResultsDialog, ScaledTrajectoriesAreThoseOfTheScaledColumns) {
  TMPCAAnalysis analysis(FiveBatches(), kVariables);
  analysis.Fit(1);
  Put(analysis.Twin(), "UseOriginalScale", false);
  ASSERT_TRUE(analysis.Run("VariableTrajectorySpreadsheet"));
  const Spreadsheet& scaled = analysis.LastSheet();
  for (std::size_t time = 0; time < kTimes; ++time) {
    EXPECT_NEAR(Cell(scaled.rows[0], time), 0.0, 1e-9);
    EXPECT_NEAR(Cell(scaled.rows[1], time), 1.0, 1e-9);
  }
}

TEST(TMPCAResultsDialog, TablesNameBatchesAndVariablesAtTimes) {
  TMPCAAnalysis analysis(FiveBatches(), kVariables);
  analysis.Fit(2);
  ASSERT_TRUE(analysis.Run("Eigenvalues"));
  {
    // Unit scaling: the total variance of the scaled matrix is its number of columns.
    const Spreadsheet& sheet = analysis.LastSheet();
    EXPECT_EQ(sheet.subtitles,
              (std::vector<std::string>{"Number of components is 2",
                                        "Principal Components Analysis sum of variance 9.0000"}));
    ASSERT_EQ(sheet.rows.size(), 2u);
    EXPECT_NEAR(Cell(sheet.rows[1], 3), 100.0 * Cell(sheet.rows[1], 2) / 9.0, 1e-9);
  }
  ASSERT_TRUE(analysis.Run("EigenvectorSpreadsheet"));
  const Spreadsheet eigenvectors = analysis.LastSheet();
  ASSERT_TRUE(analysis.Run("LoadingSpreadsheet"));
  const Spreadsheet& loadings = analysis.LastSheet();
  EXPECT_EQ(loadings.rows[5].label, "x3 {200}");
  // Eigenvectors have unit length; loadings are eigenvectors times sqrt(eigenvalue), and under
  // unit scaling their squares over the columns add up to the eigenvalue.
  double eigenvector_ss = 0.0;
  double loading_ss = 0.0;
  for (std::size_t row = 0; row < eigenvectors.rows.size(); ++row) {
    eigenvector_ss += std::pow(Cell(eigenvectors.rows[row], 0), 2);
    loading_ss += std::pow(Cell(loadings.rows[row], 0), 2);
  }
  ASSERT_TRUE(analysis.Run("Eigenvalues"));
  EXPECT_NEAR(eigenvector_ss, 1.0, 1e-9);
  EXPECT_NEAR(loading_ss, Cell(analysis.LastSheet().rows[0], 0), 1e-9);

  ASSERT_TRUE(analysis.Run("LineplotsOfLoadings"));
  const Graph& lines = analysis.host().graphs()[analysis.host().graphs().size() - 2];
  ASSERT_EQ(lines.series.size(), kVariables);
  EXPECT_NEAR(lines.series[2].y[1], Cell(loadings.rows[5], 0), 1e-12);
  // Without point labels the graphs carry none.
  Put(analysis.Twin(), "DisplayTextLabels", false);
  ASSERT_TRUE(analysis.Run("ScatterplotsOfLoadings"));
  EXPECT_TRUE(analysis.LastGraph().series[0].labels.empty());
}

TEST(TMPCAResultsDialog, ResidualsAndChartsArePerBatch) {
  const DMatrix unfolded = FiveBatches();
  TMPCAAnalysis analysis(unfolded, kVariables);
  analysis.Fit(1);
  ASSERT_TRUE(analysis.Run("Residuals"));
  const std::size_t count = analysis.host().spreadsheets().size();
  const Spreadsheet& original = analysis.host().spreadsheets()[count - 2];
  const Spreadsheet& scaled = analysis.host().spreadsheets()[count - 1];
  EXPECT_EQ(original.title,
            "Time-wise multi-way principal component analysis residuals, original data");
  EXPECT_EQ(scaled.title,
            "Time-wise multi-way principal component analysis residuals, scaled data");
  // A residual returns to the variable's units by the column's standard deviation alone.
  const testing::ColumnStatistics stats = testing::ComputeColumnStatistics(unfolded);
  for (std::size_t col = 0; col < unfolded.cols(); ++col) {
    EXPECT_NEAR(Cell(original.rows[2], col), Cell(scaled.rows[2], col) * stats.sd[col], 1e-9);
  }
  EXPECT_EQ(original.columns[1], "x2 {100}");
  ASSERT_TRUE(analysis.Run("XScoreSpreadsheet"));
  EXPECT_EQ(analysis.LastSheet().row_header, "Batch");
  ASSERT_TRUE(analysis.Run("SPEQChart"));
  EXPECT_EQ(analysis.LastGraph().x_label, "Batch");

  Put(analysis.Twin(), "ShowMarkersForScoreControlChart", false);
  ASSERT_TRUE(analysis.Run("ScoreControlChart"));
  EXPECT_EQ(analysis.LastGraph().type, GraphType::kLine);
}

// x1 and x2 follow one latent course, x3 is noise of its own: one component explains x1 and x2
// at every time and little of x3, so x3 is the least important variable.
TEST(TMPCAResultsDialog, ImportancePoolsAVariableOverItsTimes) {
  constexpr std::size_t kManyBatches = 12;
  constexpr std::size_t kFourTimes = 4;
  const DMatrix shared = testing::ManufacturedData(kManyBatches, 2 * kFourTimes, {3.0}, 0.05, 5);
  const DMatrix noise = testing::ManufacturedData(kManyBatches, kFourTimes, {1, 1, 1, 1}, 0.5, 9);
  DMatrix unfolded(kManyBatches, 3 * kFourTimes);
  for (std::size_t i = 0; i < kManyBatches; ++i) {
    for (std::size_t k = 0; k < kFourTimes; ++k) {
      unfolded(i, 3 * k) = shared(i, 2 * k);
      unfolded(i, 3 * k + 1) = shared(i, 2 * k + 1);
      unfolded(i, 3 * k + 2) = noise(i, k);
    }
  }
  TMPCAAnalysis analysis(unfolded, 3, /*time_variable=*/false);
  analysis.Fit(1);
  ASSERT_TRUE(analysis.Run("SpreadsheetOfImportanceOfPredictors"));
  const Spreadsheet& sheet = analysis.LastSheet();
  EXPECT_EQ(sheet.columns, (std::vector<std::string>{"Importance", "Power"}));
  ASSERT_EQ(sheet.rows.size(), 3u);
  EXPECT_EQ(sheet.rows[2].label, "x3");
  EXPECT_GT(Cell(sheet.rows[0], 0), 0.9);
  EXPECT_LT(Cell(sheet.rows[2], 0), 0.5);
  for (const ReportRow& row : sheet.rows) {
    EXPECT_NEAR(Cell(row, 0) + Cell(row, 1), 1.0, 1e-12);
  }
  // With no component nothing is explained: every power is 1.
  ASSERT_TRUE(analysis.Run("RemoveAllComponent"));
  ASSERT_TRUE(analysis.Run("SpreadsheetOfImportanceOfPredictors"));
  for (const ReportRow& row : analysis.LastSheet().rows) EXPECT_NEAR(Cell(row, 1), 1.0, 1e-12);
  // Without a time variable the intervals are numbered from 0.
  ASSERT_TRUE(analysis.Run("AddNextComponent"));
  ASSERT_TRUE(analysis.Run("LineplotsOfLoadings"));
  EXPECT_EQ(analysis.LastGraph().series[0].labels.front(), "Time: 0");
}

}  // namespace
}  // namespace mspc
