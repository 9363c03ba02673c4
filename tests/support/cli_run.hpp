#pragma once

// Runs of the built krv-mspc command line on tables written to a temporary folder.

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "models/dmatrix.hpp"
#include "platform/temp_folder.hpp"

namespace mspc::testing {

inline std::string Quoted(const std::string& text) { return "'" + text + "'"; }

// Run the command line with `arguments`, its error output into `stderr_path`; the exit status.
inline int RunCommandLine(const std::string& arguments, const std::string& stderr_path) {
  const std::string command =
      Quoted(MSPC_CLI_PATH) + " " + arguments + " > /dev/null 2> " + Quoted(stderr_path);
  const int raw = std::system(command.c_str());
  return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

// A JSON file the run wrote; an empty object when there is none.
inline nlohmann::json ReadJson(const std::string& path) {
  const std::string text = platform::testing::ReadText(path);
  return text.empty() ? nlohmann::json::object() : nlohmann::json::parse(text);
}

// `x` as a table of variables x1.. with every digit kept. With `batches`, each four rows are
// one batch (its number first) at the times 10 to 40.
inline std::string CsvOf(const DMatrix& x, bool batches = false) {
  std::string text = batches ? "batch,time," : "";
  for (std::size_t col = 0; col < x.cols(); ++col) {
    text += (col ? ",x" : "x") + std::to_string(col + 1);
  }
  text += "\n";
  for (std::size_t row = 0; row < x.rows(); ++row) {
    if (batches) {
      text += std::to_string(row / 4 + 1) + "," + std::to_string(10 * (row % 4 + 1)) + ",";
    }
    for (std::size_t col = 0; col < x.cols(); ++col) {
      char cell[40];
      std::snprintf(cell, sizeof cell, "%s%.17g", col ? "," : "", x(row, col));
      text += cell;
    }
    text += "\n";
  }
  return text;
}

}  // namespace mspc::testing
