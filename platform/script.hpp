#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/column_table.hpp"

namespace mspc::platform {

/// One entry of an automation script: the dialog it drives, the properties it sets (in the
/// order written) and the commands it runs (in order). `line` is where the entry starts.
struct ScriptEntry {
  std::string dialog;
  std::vector<std::pair<std::string, nlohmann::ordered_json>> set;
  std::vector<std::string> commands;
  int line = 0;
};

/// An automation script: the data it runs on and the dialogs it drives.
struct Script {
  std::string data;
  std::string analysis = "full";  // "full" or "simple"
  std::optional<CaseSelection> select;
  std::string weight;
  std::vector<std::string> categorical;
  std::vector<ScriptEntry> steps;
};

struct ScriptParseResult {
  std::optional<Script> script;
  std::string error;  // "script.json:3: ..." when the script cannot be used
};

/// Parse and check the shape of a script. `source` names it in messages.
ScriptParseResult ParseScript(const std::string& text, const std::string& source);

/// The line (1-based) at which the byte offset `offset` of `text` lies.
int LineOfOffset(const std::string& text, std::size_t offset);

/// Write a script back as JSON text (used by --record).
std::string ScriptToText(const Script& script);

}  // namespace mspc::platform
