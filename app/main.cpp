// krv-mspc: the command-line host. Parses the arguments, builds or names the automation script,
// and hands it to the platform's runner.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <filesystem>
#include <iostream>

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
  fit->add_option("kind", kind, "The kind of model")->required()->check(CLI::IsMember({"pca"}));
  fit->add_option("--data", fit_arguments.data, "The data table (CSV)")->required();
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
  fit->add_option("--out", request.out_dir, "Folder for the reports")->capture_default_str();
  AddFormatOption(fit, &request.formats);

  CLI::App* demo = app.add_subcommand("demo", "Fit PCA to the bundled Tennessee Eastman run");
  demo->add_option("--out", request.out_dir, "Folder for the reports")->capture_default_str();
  AddFormatOption(demo, &request.formats);

  CLI11_PARSE(app, argc, argv);

  // `fit` and `demo` are the user's own commands, not automation: their notes are shown.
  if (fit->parsed()) {
    request.script = mspc::platform::BuildFitPCAScript(fit_arguments);
    request.script_name = "fit pca";
    request.automation = false;
    request.complete_script = mspc::platform::SelectAllContinuousVariables;
  } else if (demo->parsed()) {
    request.script = mspc::platform::BuildDemoScript(DemoDataPath());
    request.script_name = "demo";
    request.automation = false;
    request.complete_script = mspc::platform::SelectAllContinuousVariables;
  }

  std::signal(SIGINT, OnInterrupt);
  const mspc::platform::RunStatus status = mspc::platform::RunAnalysis(request, std::cerr);
  return static_cast<int>(status);
}
