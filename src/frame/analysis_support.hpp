#pragma once

#include <string>
#include <vector>

#include "host/errors.hpp"
#include "host/host_services.hpp"

namespace mspc {

/// The host's analysis-support base: step machinery, progress bar, persistent settings,
/// automation state and message output, each forwarded to the host's services.
class CAnalysisSupport {
 public:
  virtual ~CAnalysisSupport() = default;

  /// Attach the host (the common initialisation); hands over the step table registered so far.
  void InitCommons(const HostServices& services);
  bool HasHost() const { return host_.steps != nullptr; }
  const HostServices& host() const { return host_; }
  /// Replace the host's input table (the host opened another file).
  void SetInputTable(DataTable* table) { host_.table = table; }

  void SetSequenceTable(std::vector<SequenceStep> table);
  const std::vector<SequenceStep>& SequenceTable() const { return sequence_table_; }
  void ForwardSequence(int step, int direction);
  void ExitDialog(int next_step, int direction, int flags);
  void OpenDialog(std::unique_ptr<AnalysisDialog> dialog);

  /// Show a progress bar with a caption and a step count.
  void dstart(const std::string& caption, int steps);
  void dstop();
  /// Poll the host's cancellation flag; throw `UserAbort` when the user cancelled.
  void PollCancel();

  int GetInitKeyword(const std::string& name, int default_value) const;
  void PutInitKeyword(const std::string& name, int value);
  bool IsOleAutomation() const { return host_.automation; }

  /// Show a message with its resource text formatted by `args`.
  template <typename... Args>
  void ShowMessage(MessageKind kind, MessageId id, const Args&... args) {
    ShowText(kind, id, FormatMessage(id, args...));
  }
  void ShowText(MessageKind kind, MessageId id, const std::string& text);

 private:
  HostServices host_;
  std::vector<SequenceStep> sequence_table_;
};

}  // namespace mspc
