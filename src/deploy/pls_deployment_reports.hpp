#pragma once

#include <string>
#include <vector>

#include "deploy/pca_deployment_reports.hpp"
#include "deploy/pls_deployment.hpp"
#include "frame/output_auto_update.hpp"

namespace mspc {

/// The reports of one loaded PLS model on the new cases, in order: the T² and SPE(Q) charts of
/// the X block with the stored lines; the X scores with T², SPE(Q) and the distance to the
/// model (cells above a control line highlighted); one chart per component's X scores with its
/// stored limits; the predictions of every dependent column with the observed values and
/// residuals where the table holds the dependents, and the predicted class of each categorical
/// dependent; and for the cases above a T² or SPE(Q)
/// control line their T² contributions (adding up to T²) and SPE(Q) contributions (the signed
/// residuals, whose squares add up to SPE(Q)). `spe_lines`, when not empty, holds per case the
/// SPE(Q) control line that flags it (a model with per-time lines); a case without one (not a
/// number) is judged by the overall line.
std::vector<RoutedOutput> DeployedPLSReports(const LoadedPLSModel& model,
                                             const PLSDeploymentScores& scores,
                                             const DeployedCases& cases,
                                             const std::string& model_name,
                                             const std::vector<double>& spe_lines = {});

}  // namespace mspc
