#pragma once

#include <string>
#include <vector>

#include "deploy/pca_deployment.hpp"
#include "host/output_sink.hpp"

namespace mspc {

/// The cases a deployment scored: their host case numbers (1-based) and names.
struct DeployedCases {
  std::vector<int> numbers;
  std::vector<std::string> names;  // may be empty texts
};

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
