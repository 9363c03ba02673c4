// krv-mspc: the command-line host. Parses the arguments, builds or names the automation script,
// and hands it to the platform's runner.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <utility>
#include <vector>

#include "platform/commands.hpp"
#include "platform/host_runtime.hpp"
#include "platform/terminal_progress.hpp"

namespace {

extern "C" void OnInterrupt(int /*signal*/) { mspc::platform::TerminalProgress::RequestCancel(); }

// The demo's data: the bundled file below the working folder (a run from the repository root),
// or else where the build found it.
std::string DemoDataPath() {
  const std::filesystem::path relative = "examples/data/d00.csv";
  if (std::filesystem::exists(relative)) return relative.string();
  return (std::filesystem::path(MSPC_EXAMPLES_DIR) / "d00.csv").string();
}

// --format of a command that writes reports; the value is checked as it is read.
// `--save NAME`: the fit also writes its model document, for `monitor` to load later.
void AddSaveOption(CLI::App* command, std::string* save) {
  command->add_option(
      "--save", *save, "Also save the model document as NAME.pmml in the output folder");
}

void AddFormatOption(CLI::App* command, mspc::platform::OutputFormats* formats) {
  command
      ->add_option_function<std::string>(
          "--format",
          [formats](const std::string& text) {
            std::string error;
            const auto parsed = mspc::platform::ParseOutputFormats(text, &error);
            if (!parsed) throw CLI::ValidationError(error);
            *formats = *parsed;
          },
          "Report files to write, comma separated: json, xlsx, html")
      ->default_str(std::string(mspc::platform::kAllOutputFormats));
}

// The fault run the demo monitors with the model it saved.
std::string DemoMonitorPath() {
  const std::filesystem::path relative = "examples/data/d01_te.csv";
  if (std::filesystem::exists(relative)) return relative.string();
  return (std::filesystem::path(MSPC_EXAMPLES_DIR) / "d01_te.csv").string();
}

// `fit tmpca|tmpls|bmpls`: one subcommand per batch kind, with the same options.
CLI::App* AddBatchFit(CLI::App* fit,
                      const std::string& name,
                      const std::string& description,
                      mspc::platform::FitBatchArguments* arguments,
                      mspc::platform::RunRequest* request) {
  CLI::App* command = fit->add_subcommand(name, description);
  command->add_option("--data", arguments->data, "The data table (CSV)")->required();
  command->add_option("--batch", arguments->batch, "The batch variable")->required();
  command->add_option("--time", arguments->time, "The time variable (default: case order)");
  command->add_flag("--stacked",
                    arguments->stacked,
                    "Aggregated data: --vars names the process and the measurement variable");
  CLI::Option* raw =
      command->add_flag("--raw", arguments->raw, "Raw times, reduced to --intervals intervals");
  command->add_option("--intervals", arguments->intervals, "Time intervals per batch (--raw)")
      ->needs(raw);
  if (arguments->kind == mspc::platform::BatchKind::kTMPLS) {
    command->add_option("--y", arguments->dependents, "Dependents, comma separated")
        ->required()
        ->delimiter(',');
  }
  command
      ->add_option("--vars",
                   arguments->variables,
                   "Process variables, comma separated (default: every other continuous one)")
      ->delimiter(',');
  command->add_option("--categorical", arguments->categorical, "Categorical variables")
      ->delimiter(',');
  command->add_option("--min-batches", arguments->min_batches, "Minimum number of batches");
  CLI::Option* components =
      command->add_option("--components", arguments->components, "A fixed number of components");
  command->add_option("--cv", arguments->cross_validation, "Cross-validation method")
      ->check(CLI::IsMember({"vfold"}))
      ->excludes(components);
  command->add_option("--folds", arguments->folds, "Number of cross-validation folds");
  command->add_option("--seed", arguments->seed, "Assign the folds at random from this seed");
  command->add_option("--scaling", arguments->scaling, "Column scaling")
      ->check(CLI::IsMember({"unit", "none"}));
  command->add_option("--max-iterations", arguments->max_iterations, "NIPALS iterations");
  command->add_option("--epsilon", arguments->epsilon, "Convergence criterion (0-1)");
  command->add_option("--control", arguments->control, "T² and SPE(Q) control limit, percent");
  command->add_option("--warning", arguments->warning, "Warning limit, percent (0: none)");
  command->add_option(
      "--trajectory", arguments->trajectory, "Variable of the trajectory report (default: first)");
  AddSaveOption(command, &arguments->save);
  command->add_option("--out", request->out_dir, "Folder for the reports")->capture_default_str();
  AddFormatOption(command, &request->formats);
  return command;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"KRV_MSPC: multivariate statistical process control"};
  app.require_subcommand(1);

  mspc::platform::RunRequest request;
  request.progress_on_terminal = isatty(STDERR_FILENO) != 0;

  CLI::App* run = app.add_subcommand("run", "Run an automation script");
  run->add_option("script", request.script_path, "The script (JSON)")
      ->required()
      ->check(CLI::ExistingFile);
  run->add_option("--data", request.data_override, "Data table replacing the script's");
  run->add_option("--out", request.out_dir, "Folder for the reports")->capture_default_str();
  run->add_option("--record", request.record_path, "Write the script of the run to this file");
  AddFormatOption(run, &request.formats);

  mspc::platform::FitPCAArguments fit_arguments;
  std::string kind;
  CLI::App* fit = app.add_subcommand("fit", "Fit a model with the common reports");
  fit->add_option("kind", kind, "The kind of model")->check(CLI::IsMember({"pca"}));
  fit->add_option("--data", fit_arguments.data, "The data table (CSV); required");
  fit->add_option("--vars",
                  fit_arguments.variables,
                  "Variables, comma separated (default: all "
                  "continuous variables)")
      ->delimiter(',');
  CLI::Option* components =
      fit->add_option("--components", fit_arguments.components, "A fixed number of components");
  fit->add_option("--cv", fit_arguments.cross_validation, "Cross-validation method")
      ->check(CLI::IsMember({"vfold", "krzanowski"}))
      ->excludes(components);
  fit->add_option("--folds", fit_arguments.folds, "Number of cross-validation folds");
  fit->add_option("--seed", fit_arguments.seed, "Assign the folds at random from this seed");
  fit->add_option("--scaling", fit_arguments.scaling, "Column scaling")
      ->check(CLI::IsMember({"unit", "none"}));
  fit->add_option("--max-iterations", fit_arguments.max_iterations, "NIPALS iterations (1-1000)");
  fit->add_option("--epsilon", fit_arguments.epsilon, "Convergence criterion (0-1)");
  fit->add_option("--control", fit_arguments.control, "T² and SPE(Q) control limit, percent");
  fit->add_option("--warning", fit_arguments.warning, "Warning limit, percent (0: none)");
  AddSaveOption(fit, &fit_arguments.save);
  fit->add_option("--out", request.out_dir, "Folder for the reports")->capture_default_str();
  AddFormatOption(fit, &request.formats);

  mspc::platform::FitPLSArguments pls_arguments;
  CLI::App* fit_pls = fit->add_subcommand("pls", "Fit a partial least squares model");
  fit_pls->add_option("--data", pls_arguments.data, "The data table (CSV)")->required();
  fit_pls->add_option("--y", pls_arguments.dependents, "Dependents, comma separated")
      ->required()
      ->delimiter(',');
  fit_pls->add_option("--x", pls_arguments.predictors, "Predictors, comma separated")
      ->required()
      ->delimiter(',');
  fit_pls->add_option("--categorical", pls_arguments.categorical, "Categorical variables")
      ->delimiter(',');
  CLI::Option* pls_components =
      fit_pls->add_option("--components", pls_arguments.components, "A fixed number of components");
  fit_pls->add_option("--cv", pls_arguments.cross_validation, "Cross-validation method")
      ->check(CLI::IsMember({"vfold"}))
      ->excludes(pls_components);
  fit_pls->add_option("--folds", pls_arguments.folds, "Number of cross-validation folds");
  fit_pls->add_option("--seed", pls_arguments.seed, "Assign the folds at random from this seed");
  fit_pls->add_option("--scaling", pls_arguments.scaling, "Column scaling")
      ->check(CLI::IsMember({"unit", "none"}));
  fit_pls->add_option("--max-iterations", pls_arguments.max_iterations, "NIPALS iterations");
  fit_pls->add_option("--epsilon", pls_arguments.epsilon, "Convergence criterion (0-1)");
  fit_pls->add_option("--control", pls_arguments.control, "T² and SPE(Q) control limit, percent");
  fit_pls->add_option("--warning", pls_arguments.warning, "Warning limit, percent (0: none)");
  AddSaveOption(fit_pls, &pls_arguments.save);
  fit_pls->add_option("--out", request.out_dir, "Folder for the reports")->capture_default_str();

  mspc::platform::FitBatchArguments tmpca_arguments;
  mspc::platform::FitBatchArguments tmpls_arguments;
  tmpls_arguments.kind = mspc::platform::BatchKind::kTMPLS;
  mspc::platform::FitBatchArguments bmpls_arguments;
  bmpls_arguments.kind = mspc::platform::BatchKind::kBMPLS;
  const std::vector<std::pair<CLI::App*, mspc::platform::FitBatchArguments*>> batch_fits = {
      {AddBatchFit(
           fit, "tmpca", "Fit a time-wise multi-way PCA of batch data", &tmpca_arguments, &request),
       &tmpca_arguments},
      {AddBatchFit(
           fit, "tmpls", "Fit a time-wise multi-way PLS of batch data", &tmpls_arguments, &request),
       &tmpls_arguments},
      {AddBatchFit(fit,
                   "bmpls",
                   "Fit a batch-wise multi-way PLS of batch data",
                   &bmpls_arguments,
                   &request),
       &bmpls_arguments},
  };

  CLI::App* demo = app.add_subcommand("demo", "Fit PCA to the bundled Tennessee Eastman run");
  demo->add_option("--out", request.out_dir, "Folder for the reports")->capture_default_str();
  AddFormatOption(demo, &request.formats);

  mspc::platform::MonitorArguments monitor_arguments;
  CLI::App* monitor = app.add_subcommand("monitor", "Score new data with saved model documents");
  monitor->add_option("--model", monitor_arguments.models, "A model document (repeatable)")
      ->required()
      ->check(CLI::ExistingFile);
  monitor->add_option("--data", monitor_arguments.data, "The data table (CSV)")->required();
  monitor
      ->add_option("--vars",
                   monitor_arguments.variables,
                   "Variables, comma separated (default: those the documents name)")
      ->delimiter(',');
  monitor->add_option("--out", request.out_dir, "Folder for the reports")->capture_default_str();
  AddFormatOption(monitor, &request.formats);

  CLI11_PARSE(app, argc, argv);
  // `fit pca` takes its kind as a word; the other kinds are subcommands of their own.
  const auto batch_fit = std::find_if(batch_fits.begin(), batch_fits.end(), [](const auto& entry) {
    return entry.first->parsed();
  });
  if (fit->parsed() && !fit_pls->parsed() && batch_fit == batch_fits.end() &&
      (kind.empty() || fit_arguments.data.empty())) {
    std::cerr << "fit: give the kind (pca, pls, tmpca, tmpls or bmpls) and --data\n";
    return 2;
  }

  // `fit` and `demo` are the user's own commands, not automation: their notes are shown.
  if (batch_fit != batch_fits.end()) {
    request.script = mspc::platform::BuildFitBatchScript(*batch_fit->second);
    request.script_name = "fit " + batch_fit->first->get_name();
    request.automation = false;
    request.complete_script = mspc::platform::SelectBatchProcessVariables;
  } else if (fit_pls->parsed()) {
    request.script = mspc::platform::BuildFitPLSScript(pls_arguments);
    request.script_name = "fit pls";
    request.automation = false;
  } else if (fit->parsed()) {
    request.script = mspc::platform::BuildFitPCAScript(fit_arguments);
    request.script_name = "fit pca";
    request.automation = false;
    request.complete_script = mspc::platform::SelectAllContinuousVariables;
  } else if (demo->parsed()) {
    request.script = mspc::platform::BuildDemoScript(DemoDataPath());
    request.script_name = "demo";
    request.automation = false;
    request.complete_script = mspc::platform::SelectAllContinuousVariables;
  } else if (monitor->parsed()) {
    request.script = mspc::platform::BuildMonitorScript(monitor_arguments);
    request.script_name = "monitor";
    request.automation = false;
  }

  std::signal(SIGINT, OnInterrupt);
  const mspc::platform::RunStatus status = mspc::platform::RunAnalysis(request, std::cerr);
  if (!demo->parsed() || status != mspc::platform::RunStatus::kCompleted)
    return static_cast<int>(status);

  // The demo goes on to monitor a fault run with the model it has just saved.
  mspc::platform::RunRequest monitoring = request;
  monitoring.script = mspc::platform::BuildMonitorScript(
      {{(std::filesystem::path(request.out_dir) / "model.pmml").string()}, DemoMonitorPath(), {}});
  monitoring.script_name = "demo monitor";
  monitoring.complete_script = nullptr;
  monitoring.out_dir = (std::filesystem::path(request.out_dir) / "monitor").string();
  return static_cast<int>(mspc::platform::RunAnalysis(monitoring, std::cerr));
}
