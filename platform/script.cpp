#include "platform/script.hpp"

#include <algorithm>
#include <set>

namespace mspc::platform {
namespace {

using json = nlohmann::ordered_json;

// Byte offsets at which each `"dialog"` key appears, in order: entry k of `steps` starts at the
// k-th of them. nlohmann::json keeps no positions, and the entries are the only objects that
// carry a "dialog" key, so this finds the line of every entry for the messages.
std::vector<std::size_t> DialogKeyOffsets(const std::string& text) {
  std::vector<std::size_t> offsets;
  const std::string key = "\"dialog\"";
  for (std::size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1)) {
    offsets.push_back(at);
  }
  return offsets;
}

std::string Where(const std::string& source, int line) {
  return source + ":" + std::to_string(line) + ": ";
}

}  // namespace

int LineOfOffset(const std::string& text, std::size_t offset) {
  offset = std::min(offset, text.size());
  return 1 + static_cast<int>(std::count(
                 text.begin(), text.begin() + static_cast<std::ptrdiff_t>(offset), '\n'));
}

ScriptParseResult ParseScript(const std::string& text, const std::string& source) {
  ScriptParseResult result;
  json document;
  try {
    document = json::parse(text);
  } catch (const json::parse_error& error) {
    result.error = Where(source, LineOfOffset(text, error.byte > 0 ? error.byte - 1 : 0)) +
                   "the script is not valid JSON (" + error.what() + ")";
    return result;
  } catch (const json::exception& error) {
    // A number too large for a double is refused after the syntax is read; the parser does not
    // say where, so the message names the script only.
    result.error = Where(source, 1) + "the script is not valid JSON (" + error.what() + ")";
    return result;
  }
  if (!document.is_object()) {
    result.error = Where(source, 1) + "the script must be a JSON object with a \"steps\" list";
    return result;
  }

  static const std::set<std::string> kKnownKeys = {
      "data", "analysis", "select", "weight", "categorical", "steps"};
  for (const auto& [key, value] : document.items()) {
    if (kKnownKeys.count(key) == 0) {
      result.error = Where(source, 1) + "unknown script key \"" + key + "\"";
      return result;
    }
  }

  Script script;
  auto fail = [&](int line, const std::string& message) {
    result.error = Where(source, line) + message;
    return result;
  };
  if (document.contains("data")) {
    if (!document["data"].is_string()) return fail(1, "\"data\" must be a file name");
    script.data = document["data"].get<std::string>();
  }
  if (document.contains("analysis")) {
    const json& analysis = document["analysis"];
    if (!analysis.is_string() || (analysis != "full" && analysis != "simple")) {
      return fail(1, "\"analysis\" must be \"full\" or \"simple\"");
    }
    script.analysis = analysis.get<std::string>();
  }
  if (document.contains("weight")) {
    if (!document["weight"].is_string()) return fail(1, "\"weight\" must be a variable name");
    script.weight = document["weight"].get<std::string>();
  }
  if (document.contains("categorical")) {
    const json& categorical = document["categorical"];
    if (!categorical.is_array() ||
        !std::all_of(categorical.begin(), categorical.end(), [](const json& item) {
          return item.is_string();
        })) {
      return fail(1, "\"categorical\" must be a list of variable names");
    }
    script.categorical = categorical.get<std::vector<std::string>>();
  }
  if (document.contains("select")) {
    const json& select = document["select"];
    const bool shaped = select.is_object() && select.contains("variable") &&
                        select["variable"].is_string() &&
                        (select.contains("in") != select.contains("notIn")) && select.size() == 2;
    if (!shaped) {
      return fail(1,
                  "\"select\" must be {\"variable\": NAME, \"in\": [values]} or "
                  "{\"variable\": NAME, \"notIn\": [values]}");
    }
    CaseSelection selection;
    selection.variable = select["variable"].get<std::string>();
    selection.mode = select.contains("notIn") ? SelectionMode::kNotIn : SelectionMode::kIn;
    const json& values = select.contains("notIn") ? select["notIn"] : select["in"];
    if (!values.is_array() || values.empty() ||
        !std::all_of(values.begin(), values.end(), [](const json& item) {
          return item.is_number() || item.is_string();
        })) {
      return fail(1, "the values of \"select\" must be a non-empty list of codes or labels");
    }
    for (const json& value : values) {
      if (value.is_string()) {
        selection.values.emplace_back(value.get<std::string>());
      } else {
        selection.values.emplace_back(value.get<double>());
      }
    }
    script.select = std::move(selection);
  }

  if (!document.contains("steps") || !document["steps"].is_array()) {
    return fail(1, "the script needs a \"steps\" list");
  }
  const std::vector<std::size_t> entry_offsets = DialogKeyOffsets(text);
  const json& steps = document["steps"];
  for (std::size_t index = 0; index < steps.size(); ++index) {
    const json& item = steps[index];
    const int line = index < entry_offsets.size() ? LineOfOffset(text, entry_offsets[index]) : 1;
    const std::string name = "steps[" + std::to_string(index) + "]";
    if (!item.is_object() || !item.contains("dialog") || !item["dialog"].is_string()) {
      return fail(line, name + " must be an object with a \"dialog\" name");
    }
    ScriptEntry entry;
    entry.dialog = item["dialog"].get<std::string>();
    entry.line = line;
    for (const auto& [key, value] : item.items()) {
      if (key != "dialog" && key != "set" && key != "do") {
        return fail(line, name + " (" + entry.dialog + "): unknown key \"" + key + "\"");
      }
    }
    if (item.contains("set")) {
      if (!item["set"].is_object()) {
        return fail(line, name + " (" + entry.dialog + "): \"set\" must be an object");
      }
      for (const auto& [key, value] : item["set"].items()) entry.set.emplace_back(key, value);
    }
    if (item.contains("do")) {
      const json& commands = item["do"];
      if (!commands.is_array() ||
          !std::all_of(commands.begin(), commands.end(), [](const json& command) {
            return command.is_string();
          })) {
        return fail(line, name + " (" + entry.dialog + "): \"do\" must be a list of commands");
      }
      entry.commands = commands.get<std::vector<std::string>>();
    }
    script.steps.push_back(std::move(entry));
  }
  result.script = std::move(script);
  return result;
}

std::string ScriptToText(const Script& script) {
  json document = json::object();
  if (!script.data.empty()) document["data"] = script.data;
  document["analysis"] = script.analysis;
  if (script.select) {
    json values = json::array();
    for (const SelectionValue& value : script.select->values) {
      std::visit([&values](const auto& item) { values.push_back(item); }, value);
    }
    const bool exclude = script.select->mode == SelectionMode::kNotIn;
    document["select"] = {{"variable", script.select->variable},
                          {exclude ? "notIn" : "in", values}};
  }
  if (!script.weight.empty()) document["weight"] = script.weight;
  if (!script.categorical.empty()) document["categorical"] = script.categorical;
  json steps = json::array();
  for (const ScriptEntry& entry : script.steps) {
    json set = json::object();
    for (const auto& [name, value] : entry.set) set[name] = value;
    steps.push_back({{"dialog", entry.dialog}, {"set", set}, {"do", entry.commands}});
  }
  document["steps"] = steps;
  return document.dump(2) + "\n";
}

}  // namespace mspc::platform
