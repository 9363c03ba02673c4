#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "frame/working_data.hpp"
#include "host/output_sink.hpp"
#include "models/monitoring.hpp"
#include "pls/pls_coefficients.hpp"
#include "pls/pls_monitoring.hpp"

namespace mspc {

class PLSEngine;
class ProbabilityFunctions;

/// The settings of the PLS Results dialog that shape its reports, with the values the dialog
/// opens with.
struct PLSReportOptions {
  ChartLimitOptions chart;  // Hotelling T² and SPE(Q) charts of the X block
  ScoreLimitOptions score;  // score limits
  /// Which scores the score limits are of: 0 the X scores t, 1 the Y scores u.
  int score_type = 0;
  /// One or two component numbers for the score contributions; empty: components 1 and 2.
  std::vector<int> components_to_plot;
  /// A case name or a 1-based case number; empty: the observation with the largest T².
  std::string observation;
  bool sort_by_importance = true;
  std::string export_file_name = "model";
};

/// What the PLS reports read: the engine with its stored components and the two screened
/// blocks (their names, case labels, statistics and raw values).
struct PLSReportData {
  const PLSEngine& engine;
  const WorkingData& predictors;
  const WorkingData& dependents;
};

/// "Partial Least Squares Summary": per component R²X, R²X(Cumul.), R²Y, R²Y(Cumul.), Q²,
/// Q²(Cumul.), the test's limit, the NIPALS passes and the significance.
Spreadsheet PLSSummary(const PLSEngine& engine);
/// R²X(Cumul.), R²Y(Cumul.) and Q²(Cumul.) per component, as bars.
Graph PLSSummaryOverview(const PLSEngine& engine);
/// Valid N., mean, standard deviation and scaling factor of the predictors, then of the
/// dependents.
std::vector<Spreadsheet> PLSDescriptiveStatistics(const PLSReportData& data);
/// Scores t (X) and u (Y) per case, one column per component.
Spreadsheet PLSXScoreSpreadsheet(const PLSReportData& data);
Spreadsheet PLSYScoreSpreadsheet(const PLSReportData& data);
/// The X weights w and loadings p per predictor, the Y loadings q per dependent column.
Spreadsheet PLSXWeightSpreadsheet(const PLSReportData& data);
Spreadsheet PLSXLoadingSpreadsheet(const PLSReportData& data);
Spreadsheet PLSYLoadingSpreadsheet(const PLSReportData& data);
/// The regression coefficients in scaled units, and in the units of the data with a last row of
/// intercepts; one column per dependent column.
std::vector<Spreadsheet> PLSCoefficientSpreadsheets(const PLSReportData& data);
/// Per case and dependent column: observed, predicted and residual in the units of the data;
/// for a categorical dependent also the predicted class (the code of its largest dummy).
Spreadsheet PLSPredictionSpreadsheet(const PLSReportData& data);
/// The residuals of X and of Y in the units of the data.
std::vector<Spreadsheet> PLSResidualSpreadsheets(const PLSReportData& data);
/// Importance, 1 - importance, VIP and the running total of importance of every predictor, by
/// decreasing importance when `sorted`, else by name; and the VIP as bars in the same order.
Spreadsheet PLSImportanceSpreadsheet(const PLSReportData& data, bool sorted);
Graph PLSImportanceGraph(const PLSReportData& data, bool sorted);
/// Hotelling T² and SPE(Q) of the X block with their limits, as charts and spreadsheets.
Graph PLST2Chart(const PLSReportData& data, const PLSMonitoring& monitoring);
Spreadsheet PLST2Spreadsheet(const PLSReportData& data, const PLSMonitoring& monitoring);
Graph PLSSPEChart(const PLSReportData& data, const PLSMonitoring& monitoring);
Spreadsheet PLSSPESpreadsheet(const PLSReportData& data, const PLSMonitoring& monitoring);
/// "Distance to model" of the X block: per case, the footnote gives s0 when it is defined.
Spreadsheet PLSDistanceSpreadsheet(const PLSReportData& data, const PLSMonitoring& monitoring);
Graph PLSDistanceBarChart(const PLSReportData& data, const PLSMonitoring& monitoring);
/// The score limits of every component: standard deviation, control and warning lines.
Spreadsheet PLSScoreLimitSpreadsheet(const PLSReportData& data,
                                     PLSScoreType type,
                                     const ScoreLimitOptions& options,
                                     const ProbabilityFunctions& probability);

/// Contributions of case `row` to its T² (fractions of T²), to the X score of `component` and
/// to its SPE(Q) (squared and signed X residuals), in the scaled units of the model. With the
/// score weights R = W (PᵀW)⁻¹, for which t = x R on the undeflated scaled row x, the score
/// contribution of variable j to component a is x_j r_aj (adding up to t_a) and its T²
/// contribution (1 / T²) sum_a (t_a / s_a²) x_j r_aj (adding up to 1 with complete data).
Spreadsheet PLST2ContributionSpreadsheet(const PLSReportData& data, std::size_t row);
Graph PLST2ContributionPlot(const PLSReportData& data, std::size_t row);
Spreadsheet PLSScoreContributionSpreadsheet(const PLSReportData& data,
                                            std::size_t row,
                                            int component);
Graph PLSScoreContributionPlot(const PLSReportData& data, std::size_t row, int component);
Spreadsheet PLSSPEContributionSpreadsheet(const PLSReportData& data, std::size_t row);
Graph PLSSPEContributionPlot(const PLSReportData& data, std::size_t row);
/// The score contributions x_j r_aj of case `row` to component `component` (1-based), one per
/// X column, not-a-number for a removed column.
std::vector<double> PLSScoreContributions(const PLSEngine& engine, std::size_t row, int component);

/// The PLS Details reports of component `component` (1-based): R²X and R²X(Cumul.) per
/// predictor; R²Y, R²Y(Cumul.), PRESS and Q² per dependent column.
std::vector<Spreadsheet> PLSVariableStatistics(const PLSReportData& data, int component);

}  // namespace mspc
