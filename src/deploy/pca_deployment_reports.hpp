#pragma once

#include <string>
#include <vector>

#include "deploy/pca_deployment.hpp"
#include "host/messages.hpp"
#include "host/output_sink.hpp"

namespace mspc {

/// The cases a deployment scored: their host case numbers (1-based) and names.
struct DeployedCases {
  std::vector<int> numbers;
  std::vector<std::string> names;  // may be empty texts
};

// The pieces every kind's deployment reports share.

/// A case's name, or its number when it has none.
std::string DeployedCaseLabel(const DeployedCases& cases, std::size_t row);
/// A model column's name: its variable's, with ": label" for a category's dummy column.
std::string DeployedColumnName(const std::vector<DocumentField>& fields,
                               const DocumentColumn& column);
/// A spreadsheet titled `title` with one column per model column and one (empty) row per
/// flagged case, for contributions.
Spreadsheet DeployedColumnSheet(MessageId title,
                                const std::vector<DocumentField>& fields,
                                const std::vector<DocumentColumn>& columns,
                                const DeployedCases& cases,
                                const std::vector<std::size_t>& flagged);
/// Whether `value` lies above a defined `line`.
bool AboveLine(double value, double line);
/// A number cell, or an empty cell for not-a-number.
ReportCell DeployedCell(double value);
/// The scores of the deployed cases with their T², SPE(Q) and, when given, distance to the
/// model; a score beyond its control lines and a T² or SPE(Q) above its control line are
/// highlighted.
Spreadsheet DeployedScoreSheet(const DMatrix& scores,
                               const std::vector<ControlLimitSet>& score_limits,
                               const ControlLimitSet& t2_limits,
                               const ControlLimitSet& spe_limits,
                               const std::vector<double>& t2,
                               const std::vector<double>& spe,
                               const std::vector<double>* distance,
                               const DeployedCases& cases,
                               const std::string& model_name);
/// A control chart of one statistic of the new cases (T² or SPE(Q)) with its stored lines;
/// `model_name` (the document's file name, or empty) is its subtitle.
Graph DeployedStatisticChart(MessageId title,
                             MessageId series,
                             const std::vector<double>& values,
                             const ControlLimitSet& limits,
                             const DeployedCases& cases,
                             const std::string& model_name);
/// The scores of one component (1-based) with the stored upper and lower lines.
Graph DeployedScoreLineplot(int component,
                            const std::vector<double>& values,
                            const ControlLimitSet& limits,
                            const DeployedCases& cases,
                            const std::string& model_name);
/// T² and SPE(Q) of every case under each of several models of one kind, side by side.
Spreadsheet DeployedSideBySide(const std::vector<const std::vector<double>*>& t2,
                               const std::vector<const std::vector<double>*>& spe,
                               const DeployedCases& cases);

/// "Hotelling T² Control Chart" of the new cases with the model's stored lines; `model_name`
/// (the document's file name, or empty) is its subtitle.
Graph DeployedT2Chart(const LoadedPCAModel& model,
                      const PCADeploymentScores& scores,
                      const DeployedCases& cases,
                      const std::string& model_name);
/// "SPE(Q) Chart" of the new cases with the model's stored lines.
Graph DeployedSPEChart(const LoadedPCAModel& model,
                       const PCADeploymentScores& scores,
                       const DeployedCases& cases,
                       const std::string& model_name);
/// The scores of one component (1-based) with the stored upper and lower lines.
Graph DeployedScoreChart(const LoadedPCAModel& model,
                         const PCADeploymentScores& scores,
                         const DeployedCases& cases,
                         int component,
                         const std::string& model_name);
/// Scores, T² and SPE(Q) of every case; cells above a control line highlighted.
Spreadsheet DeployedScoreSpreadsheet(const LoadedPCAModel& model,
                                     const PCADeploymentScores& scores,
                                     const DeployedCases& cases,
                                     const std::string& model_name);
/// The cases whose T² or SPE(Q) lies above its control line.
std::vector<std::size_t> FlaggedCases(const LoadedPCAModel& model,
                                      const PCADeploymentScores& scores);
/// T² contributions of the flagged cases: per variable column j, sum_a t_a p_aj x_j / s_a² over
/// the cells present (they add up to T² when no cell is missing).
Spreadsheet DeployedT2Contributions(const LoadedPCAModel& model,
                                    const PCADeploymentScores& scores,
                                    const DeployedCases& cases,
                                    const std::vector<std::size_t>& flagged);
/// SPE(Q) contributions of the flagged cases: the signed residual e_ij of every column (their
/// squares add up to SPE(Q)).
Spreadsheet DeployedSPEContributions(const LoadedPCAModel& model,
                                     const PCADeploymentScores& scores,
                                     const DeployedCases& cases,
                                     const std::vector<std::size_t>& flagged);

}  // namespace mspc
