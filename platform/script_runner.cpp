#include "platform/script_runner.hpp"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "host/errors.hpp"

namespace mspc::platform {
namespace {

using json = nlohmann::ordered_json;

template <typename T>
std::optional<std::vector<T>> ListOf(const json& value, bool (*accepts)(const json&)) {
  if (!value.is_array()) return std::nullopt;
  std::vector<T> items;
  for (const json& item : value) {
    if (!accepts(item)) return std::nullopt;
    items.push_back(item.get<T>());
  }
  return items;
}

bool IsWholeNumber(const json& value) {
  return value.is_number_integer() || value.is_number_unsigned();
}
bool IsNumber(const json& value) { return value.is_number(); }
bool IsString(const json& value) { return value.is_string(); }

}  // namespace

void ScriptStepMachinery::ExitDialog(int next_step, int /*direction*/, int /*flags*/) {
  pending_exit_ = next_step;
}

void ScriptStepMachinery::OpenDialog(std::unique_ptr<AnalysisDialog> dialog) {
  dialog_ = std::move(dialog);
}

const SequenceStep* ScriptStepMachinery::FindStep(int step) const {
  const auto found = std::find_if(
      table_.begin(), table_.end(), [step](const SequenceStep& row) { return row.step == step; });
  return found == table_.end() ? nullptr : &*found;
}

std::optional<int> ScriptStepMachinery::TakePendingExit() {
  return std::exchange(pending_exit_, std::nullopt);
}

std::optional<AutomationValue> ConvertScriptValue(const json& value, ValueType type) {
  // Each branch builds its value in place: GCC 12 at -O2 warns about variants moved out of
  // temporaries here (a false "may be used uninitialized"), which in-place emplacement avoids.
  std::optional<AutomationValue> result;
  switch (type) {
    case ValueType::kBool:
      if (value.is_boolean()) result.emplace(std::in_place_type<bool>, value.get<bool>());
      break;
    case ValueType::kInt:
      if (IsWholeNumber(value)) {
        result.emplace(std::in_place_type<std::int64_t>, value.get<std::int64_t>());
      }
      break;
    case ValueType::kDouble:
      if (value.is_number()) result.emplace(std::in_place_type<double>, value.get<double>());
      break;
    case ValueType::kString:
      if (value.is_string()) {
        result.emplace(std::in_place_type<std::string>, value.get<std::string>());
      }
      break;
    case ValueType::kStringList:
      if (auto items = ListOf<std::string>(value, IsString)) {
        result.emplace(std::in_place_type<std::vector<std::string>>, std::move(*items));
      }
      break;
    case ValueType::kIntList:
      if (auto items = ListOf<std::int64_t>(value, IsWholeNumber)) {
        result.emplace(std::in_place_type<std::vector<std::int64_t>>, std::move(*items));
      }
      break;
    case ValueType::kDoubleList:
      if (auto items = ListOf<double>(value, IsNumber)) {
        result.emplace(std::in_place_type<std::vector<double>>, std::move(*items));
      }
      break;
    case ValueType::kNumberMap: {
      if (!value.is_object()) break;
      std::map<std::string, double> items;
      for (const auto& [key, item] : value.items()) {
        if (!item.is_number()) return std::nullopt;
        items[key] = item.get<double>();
      }
      result.emplace(std::in_place_type<std::map<std::string, double>>, std::move(items));
      break;
    }
  }
  return result;
}

json ScriptValueOf(const AutomationValue& value) {
  return std::visit(
      [](const auto& item) -> json {
        using T = std::decay_t<decltype(item)>;
        if constexpr (std::is_same_v<T, double>) {
          // JSON has no NaN; an unset number is written as null.
          return std::isfinite(item) ? json(item) : json(nullptr);
        } else {
          return json(item);
        }
      },
      value);
}

ScriptRunner::ScriptRunner(HostServices services,
                           ScriptStepMachinery& machinery,
                           std::string script_name)
    : services_(services), machinery_(machinery), script_name_(std::move(script_name)) {}

void ScriptRunner::Refuse(MessageId id, const std::string& text) {
  if (services_.messages != nullptr) services_.messages->Show(MessageKind::kStop, id, text);
}

RunStatus ScriptRunner::Run(const Script& script, Script* recorded) {
  std::size_t next_entry = 0;
  int step = 100;
  while (const SequenceStep* found = machinery_.FindStep(step)) {
    // A copy of the row: the operation may register the step table again (Init does), which
    // replaces the rows, the running operation's among them.
    const SequenceStep row = *found;
    machinery_.TakePendingExit();
    // The operation's own answer (-1 when it opened its dialog) is what the desktop host uses
    // to enter the step; here the machinery knows directly whether a dialog is open.
    const RunStatus status = RunGuarded([&] {
      if (row.operation) row.operation();
      return true;
    });
    if (status != RunStatus::kCompleted) return status;

    AnalysisDialog* dialog = machinery_.dialog();
    if (dialog == nullptr) {
      // A step without a dialog (Init, an empty body) goes on to its default successor.
      if (auto exit = machinery_.TakePendingExit()) {
        step = *exit;
      } else if (row.default_successor != 0) {
        step = row.default_successor;
      } else {
        break;
      }
      continue;
    }

    // Feed the open dialog script entries until one of its commands ends the step.
    while (!machinery_.HasPendingExit()) {
      if (next_entry == script.steps.size()) return RunStatus::kCompleted;
      const ScriptEntry& entry = script.steps[next_entry++];
      ScriptEntry* record = nullptr;
      if (recorded != nullptr) {
        recorded->steps.push_back(ScriptEntry{entry.dialog, {}, {}, entry.line});
        record = &recorded->steps.back();
      }
      const RunStatus entry_status = DriveEntry(entry, *dialog, record);
      if (entry_status != RunStatus::kCompleted) return entry_status;
    }
    step = *machinery_.TakePendingExit();
    machinery_.CloseDialog();
  }

  if (next_entry < script.steps.size()) {
    const ScriptEntry& entry = script.steps[next_entry];
    Refuse(MessageId::kScriptEntryAfterEnd,
           FormatMessage(MessageId::kScriptEntryAfterEnd, script_name_, entry.line, entry.dialog));
    return RunStatus::kStopped;
  }
  return RunStatus::kCompleted;
}

RunStatus ScriptRunner::DriveEntry(const ScriptEntry& entry,
                                   AnalysisDialog& dialog,
                                   ScriptEntry* record) {
  AutomationObject& twin = dialog.Automation();
  if (entry.dialog != twin.TwinName()) {
    Refuse(MessageId::kScriptWrongDialog,
           FormatMessage(MessageId::kScriptWrongDialog,
                         script_name_,
                         entry.line,
                         twin.TwinName(),
                         entry.dialog));
    return RunStatus::kStopped;
  }
  if (!ApplyProperties(entry, twin)) return RunStatus::kStopped;

  RunStatus status = RunStatus::kCompleted;
  for (const std::string& command : entry.commands) {
    if (machinery_.HasPendingExit()) {
      Refuse(
          MessageId::kScriptCommandAfterExit,
          FormatMessage(
              MessageId::kScriptCommandAfterExit, script_name_, entry.line, entry.dialog, command));
      status = RunStatus::kStopped;
      break;
    }
    const bool known = HasCommand(twin, command);
    status = RunCommand(entry, twin, command);
    // A command the dialog has is recorded even when it was refused or stopped the analysis,
    // so that the recorded script replays the same run.
    if (record != nullptr && known) record->commands.push_back(command);
    if (status != RunStatus::kCompleted) break;
  }

  // The recorded entry holds every settable property as the dialog holds it now, corrections
  // included, so that replaying it gives the same run.
  if (record != nullptr) {
    for (const AutomationProperty& property : twin.Properties()) {
      if (!property.get || !property.put) continue;
      record->set.emplace_back(property.name, ScriptValueOf(property.get()));
    }
  }
  return status;
}

bool ScriptRunner::ApplyProperties(const ScriptEntry& entry, AutomationObject& twin) {
  const std::vector<AutomationProperty> properties = twin.Properties();
  auto find = [&](const std::string& name) -> const AutomationProperty* {
    const auto found = std::find_if(properties.begin(),
                                    properties.end(),
                                    [&](const AutomationProperty& p) { return p.name == name; });
    return found == properties.end() ? nullptr : &*found;
  };

  // Check every name and type before anything is applied.
  std::vector<std::pair<const AutomationProperty*, AutomationValue>> values;
  for (const auto& [name, value] : entry.set) {
    const AutomationProperty* property = find(name);
    if (property == nullptr) {
      Refuse(MessageId::kScriptUnknownProperty,
             FormatMessage(
                 MessageId::kScriptUnknownProperty, script_name_, entry.line, entry.dialog, name));
      return false;
    }
    if (!property->put) {
      Refuse(MessageId::kScriptReadOnlyProperty,
             FormatMessage(
                 MessageId::kScriptReadOnlyProperty, script_name_, entry.line, entry.dialog, name));
      return false;
    }
    std::optional<AutomationValue> converted = ConvertScriptValue(value, property->type);
    if (!converted) {
      Refuse(MessageId::kScriptWrongType,
             FormatMessage(MessageId::kScriptWrongType,
                           script_name_,
                           entry.line,
                           entry.dialog,
                           name,
                           std::string(ValueTypeName(property->type))));
      return false;
    }
    values.emplace_back(property, std::move(*converted));
  }

  // Apply in order; when a value is refused, put back what was there so nothing is half-applied.
  std::vector<std::pair<const AutomationProperty*, AutomationValue>> previous;
  for (const auto& [property, value] : values) {
    try {
      if (property->get) previous.emplace_back(property, property->get());
      property->put(value);
    } catch (const AutomationError& error) {
      for (auto undo = previous.rbegin(); undo != previous.rend(); ++undo) {
        try {
          undo->first->put(undo->second);
        } catch (const AutomationError&) {
          // The previous value was accepted before; if it is refused now there is nothing
          // better to restore.
        }
      }
      Refuse(MessageId::kScriptValueRefused,
             FormatMessage(MessageId::kScriptValueRefused,
                           script_name_,
                           entry.line,
                           entry.dialog,
                           property->name,
                           std::string(error.what())));
      return false;
    }
  }
  return true;
}

bool ScriptRunner::HasCommand(AutomationObject& twin, const std::string& name) {
  const std::vector<AutomationCommand> commands = twin.Commands();
  return std::any_of(commands.begin(), commands.end(), [&](const AutomationCommand& command) {
    return command.name == name;
  });
}

RunStatus ScriptRunner::RunCommand(const ScriptEntry& entry,
                                   AutomationObject& twin,
                                   const std::string& name) {
  const std::vector<AutomationCommand> commands = twin.Commands();
  const auto found = std::find_if(
      commands.begin(), commands.end(), [&](const AutomationCommand& c) { return c.name == name; });
  if (found == commands.end()) {
    Refuse(MessageId::kScriptUnknownCommand,
           FormatMessage(
               MessageId::kScriptUnknownCommand, script_name_, entry.line, entry.dialog, name));
    return RunStatus::kStopped;
  }
  return RunGuarded(found->run);
}

RunStatus ScriptRunner::RunGuarded(const std::function<bool()>& body) {
  try {
    return body() ? RunStatus::kCompleted : RunStatus::kStopped;
  } catch (const AnalysisStop& stop) {
    Refuse(stop.id(), stop.text());
  } catch (const UserAbort&) {
    if (services_.messages != nullptr) {
      services_.messages->Show(MessageKind::kNote,
                               MessageId::kCancelledByUser,
                               std::string(MessageText(MessageId::kCancelledByUser)));
    }
    return RunStatus::kCancelled;
  } catch (const std::bad_alloc&) {
    Refuse(MessageId::kMemoryAllocationFailed,
           std::string(MessageText(MessageId::kMemoryAllocationFailed)));
  } catch (const std::exception& error) {
    Refuse(MessageId::kExceptionInAnalysisMethod,
           std::string(MessageText(MessageId::kExceptionInAnalysisMethod)) + " " + error.what());
  } catch (...) {
    Refuse(MessageId::kUnexpectedErrorInAnalysisMethod,
           std::string(MessageText(MessageId::kUnexpectedErrorInAnalysisMethod)));
  }
  return RunStatus::kStopped;
}

}  // namespace mspc::platform
