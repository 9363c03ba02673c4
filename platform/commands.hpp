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
};

/// The Results commands of a `fit` run: summary, eigenvalues and scree plot, loadings, scores,
/// T² and SPE(Q) charts and spreadsheets, distance to the model, and the contributions of the
/// observation with the largest T².
const std::vector<std::string>& CommonPCAReports();

/// The script of `fit pca`, its entries numbered 1 to 3 in place of lines: MSPC Startup (PCA), PCA
/// Startup with the options given (unqualified variables and cases removed automatically), PCA
/// Results with the common reports.
Script BuildFitPCAScript(const FitPCAArguments& arguments);

/// The script of `demo`: PCA with 7-fold cross-validation on every continuous variable of the
/// table at `data` (the bundled normal-operation run), with the common reports, the summary
/// overview, a scree plot of 20 eigenvalues, the score scatterplot and the variable importance.
Script BuildDemoScript(const std::string& data);

/// Give a PCA Startup entry that names no variables every continuous variable of `table`, in
/// table order; a script that names its variables is left as it is.
void SelectAllContinuousVariables(Script& script, const DataTable& table);

}  // namespace mspc::platform
