// krv-mspc: the command-line host. Parses the arguments, builds or names the automation script,
// and hands it to the platform's runner.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>

#include "platform/host_runtime.hpp"
#include "platform/terminal_progress.hpp"

namespace {

extern "C" void OnInterrupt(int /*signal*/) { mspc::platform::TerminalProgress::RequestCancel(); }

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

  CLI11_PARSE(app, argc, argv);

  std::signal(SIGINT, OnInterrupt);
  const mspc::platform::RunStatus status = mspc::platform::RunAnalysis(request, std::cerr);
  return static_cast<int>(status);
}
