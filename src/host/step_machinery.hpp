#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "host/automation.hpp"

namespace mspc {

/// Directions of `ExitDialog`: back to an earlier step, forward to the next one. Modal
/// sub-dialogs end with 1 (OK) or 0 (Cancel) instead.
enum StepDirection : int { kDirectionBack = 1, kDirectionForward = 2 };

/// A dialog the host shows for one step; the host owns it from `OpenDialog` until the step ends.
class AnalysisDialog {
 public:
  virtual ~AnalysisDialog() = default;
  /// The dialog's automation twin.
  virtual AutomationObject& Automation() = 0;
};

/// One row of the step table: the step number, the operation run for it (returns -1 when it
/// opened its dialog, 0 otherwise) and the default successor (0 for none).
struct SequenceStep {
  int step = 0;
  std::function<int()> operation;
  int default_successor = 0;
};

/// The host's step machinery (the analysis-support base of the desktop host).
class StepMachinery {
 public:
  virtual ~StepMachinery() = default;
  /// Register the analysis's step table, rows in their stored order.
  virtual void SetSequenceTable(std::vector<SequenceStep> table) = 0;
  /// Ask the host to move to `step` in `direction`.
  virtual void ForwardSequence(int step, int direction) = 0;
  /// End the current dialog's step and name the next one (0 ends the sequence).
  virtual void ExitDialog(int next_step, int direction, int flags) = 0;
  /// Show the modeless dialog of the current step.
  virtual void OpenDialog(std::unique_ptr<AnalysisDialog> dialog) = 0;
};

}  // namespace mspc
