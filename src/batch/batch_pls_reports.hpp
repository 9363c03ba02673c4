#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "batch/batch_report_pieces.hpp"
#include "batch/trajectory.hpp"
#include "batch/unfolding.hpp"
#include "host/output_sink.hpp"
#include "models/control_limits.hpp"
#include "models/monitoring.hpp"
#include "pls/pls_reports.hpp"

namespace mspc {

class ProbabilityFunctions;

/// The Results settings of the batch PLS models beyond those of PLS and of the trajectory
/// bands, with the values the dialog opens with.
struct BatchReportSettings {
  std::string variable_for_trajectory;          // a process column's name; empty: the first
  std::vector<std::string> batches_to_display;  // batch labels of the trajectory plots
  int eigenvalues_to_plot = 0;                  // 0: every component of the model
  bool use_original_scale = true;               // trajectories in the variables' own units
  bool display_text_labels = false;             // label the points of score plots
  bool show_markers = true;                     // mark points beyond the score chart limits
  bool limits_as_regions = false;               // TrajectoryLimitsAsRegions
};

/// What the reports of a batch PLS model read: the PLS blocks and engine, and the unfolding's
/// counts and labels. For one row per batch the predictor columns are variable j at time k in
/// column k × J + j; for one row per batch and time the rows are batch i at time k in row
/// i × K + k and the columns the J variables.
struct BatchPLSReportData {
  PLSReportData pls;
  const BatchData& batch;
};

/// The eigenvalue λ_a (the variance of the X scores) of each component with the share of the
/// sum of squares of X that it removed, and their running totals. The PLS weights have unit
/// length but the loadings need not, so the shares are taken from the explained sums of squares
/// rather than from the eigenvalues.
Spreadsheet BatchPLSEigenvalues(const PLSEngine& engine);
/// The eigenvalues of the first `count` components (0 or more than the model has: all).
Graph BatchPLSScreePlot(const PLSEngine& engine, int count);

/// One component's X scores over the observations with its score limit lines; a control chart
/// with `markers`, else a plain line. With `labels` the points carry the observation labels.
Graph BatchPLSScoreLineplot(const BatchPLSReportData& data,
                            int component,
                            const ControlLimitSet& limits,
                            const ScoreLimitOptions& options,
                            bool markers,
                            bool labels);
/// Two components' X scores against each other, as a plot and as a spreadsheet.
Graph BatchPLSScoreScatterplot(const BatchPLSReportData& data, int first, int second, bool labels);
Spreadsheet BatchPLSScoreScatterSpreadsheet(const BatchPLSReportData& data, int first, int second);

/// One component's X loadings: for one row per batch a curve over time per process variable
/// (points named by `TimeIntervalName`), for one row per batch and time one value per variable.
Graph BatchPLSLoadingLineplot(const BatchPLSReportData& data, int component);
/// Two components' X loadings against each other, one series per process variable whose
/// points are its times (one row per batch) or one point per variable.
Graph BatchPLSLoadingScatterplot(const BatchPLSReportData& data, int first, int second);

/// Valid N., mean, standard deviation and scaling factor of every process variable at every
/// time of a one-row-per-batch model, with the variable number and category value of category
/// columns.
Spreadsheet BatchDescriptiveStatistics(const BatchPLSReportData& data);
/// The importance of every process variable over all its times in a one-row-per-batch model:
/// "Importance" is the sum of the PLS importance fractions I_j of its columns (so the variables'
/// importances add up to 1, as the columns' do), and "Power" is sqrt(J × Importance), the VIP of
/// the variable taken as a whole (1 for a variable with an average share). Most important first
/// when `sorted`, else in selection order.
Spreadsheet BatchVariableImportance(const BatchPLSReportData& data, bool sorted);

/// The centred and scaled predictor matrix the model is fitted to ("Scaled (processed) data").
Spreadsheet BatchPLSScaledData(const BatchPLSReportData& data);
/// "Distance to model" with each observation's T² beside its distance.
Spreadsheet BatchPLSDistanceSpreadsheet(const BatchPLSReportData& data,
                                        const PLSMonitoring& monitoring);
/// The distance to the model of every observation as a line.
Graph BatchPLSDistanceLineplot(const BatchPLSReportData& data, const PLSMonitoring& monitoring);

/// The trajectory of a variable (`values`: batches × times in the units shown): the statistic
/// rows (mean, standard deviation, control limits and, with warning limits, warning limits)
/// and one row per batch with the values outside the control band highlighted.
Spreadsheet TrajectorySheet(const BatchData& data,
                            const std::string& variable,
                            const DMatrix& values,
                            const TrajectoryBands& bands);
/// The trajectory plot: the mean, the bands (two lines each, or with `as_regions` one closed
/// outline each) and the batches `batch_rows` (rows of `values`).
Graph TrajectoryPlot(const BatchData& data,
                     const std::string& variable,
                     const DMatrix& values,
                     const TrajectoryBands& bands,
                     const TrajectoryOptions& options,
                     bool as_regions,
                     const std::vector<std::size_t>& batch_rows);

/// "Trajectory spreadsheet of t%d": per time the mean, standard deviation, degrees of freedom
/// and the per-time score limits, then the batches' scores, those outside the control limits
/// highlighted.
Spreadsheet ScoreTrajectorySheet(const BatchData& data,
                                 int component,
                                 const DMatrix& scores,
                                 const std::vector<ControlLimitSet>& limits,
                                 const ScoreLimitOptions& options);
/// The score control chart of a batch-time model: the batches' scores over time between the
/// per-time limits.
Graph ScoreTrajectoryPlot(const BatchData& data,
                          int component,
                          const DMatrix& scores,
                          const std::vector<ControlLimitSet>& limits,
                          const ScoreLimitOptions& options,
                          const std::vector<std::size_t>& batch_rows);

/// SPE(Q) of a batch-time model by time: per time the control (and warning) line, then the
/// batches' values, those above their time's control line highlighted; and as a chart.
Spreadsheet SPEByTimeSheet(const BatchData& data,
                           const DMatrix& spe,
                           const std::vector<ControlLimitSet>& limits);
Graph SPEByTimeChart(const BatchData& data,
                     const DMatrix& spe,
                     const std::vector<ControlLimitSet>& limits,
                     const std::vector<std::size_t>& batch_rows);

/// The PLS predictions of a model whose single dependent is the time, the fitted values headed
/// "Time predicted".
Spreadsheet TimePredictionSpreadsheet(const PLSReportData& data);

}  // namespace mspc
