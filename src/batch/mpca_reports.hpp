#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "batch/batch_report_pieces.hpp"
#include "host/output_sink.hpp"
#include "models/monitoring.hpp"

namespace mspc {

class CMPCAModel;
class ProbabilityFunctions;
struct BatchData;

// The reports of a time-wise multi-way PCA model. The observations are batches (rows headed
// "Batch", labelled by their batch codes' texts) and the model's variables are the unfolded
// columns, variable j at time k being column k × J + j, labelled "variable {time}". Each report
// expects a fitted model; those of components (loadings, scores, T², contributions) expect at
// least one component.

/// A PCA report over the model's batches: its "Case" row header becomes "Batch".
Spreadsheet WithBatchRows(Spreadsheet sheet);

/// Eigenvalues with their shares of the total variance of the scaled unfolded matrix.
Spreadsheet TMPCAEigenvalues(const CMPCAModel& model);
/// Scores per batch, one column "Component a" per component.
Spreadsheet TMPCAScoreSpreadsheet(const CMPCAModel& model);
/// Valid N., mean, standard deviation and scaling factor of every variable at every time, with
/// the variable number and category value of category columns.
Spreadsheet TMPCADescriptiveStatistics(const CMPCAModel& model);
/// The eigenvectors p_a (unit length over the unfolded columns).
Spreadsheet TMPCAEigenvectorSpreadsheet(const CMPCAModel& model);
/// The loadings p_a · sqrt(λ_a): under unit scaling the correlation of each column with the
/// component's score.
Spreadsheet TMPCALoadingSpreadsheet(const CMPCAModel& model);
/// The loadings of one component as curves over time, one series per process variable.
Graph TMPCALoadingLineplot(const CMPCAModel& model, int component);
/// Two components' loadings against each other, one series per process variable whose points
/// are its times.
Graph TMPCALoadingScatterplot(const CMPCAModel& model, int first, int second);
/// The centred and scaled unfolded matrix the model is fitted to.
Spreadsheet TMPCAScaledData(const CMPCAModel& model);
/// The residuals after the model's components, in scaled units or, with `original_units`, in the
/// variables' own units (the scaled residual times the column's scale).
Spreadsheet TMPCAResiduals(const CMPCAModel& model, bool original_units);
/// "Distance" and "T²" of every batch, with the normalized distance when it is defined.
Spreadsheet TMPCADistanceSpreadsheet(const CMPCAModel& model);
/// The distances as a line over the batches.
Graph TMPCADistanceLineplot(const CMPCAModel& model);

/// The importance of each process variable over all its times (see the .cpp), as a spreadsheet
/// ("Importance" and "Power", most important first when `sorted`) and as a bar chart.
std::vector<double> TMPCAVariablePower(const CMPCAModel& model);
Spreadsheet TMPCAVariableImportance(const CMPCAModel& model, bool sorted);
Graph TMPCAVariableImportanceChart(const CMPCAModel& model, bool sorted);

/// The limits of every component's score chart: standard deviation, degrees of freedom and the
/// upper and lower control (and warning) limits.
Spreadsheet TMPCAScoreLimits(const CMPCAModel& model,
                             const ScoreLimitOptions& options,
                             const ProbabilityFunctions& probability);
/// The scores of every batch with the cells outside their component's control limits
/// highlighted.
Spreadsheet TMPCAScoreControlSheet(const CMPCAModel& model,
                                   const ScoreLimitOptions& options,
                                   const ProbabilityFunctions& probability);
/// One component's score chart over the batches with its limit lines; with `markers` a control
/// chart whose points beyond the limits are marked, else a plain line.
Graph TMPCAScoreControlChart(const CMPCAModel& model,
                             int component,
                             bool markers,
                             const ScoreLimitOptions& options,
                             const ProbabilityFunctions& probability);
/// The scores of two components side by side, as the score scatterplot draws them.
Spreadsheet TMPCAScoreScatterSpreadsheet(const CMPCAModel& model, int first, int second);

/// The score contribution of process variable `variable` over time for batch `row`, to
/// component `component`: "Score contribution plot (t%d, %s) for batch %s".
Graph TMPCABatchScoreContribution(const CMPCAModel& model,
                                  std::size_t row,
                                  int component,
                                  std::size_t variable);

/// The trajectory of process variable `variable` (0 <= variable < J) over the model's batches:
/// the statistic rows (mean, standard deviation, control limits and, with warning limits, the
/// warning limits) and one row per batch, the values outside the control band highlighted. In
/// the variables' own units, or scaled by each column's mean and scale without
/// `original_scale`.
Spreadsheet TMPCATrajectorySpreadsheet(const CMPCAModel& model, std::size_t variable);
/// The trajectory plot: the mean, the bands (two lines each, or with `as_regions` one closed
/// outline each) and the batches `batch_rows` (model rows).
Graph TMPCATrajectoryPlot(const CMPCAModel& model,
                          std::size_t variable,
                          const std::vector<std::size_t>& batch_rows);

}  // namespace mspc
