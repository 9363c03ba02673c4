#include "pca/pca_reports.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "pca/pca_engine.hpp"
#include "pca/pca_test_support.hpp"
#include "platform/boost_probability.hpp"

namespace mspc {
namespace {

using testing::ComputeColumnStatistics;
using testing::ManufacturedData;
using testing::StandardisedEngine;

constexpr double kTight = 1e-9;

// Working data as the reader would leave it for `raw`: named columns v1.., case numbers 1..,
// unit-deviation scaling, optional case names.
WorkingData DataFor(const DMatrix& raw, std::vector<std::string> case_names = {}) {
  WorkingData data;
  data.x = raw;
  const testing::ColumnStatistics stats = ComputeColumnStatistics(raw);
  for (std::size_t col = 0; col < raw.cols(); ++col) {
    data.column_names.push_back("v" + std::to_string(col + 1));
    double valid = 0;
    for (std::size_t row = 0; row < raw.rows(); ++row) valid += std::isnan(raw(row, col)) ? 0 : 1;
    data.valid_count.push_back(valid);
  }
  data.mean = stats.mean;
  data.standard_deviation = stats.sd;
  data.scale = stats.sd;
  for (std::size_t row = 0; row < raw.rows(); ++row) {
    data.case_numbers.push_back(static_cast<int>(row) + 1);
  }
  data.case_names = std::move(case_names);
  return data;
}

PCAFitOptions Fixed(int components) {
  PCAFitOptions options;
  options.component_mode = ComponentMode::FixedNumberOfComponents;
  options.max_components = components;
  options.convergence = 1e-12;
  options.max_iterations = 1000;
  return options;
}

PCAEngine Fitted(const DMatrix& raw, const PCAFitOptions& options) {
  PCAEngine engine = StandardisedEngine(raw, options);
  engine.AutoFit();
  return engine;
}

double Cell(const Spreadsheet& sheet, std::size_t row, std::size_t col) {
  return std::get<double>(sheet.rows.at(row).cells.at(col));
}

std::string Printf(const char* format, double value) {
  char buffer[128];
  std::snprintf(buffer, sizeof buffer, format, value);
  return buffer;
}

TEST(PCASummaryReport, OneRowPerAcceptedComponentWithItsVerdict) {
  const DMatrix raw = ManufacturedData(60, 8, {4.0, 3.0}, 0.15, 11);
  PCAFitOptions options;  // 7-fold cross-validation decides
  const PCAEngine engine = Fitted(raw, options);
  // The two planted components, and perhaps one noise-level component behind them.
  ASSERT_GE(engine.ComponentCount(), 2);
  const auto count = static_cast<std::size_t>(engine.ComponentCount());

  const Spreadsheet sheet = PCASummary(engine);
  EXPECT_EQ(sheet.subtitles,
            std::vector<std::string>{"Number of components is " + std::to_string(count)});
  ASSERT_EQ(sheet.rows.size(), count);
  EXPECT_EQ(sheet.rows[1].label, "2");
  EXPECT_NEAR(Cell(sheet, 0, 0) + Cell(sheet, 1, 0), Cell(sheet, 1, 1), kTight);
  for (std::size_t row = 0; row < count; ++row) {
    // Cross-validation judged every component: Q², its limit and a verdict are filled in.
    const std::string verdict = std::get<std::string>(sheet.rows[row].cells[7]);
    EXPECT_TRUE(verdict == "S" || verdict == "NS") << verdict;
    EXPECT_TRUE(std::holds_alternative<double>(sheet.rows[row].cells[3]));
    EXPECT_TRUE(std::holds_alternative<double>(sheet.rows[row].cells[5]));
  }
  EXPECT_EQ(std::get<std::string>(sheet.rows[1].cells[7]), "S");
  ASSERT_EQ(sheet.footnotes.size(), 1u);
  EXPECT_EQ(sheet.footnotes[0],
            Printf("%.4f%% of sum of squares has been explained by all the extracted components.",
                   100.0 * Cell(sheet, count - 1, 1)));

  // Without cross-validation Q², its cumulative value and the limit are empty, not NaN.
  const Spreadsheet fixed = PCASummary(Fitted(raw, Fixed(1)));
  ASSERT_EQ(fixed.rows.size(), 1u);
  for (std::size_t col : {3u, 4u, 5u}) {
    EXPECT_TRUE(std::holds_alternative<std::monostate>(fixed.rows[0].cells[col])) << col;
  }
  EXPECT_EQ(std::get<std::string>(fixed.rows[0].cells[7]), "UNKNOWN");
}

TEST(PCAEigenvalueReport, EveryComponentTogetherExplainsTheWholeSumOfVariance) {
  // With unit scaling S = K, and the K eigenvalues of complete data add up to the trace of the
  // correlation matrix, K.
  const DMatrix raw = ManufacturedData(15, 4, {2.0, 1.0}, 0.3, 5);
  const PCAEngine engine = Fitted(raw, Fixed(4));
  const Spreadsheet sheet = PCAEigenvalues(engine, DataFor(raw));
  EXPECT_EQ(sheet.subtitles[0], "Principal Components Analysis sum of variance 4.0000");
  ASSERT_EQ(sheet.rows.size(), 4u);
  EXPECT_NEAR(Cell(sheet, 3, 2), 4.0, 1e-8);
  EXPECT_NEAR(Cell(sheet, 3, 3), 100.0, 1e-6);
  EXPECT_NEAR(Cell(sheet, 0, 1), 25.0 * Cell(sheet, 0, 0), kTight);
}

TEST(PCAChartReports, T2LinesFollowTheClosedFormFQuantileOfTwoComponents) {
  // For d1 = 2 the F quantile has a closed form: F⁻¹(p; 2, d2) = (d2 / 2)((1 - p)^(-2/d2) - 1).
  constexpr int kRows = 20;
  constexpr int kComponents = 2;
  const DMatrix raw = ManufacturedData(kRows, 5, {3.0, 2.0}, 0.2, 3);
  const PCAEngine engine = Fitted(raw, Fixed(kComponents));
  const WorkingData data = DataFor(raw);
  const platform::BoostProbability probability;
  const double d2 = kRows - kComponents;
  const double factor = kComponents * (kRows * kRows - 1.0) / (kRows * d2);
  const auto limit = [&](double p) { return d2 / 2 * (std::pow(1 - p, -2 / d2) - 1) * factor; };

  const Graph chart = PCAT2Chart(engine, data, ChartLimitOptions{}, probability);
  EXPECT_EQ(chart.type, GraphType::kControl);
  ASSERT_EQ(chart.lines.size(), 2u);
  EXPECT_NEAR(chart.lines[0].value, limit(0.99), kTight * limit(0.99));
  EXPECT_EQ(chart.lines[0].label,
            Printf("Critical value = %.4f (99.00%% Control limit)", limit(0.99)));
  EXPECT_EQ(chart.lines[0].kind, LimitKind::kControl);
  EXPECT_NEAR(chart.lines[1].value, limit(0.95), kTight * limit(0.95));
  EXPECT_EQ(chart.lines[1].label,
            Printf("Critical value = %.4f (95.00%% Warning limit)", limit(0.95)));
  EXPECT_EQ(chart.lines[1].kind, LimitKind::kWarning);

  // Centred complete data give scores of mean 0, so the T² of the N rows add up to A(N - 1).
  ASSERT_EQ(chart.series.size(), 1u);
  double total = 0.0;
  for (double value : chart.series[0].y) total += value;
  EXPECT_NEAR(total, kComponents * (kRows - 1.0), 1e-8);

  const Spreadsheet sheet = PCAT2Spreadsheet(engine, data, ChartLimitOptions{}, probability);
  for (std::size_t row = 0; row < sheet.rows.size(); ++row) {
    const bool highlighted =
        std::find(sheet.highlights.begin(),
                  sheet.highlights.end(),
                  std::pair<int, int>(static_cast<int>(row), 0)) != sheet.highlights.end();
    EXPECT_EQ(highlighted, Cell(sheet, row, 0) > limit(0.99)) << row;
  }
}

TEST(PCAChartReports, SPEDistanceAndSPEContributionsAgreeRowByRow) {
  const DMatrix raw = ManufacturedData(25, 6, {3.0, 2.0}, 0.3, 8);
  const PCAEngine engine = Fitted(raw, Fixed(2));
  const WorkingData data = DataFor(raw);
  const platform::BoostProbability probability;
  const Spreadsheet spe = PCASPESpreadsheet(engine, data, ChartLimitOptions{}, probability);
  const Spreadsheet distance = PCADistanceSpreadsheet(engine, data);
  ASSERT_EQ(spe.rows.size(), 25u);
  for (std::size_t row = 0; row < spe.rows.size(); ++row) {
    // d_i² (K - A) = SPE_i.
    EXPECT_NEAR(Cell(distance, row, 0) * Cell(distance, row, 0) * 4.0, Cell(spe, row, 0), 1e-10);
  }
  EXPECT_EQ(distance.footnotes[0].rfind("The normalized distance to the model is ", 0), 0u);

  const Spreadsheet contribution = PCASPEContributionSpreadsheet(engine, data, 6);
  EXPECT_EQ(contribution.title, "SPE(Q) Contribution (Obs  7)");
  double squared = 0.0;
  for (std::size_t row = 0; row < contribution.rows.size(); ++row) {
    squared += Cell(contribution, row, 0);
    EXPECT_NEAR(Cell(contribution, row, 0), std::pow(Cell(contribution, row, 1), 2), kTight);
  }
  EXPECT_NEAR(squared, Cell(spe, 6, 0), 1e-10);
}

TEST(PCAContributionReports, TheObservationIsFoundByNameOrNumberAndItsT2FractionsSumToOne) {
  const DMatrix raw = ManufacturedData(12, 4, {3.0, 1.0}, 0.2, 21);
  std::vector<std::string> names;
  for (int row = 1; row <= 12; ++row) names.push_back("c" + std::to_string(row));
  names[3] = "9";  // a name that reads as another case's number
  const PCAEngine engine = Fitted(raw, Fixed(2));
  const WorkingData data = DataFor(raw, names);

  std::size_t row = 0;
  // The name "9" wins over case number 9.
  for (const auto& [text, expected] : {std::pair{"c7", 6u}, {"9", 3u}, {"11", 10u}}) {
    EXPECT_FALSE(ResolveObservation(engine, data, text, row).has_value()) << text;
    EXPECT_EQ(row, expected) << text;
  }
  const auto refusal = ResolveObservation(engine, data, "13", row);
  ASSERT_TRUE(refusal.has_value());
  EXPECT_EQ(refusal->text, "Observation 13 is not a case of the model.");

  // By default the observation with the largest T².
  ASSERT_FALSE(ResolveObservation(engine, data, "", row).has_value());
  const std::vector<double> t2 = ComputeModelT2(engine);
  EXPECT_EQ(row, static_cast<std::size_t>(std::max_element(t2.begin(), t2.end()) - t2.begin()));

  const Spreadsheet sheet = PCAT2ContributionSpreadsheet(engine, data, 6);
  EXPECT_EQ(sheet.title, "T² Contribution (Obs  c7)");
  double sum = 0.0;
  for (std::size_t index = 0; index < sheet.rows.size(); ++index) sum += Cell(sheet, index, 0);
  EXPECT_NEAR(sum, 1.0, 1e-12);
  const Graph plot = PCAScoreContributionPlot(engine, data, 6, 2);
  EXPECT_EQ(plot.title, "Score contribution plot (t2, c7)");
  EXPECT_EQ(plot.series[0].name, "Score contribution (c7 - Average)");
}

TEST(PCAVariableImportanceReport, PowerIsTheUnexplainedShareAndImportanceTheRest) {
  const DMatrix raw = ManufacturedData(20, 5, {3.0, 1.0}, 0.4, 2);
  const WorkingData data = DataFor(raw);
  // Without components the residuals are the centred data: nothing is explained.
  PCAEngine none = StandardisedEngine(raw, Fixed(0));
  for (const ReportRow& row : PCAVariableImportance(none, data, true).rows) {
    EXPECT_NEAR(std::get<double>(row.cells[0]), 1.0, kTight) << row.label;
    EXPECT_NEAR(std::get<double>(row.cells[1]), 0.0, kTight) << row.label;
  }
  // Every component explains everything.
  for (const ReportRow& row : PCAVariableImportance(Fitted(raw, Fixed(5)), data, true).rows) {
    EXPECT_NEAR(std::get<double>(row.cells[0]), 0.0, 1e-8) << row.label;
  }
  const Spreadsheet sorted = PCAVariableImportance(Fitted(raw, Fixed(1)), data, true);
  for (std::size_t row = 1; row < sorted.rows.size(); ++row) {
    EXPECT_LE(Cell(sorted, row - 1, 0), Cell(sorted, row, 0));
  }
}

TEST(PCAScreePlot, FurtherEigenvaluesComeFromACopyAndLeaveTheModelAsItIs) {
  const DMatrix raw = ManufacturedData(30, 6, {3.0, 2.0, 1.0}, 0.2, 4);
  const PCAEngine engine = Fitted(raw, Fixed(1));
  const PCAEngine reference = Fitted(raw, Fixed(3));
  const Graph plot = PCAScreePlot(engine, 3);
  EXPECT_EQ(engine.ComponentCount(), 1);
  ASSERT_EQ(plot.series[0].y.size(), 3u);
  for (std::size_t a = 0; a < 3; ++a) {
    EXPECT_EQ(plot.series[0].y[a], reference.Nodes()[a].eigenvalue) << a;
  }
  EXPECT_EQ(PCAScreePlot(engine, 0).series[0].y.size(), 1u);
  // Never more than the degrees of freedom allow: min(N - 1, K).
  EXPECT_EQ(PCAScreePlot(engine, 50).series[0].y.size(), 6u);
}

TEST(PCAReports, MissingCellsAreEmptyCellsAndNoNumberIsNotANumber) {
  DMatrix raw = ManufacturedData(16, 5, {3.0, 1.0}, 0.3, 9);
  raw(2, 1) = std::nan("");
  raw(7, 4) = std::nan("");
  const PCAEngine engine = Fitted(raw, Fixed(2));
  const WorkingData data = DataFor(raw);
  const platform::BoostProbability probability;
  const Spreadsheet residuals = PCAResiduals(engine, data);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(residuals.rows[2].cells[1]));
  const ChartLimitOptions limits;
  for (const Spreadsheet& sheet : {PCASummary(engine),
                                   PCADescriptiveStatistics(engine, data),
                                   PCAEigenvalues(engine, data),
                                   PCAVariableImportance(engine, data, true),
                                   PCALoadingSpreadsheet(engine, data),
                                   PCAScoreSpreadsheet(engine, data),
                                   PCAT2Spreadsheet(engine, data, limits, probability),
                                   PCASPESpreadsheet(engine, data, limits, probability),
                                   PCADistanceSpreadsheet(engine, data),
                                   residuals,
                                   PCAScaledData(engine, data),
                                   PCAT2ContributionSpreadsheet(engine, data, 7),
                                   PCAScoreContributionSpreadsheet(engine, data, 7, 1),
                                   PCASPEContributionSpreadsheet(engine, data, 7)}) {
    for (const ReportRow& row : sheet.rows) {
      for (const ReportCell& cell : row.cells) {
        if (const double* value = std::get_if<double>(&cell)) {
          EXPECT_TRUE(std::isfinite(*value)) << sheet.title << " row " << row.label;
        }
      }
    }
  }
}

TEST(PCAReportSettings, ComponentsToPlotDefaultToTheFirstTwoAndStayWithinTheModel) {
  std::vector<int> resolved;
  EXPECT_FALSE(ResolveComponentsToPlot({}, 1, resolved).has_value());
  EXPECT_EQ(resolved, std::vector<int>{1});
  EXPECT_FALSE(ResolveComponentsToPlot({}, 4, resolved).has_value());
  EXPECT_EQ(resolved, (std::vector<int>{1, 2}));
  EXPECT_FALSE(ResolveComponentsToPlot({3, 1}, 3, resolved).has_value());
  EXPECT_EQ(resolved, (std::vector<int>{3, 1}));
  for (const std::vector<int>& wrong : {std::vector<int>{3}, {0}, {1, 2, 3}}) {
    const auto refusal = ResolveComponentsToPlot(wrong, 2, resolved);
    ASSERT_TRUE(refusal.has_value());
    EXPECT_EQ(refusal->text,
              "ComponentsToPlot must hold one or two component numbers between 1 and 2.");
  }
}

}  // namespace
}  // namespace mspc
