#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/automation.hpp"
#include "host/host_services.hpp"
#include "platform/script.hpp"

namespace mspc::platform {

/// How a run ended, and the process exit status that says so.
enum class RunStatus { kCompleted = 0, kInputError = 1, kStopped = 2, kCancelled = 3 };

/// The host's step machinery when a script drives the analysis: it keeps the step table and the
/// open dialog, and notes the step that `ExitDialog` names. The dialog that asked to leave is
/// destroyed by the runner after its command has returned.
class ScriptStepMachinery : public StepMachinery {
 public:
  void SetSequenceTable(std::vector<SequenceStep> table) override { table_ = std::move(table); }
  void ForwardSequence(int step, int direction) override { ExitDialog(step, direction, 0); }
  void ExitDialog(int next_step, int direction, int flags) override;
  void OpenDialog(std::unique_ptr<AnalysisDialog> dialog) override;

  const SequenceStep* FindStep(int step) const;
  AnalysisDialog* dialog() { return dialog_.get(); }
  void CloseDialog() { dialog_.reset(); }
  std::optional<int> TakePendingExit();
  bool HasPendingExit() const { return pending_exit_.has_value(); }

 private:
  std::vector<SequenceStep> table_;
  std::unique_ptr<AnalysisDialog> dialog_;
  std::optional<int> pending_exit_;
};

/// Convert a script value to the automation value of a property's type; nullopt when the JSON
/// value has another type (a string for an integer, 2.5 for an integer, ...).
std::optional<AutomationValue> ConvertScriptValue(const nlohmann::ordered_json& value,
                                                  ValueType type);
/// The JSON form of an automation value, for recorded scripts.
nlohmann::ordered_json ScriptValueOf(const AutomationValue& value);

/// Drives an analysis's steps from a script, as the desktop host's macro player would: runs
/// each step's operation, matches the open dialog with the next script entry, applies its
/// properties all-or-nothing, runs its commands, and follows `ExitDialog` to the next step.
class ScriptRunner {
 public:
  ScriptRunner(HostServices services, ScriptStepMachinery& machinery, std::string script_name);

  /// Run `script` from step 100 on the analysis whose step table the machinery holds (the
  /// analysis has been given the host with `InitCommons`). With `recorded`, every entry met is
  /// written back with every property of its dialog.
  RunStatus Run(const Script& script, Script* recorded);

 private:
  RunStatus DriveEntry(const ScriptEntry& entry, AnalysisDialog& dialog, ScriptEntry* record);
  bool ApplyProperties(const ScriptEntry& entry, AutomationObject& twin);
  static bool HasCommand(AutomationObject& twin, const std::string& name);
  RunStatus RunCommand(const ScriptEntry& entry, AutomationObject& twin, const std::string& name);
  RunStatus RunGuarded(const std::function<bool()>& body);
  void Refuse(MessageId id, const std::string& text);

  HostServices services_;
  ScriptStepMachinery& machinery_;
  std::string script_name_;
};

}  // namespace mspc::platform
