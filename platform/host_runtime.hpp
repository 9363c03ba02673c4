#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "platform/output_formats.hpp"
#include "platform/script.hpp"
#include "platform/script_runner.hpp"

namespace mspc::platform {

/// One run of the analysis: a script (from a file or built by a command), where its data and
/// outputs are, and whether it is an automation run.
struct RunRequest {
  std::string script_path;             // the script file; empty when `script` is given
  std::optional<Script> script;        // a script built by a command (fit, demo)
  std::string script_name = "script";  // names a built script in messages
  std::string data_override;           // replaces the script's data file when not empty
  std::string out_dir = "out";
  std::string record_path;  // write the run's script here when not empty
  OutputFormats formats;
  bool automation = true;  // run by script: informative notes are not shown
  bool progress_on_terminal = false;
  /// Completes the script once the table is loaded (a command that selects the table's
  /// variables); may be empty.
  std::function<void(Script&, const DataTable&)> complete_script;
};

/// Load the script and the data table, run the analysis through its steps, and write the
/// outputs (reports, messages, recorded script). Messages go to `err` as well. Returns the run
/// status; the outputs are written whatever the status. A cancel requested before the fit
/// polls (Ctrl-C while the table is read, say) stops the run at its first poll.
RunStatus RunAnalysis(const RunRequest& request, std::ostream& err);

}  // namespace mspc::platform
