#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "deploy/batch_pls_document.hpp"
#include "deploy/pls_deployment.hpp"
#include "frame/output_auto_update.hpp"
#include "host/data_table.hpp"

namespace mspc {

/// Where the new cases of a BMPLS model fall among batches and times, with the model's per-time
/// limits, so that they are monitored as the model's own batches were.
///
/// A case's batch is its code of the model's batch variable (batches in ascending code order,
/// named by their labels). Its time is the model's time code that its time value equals within
/// 15 units in the last place; without a time variable (the model's time name is not a variable
/// of the table) a case's time is the number of earlier cases of its batch, as the fit counted
/// them. A case whose batch or time cannot be told — the table lacks the batch variable, the
/// value is missing, the time is not one of the model's times (data the fit read in raw form
/// are binned per batch, so raw time stamps never match), or a later case repeats a batch's time
/// — is left out of the per-time reports and judged by the overall lines only.
struct DeployedBatchTimes {
  static constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

  BatchDocumentFrame frame;
  bool has_time_variable = false;            // the table holds the model's time variable
  std::vector<ControlLimitSet> spe_by_time;  // per time
  std::vector<std::vector<ControlLimitSet>> scores_by_time;  // per component, per time
  std::vector<double> batch_codes;                           // ascending
  std::vector<std::string> batch_labels;
  std::vector<std::size_t> batch_of_case;  // per deployed case, or kNone
  std::vector<std::size_t> time_of_case;   // per deployed case, or kNone

  /// Per deployed case the SPE(Q) control line at its time, not-a-number when it has none.
  std::vector<double> SPEControlLines() const;
};

/// Place the deployed `cases` (host case indices, in deployment order) of a BMPLS model.
DeployedBatchTimes PlaceBatchTimes(const LoadedBMPLSModel& model,
                                   const DataTable& table,
                                   const std::vector<std::size_t>& cases);

/// The per-time reports of a deployed BMPLS model: SPE(Q) by time as a spreadsheet (values above
/// their time's control line highlighted) and as a chart with the stored per-time lines, and
/// one score control chart per component with its stored per-time limits. Nothing when no case
/// could be placed.
std::vector<RoutedOutput> DeployedBatchTimeReports(const DeployedBatchTimes& placement,
                                                   const PLSDeploymentScores& scores,
                                                   const std::string& model_name);

}  // namespace mspc
