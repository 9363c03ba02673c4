#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/data_table.hpp"
#include "platform/script.hpp"

namespace mspc::platform {

/// The options of `krv-mspc fit pca`; an option left unset keeps the Startup dialog's default.
struct FitPCAArguments {
  std::string data;
  std::vector<std::string> variables;  // empty: every continuous variable of the table
  std::optional<int> components;       // a fixed number of components instead of validation
  std::string cross_validation;        // "vfold" or "krzanowski"; empty: V-fold
  std::optional<int> folds;
  std::optional<int> seed;  // folds assigned at random from this seed
  std::string scaling;      // "unit" or "none"; empty: unit standard deviations
  std::optional<int> max_iterations;
  std::optional<double> epsilon;
  std::optional<double> control;  // T² and SPE(Q) control limit, percent
  std::optional<double> warning;  // warning limit, percent; 0 draws no warning line
  std::string save;  // save the model document as this name (.pmml) in the output folder
};

/// The Results commands of a `fit` run: summary, eigenvalues and scree plot, loadings, scores,
/// T² and SPE(Q) charts and spreadsheets, distance to the model, and the contributions of the
/// observation with the largest T².
const std::vector<std::string>& CommonPCAReports();

/// The script of `fit pca`, its entries numbered 1 to 3 in place of lines: MSPC Startup (PCA), PCA
/// Startup with the options given (unqualified variables and cases removed automatically), PCA
/// Results with the common reports.
Script BuildFitPCAScript(const FitPCAArguments& arguments);

/// The options of `krv-mspc fit pls`; an option left unset keeps the Startup dialog's default.
struct FitPLSArguments {
  std::string data;
  std::vector<std::string> dependents;   // required
  std::vector<std::string> predictors;   // required
  std::vector<std::string> categorical;  // dependents (or predictors) read as categories
  std::optional<int> components;         // a fixed number of components instead of validation
  std::string cross_validation;          // "vfold"; empty: V-fold
  std::optional<int> folds;
  std::optional<int> seed;
  std::string scaling;  // "unit" or "none"
  std::optional<int> max_iterations;
  std::optional<double> epsilon;
  std::optional<double> control;
  std::optional<double> warning;
  std::string save;  // save the model document as this name (.pmml) in the output folder
};

/// The PLS Results commands of a `fit pls` run: summary, descriptive statistics, X weights,
/// loadings, coefficients, predictions, variable importance, T² and SPE(Q) of the X block,
/// distance to the model, score limits and contributions.
const std::vector<std::string>& CommonPLSReports();

/// The script of `fit pls`: MSPC Startup (PLS), PLS Startup with the blocks and options given
/// (unqualified variables and cases removed automatically), PLS Results with the common reports.
Script BuildFitPLSScript(const FitPLSArguments& arguments);

/// The batch model kinds of `krv-mspc fit`.
enum class BatchKind { kTMPCA, kTMPLS, kBMPLS };

/// The options of `krv-mspc fit tmpca|tmpls|bmpls`; an option left unset keeps the Startup
/// dialog's default.
struct FitBatchArguments {
  BatchKind kind = BatchKind::kTMPCA;
  std::string data;
  std::string batch;     // the batch variable; required
  std::string time;      // the time variable; empty: the order of a batch's cases is its time
  bool stacked = false;  // aggregated data: `variables` names the process and measurement ones
  bool raw = false;      // raw times reduced to `intervals` intervals per batch
  std::optional<int> intervals;
  std::vector<std::string> dependents;   // TMPLS: required
  std::vector<std::string> variables;    // empty: every other continuous variable of the table
  std::vector<std::string> categorical;  // which of the variables are categorical
  std::optional<int> min_batches;
  std::optional<int> components;  // a fixed number of components instead of validation
  std::string cross_validation;   // "vfold"; empty: V-fold
  std::optional<int> folds;
  std::optional<int> seed;
  std::string scaling;  // "unit" or "none"
  std::optional<int> max_iterations;
  std::optional<double> epsilon;
  std::optional<double> control;
  std::optional<double> warning;
  std::string trajectory;  // TMPCA: the variable of the trajectory reports; empty: the first
  std::string save;        // save the model document as this name (.pmml) in the output folder
};

/// The Results commands of `fit tmpca`: summary, eigenvalues, scores, loading curves, T² and
/// SPE(Q) charts and spreadsheets, distance to the model with T², variable importance, the
/// trajectory spreadsheet and the contributions of the batch with the largest T².
const std::vector<std::string>& CommonTMPCAReports();
/// The reports `fit tmpca|tmpls|bmpls` asks for: the TMPCA list, or the PLS list with the
/// variable trajectory and the score trajectories of the batch PLS kinds.
const std::vector<std::string>& CommonBatchReports(BatchKind kind);

/// The script of `fit tmpca|tmpls|bmpls`: MSPC Startup (the kind's row), the kind's Startup with
/// the batch roles and options given (unqualified variables and cases removed automatically),
/// and the kind's Results with `CommonBatchReports`.
Script BuildFitBatchScript(const FitBatchArguments& arguments);

/// Give a batch Startup entry that names no process variables every continuous variable of
/// `table` that has no other role (batch, time, dependent), in table order.
void SelectBatchProcessVariables(Script& script, const DataTable& table);

/// The script of `demo`: PCA with 7-fold cross-validation on every continuous variable of the
/// table at `data` (the bundled normal-operation run), with the common reports, the summary
/// overview, a scree plot of 20 eigenvalues, the score scatterplot and the variable importance;
/// the model is saved as `model.pmml` for the monitoring run that follows.
Script BuildDemoScript(const std::string& data);

/// The options of `krv-mspc monitor`.
struct MonitorArguments {
  std::vector<std::string> models;     // model document files, deployed side by side
  std::string data;                    // the table of new cases
  std::vector<std::string> variables;  // empty: the variables each document names
};

/// The script of `monitor`: MSPC Startup (Deployment), then Deployment Startup with the model
/// files and variables, whose OK loads the models, scores the table and reports.
Script BuildMonitorScript(const MonitorArguments& arguments);

/// Give a PCA Startup entry that names no variables every continuous variable of `table`, in
/// table order; a script that names its variables is left as it is.
void SelectAllContinuousVariables(Script& script, const DataTable& table);

}  // namespace mspc::platform
