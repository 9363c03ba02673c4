#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/working_data.hpp"
#include "host/messages.hpp"
#include "host/output_sink.hpp"
#include "models/monitoring.hpp"

namespace mspc {

class PCAEngine;
class ProbabilityFunctions;

/// The settings of the PCA Results dialog that shape its reports, with the values the dialog
/// opens with.
struct PCAReportOptions {
  ChartLimitOptions chart;  // Hotelling T² and SPE(Q) charts share one pair of limits
  ScoreLimitOptions score;  // score line plots and scatterplots
  /// One or two component numbers for the line and scatter plots and the score contributions;
  /// empty: components 1 and 2, as far as the model has them.
  std::vector<int> components_to_plot;
  /// The observation of the contribution reports: a case name or a 1-based case number; empty:
  /// the observation with the largest T² (the largest SPE(Q) in a model without components).
  std::string observation;
  bool sort_by_importance = true;
  /// How many eigenvalues the scree plot shows; 0: those of the model's components. More than
  /// the model has are taken from further components fitted for the plot only.
  int eigenvalues_to_plot = 0;
  std::string export_file_name = "model";
};

/// A request the reports cannot serve, with the message that says why.
struct ReportRefusal {
  MessageId id;
  std::string text;
};

/// The component numbers the plots use: `requested` checked against the model's A components,
/// or components 1 and 2 (as far as they exist) when it is empty. Refuses a list of more than
/// two numbers or a number outside 1..A.
std::optional<ReportRefusal> ResolveComponentsToPlot(const std::vector<int>& requested,
                                                     int components,
                                                     std::vector<int>& resolved);

/// The row of the observation the contribution reports use (see `PCAReportOptions`), or a
/// refusal when the text names no case of the model.
std::optional<ReportRefusal> ResolveObservation(const PCAEngine& engine,
                                                const WorkingData& data,
                                                std::string_view observation,
                                                std::size_t& row);

/// Hotelling T² of every row (not-a-number for excluded rows; 0 without components).
std::vector<double> ComputeModelT2(const PCAEngine& engine);
/// SPE(Q) of every row (not-a-number for excluded rows).
std::vector<double> ComputeModelSPE(const PCAEngine& engine);
/// Distance of every row to the model and the pooled s0.
DistanceToModel ComputeModelDistance(const PCAEngine& engine);

// One function per report. Rows are the model's non-excluded variables or observations, headed
// by the row-header texts of the string table; a missing value is an empty cell. The reports that
// need components (loadings, scores, T², T² and score contributions) expect at least one.

/// "Principal Components Analysis Summary": one row per accepted component.
Spreadsheet PCASummary(const PCAEngine& engine);
/// R²X(Cumul.) and Q²(Cumul.) per component, as bars.
Graph PCASummaryOverview(const PCAEngine& engine);
/// Valid N., mean, standard deviation and scaling factor of every model variable.
Spreadsheet PCADescriptiveStatistics(const PCAEngine& engine, const WorkingData& data);
/// Eigenvalues with their shares of the sum of variance S = sum_j (s_j / f_j)².
Spreadsheet PCAEigenvalues(const PCAEngine& engine, const WorkingData& data);
/// The scree plot of `count` eigenvalues (0: the model's). Eigenvalues beyond the model's
/// components come from components fitted on a copy of the model, which stays unchanged.
Graph PCAScreePlot(const PCAEngine& engine, int count);
/// "Power" r_j (the share of variable j's sum of squares left in its residuals, about their
/// mean) and "Importance" 1 - r_j, most important variable first when `sorted`.
Spreadsheet PCAVariableImportance(const PCAEngine& engine, const WorkingData& data, bool sorted);
Spreadsheet PCALoadingSpreadsheet(const PCAEngine& engine, const WorkingData& data);
Graph PCALoadingLineplot(const PCAEngine& engine, const WorkingData& data, int component);
Graph PCALoadingScatterplot(const PCAEngine& engine,
                            const WorkingData& data,
                            int first,
                            int second);
Spreadsheet PCAScoreSpreadsheet(const PCAEngine& engine, const WorkingData& data);
/// The scores of one component with their upper and lower control (and warning) lines.
Graph PCAScoreLineplot(const PCAEngine& engine,
                       const WorkingData& data,
                       int component,
                       const ScoreLimitOptions& options,
                       const ProbabilityFunctions& probability);
/// The scores of two components against each other; the subtitles give both standard
/// deviations and the limit settings.
Graph PCAScoreScatterplot(const PCAEngine& engine,
                          const WorkingData& data,
                          int first,
                          int second,
                          const ScoreLimitOptions& options,
                          const ProbabilityFunctions& probability);
/// "Hotelling T² Control Chart" as a chart and as a spreadsheet (points above the control line
/// highlighted).
Graph PCAT2Chart(const PCAEngine& engine,
                 const WorkingData& data,
                 const ChartLimitOptions& options,
                 const ProbabilityFunctions& probability);
Spreadsheet PCAT2Spreadsheet(const PCAEngine& engine,
                             const WorkingData& data,
                             const ChartLimitOptions& options,
                             const ProbabilityFunctions& probability);
/// "SPE(Q) Chart" as a chart and as a spreadsheet.
Graph PCASPEChart(const PCAEngine& engine,
                  const WorkingData& data,
                  const ChartLimitOptions& options,
                  const ProbabilityFunctions& probability);
Spreadsheet PCASPESpreadsheet(const PCAEngine& engine,
                              const WorkingData& data,
                              const ChartLimitOptions& options,
                              const ProbabilityFunctions& probability);
/// "Distance to model": d_i per observation; the footnote gives s0 when it is defined.
Spreadsheet PCADistanceSpreadsheet(const PCAEngine& engine, const WorkingData& data);
Graph PCADistanceBarChart(const PCAEngine& engine, const WorkingData& data);
/// The residual matrix e_ij after the model's components, in the centred and scaled units the
/// model is fitted in (one column per model variable).
Spreadsheet PCAResiduals(const PCAEngine& engine, const WorkingData& data);
/// The centred and scaled data the model is fitted to.
Spreadsheet PCAScaledData(const PCAEngine& engine, const WorkingData& data);

/// Contributions of observation `row`: T² (as fractions of T²), the score contribution to one
/// component, and SPE(Q) (squared and signed residuals).
Spreadsheet PCAT2ContributionSpreadsheet(const PCAEngine& engine,
                                         const WorkingData& data,
                                         std::size_t row);
Graph PCAT2ContributionPlot(const PCAEngine& engine, const WorkingData& data, std::size_t row);
Spreadsheet PCAScoreContributionSpreadsheet(const PCAEngine& engine,
                                            const WorkingData& data,
                                            std::size_t row,
                                            int component);
Graph PCAScoreContributionPlot(const PCAEngine& engine,
                               const WorkingData& data,
                               std::size_t row,
                               int component);
Spreadsheet PCASPEContributionSpreadsheet(const PCAEngine& engine,
                                          const WorkingData& data,
                                          std::size_t row);
Graph PCASPEContributionPlot(const PCAEngine& engine, const WorkingData& data, std::size_t row);

/// Per variable for component `component` (1-based): R²X, R²X(Cumul.), PRESS and Q² (the PCA
/// Details report).
Spreadsheet PCAVariableStatistics(const PCAEngine& engine, const WorkingData& data, int component);

}  // namespace mspc
