#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/errors.hpp"
#include "host/host_services.hpp"
#include "host/message_output.hpp"
#include "host/output_sink.hpp"

namespace mspc {

/// A message as the host received it.
struct RecordedMessage {
  MessageKind kind;
  MessageId id;
  std::string text;
};

/// A host that records what the analysis shows: every message and every report, in order.
class RecordingHost : public MessageOutput, public OutputSink {
 public:
  /// Services with this host as the message output and report sink, and the given table.
  HostServices Services(DataTable* table, bool automation = false);

  void Show(MessageKind kind, MessageId id, const std::string& text) override;
  void AddSpreadsheet(const Spreadsheet& sheet) override;
  void AddGraph(const Graph& graph) override;
  void AddText(const TextReport& text) override;

  const std::vector<RecordedMessage>& messages() const { return messages_; }
  const std::vector<Spreadsheet>& spreadsheets() const { return spreadsheets_; }
  const std::vector<Graph>& graphs() const { return graphs_; }
  const std::vector<TextReport>& texts() const { return texts_; }
  /// How many times the message was shown.
  int CountOf(MessageId id) const;

 private:
  std::vector<RecordedMessage> messages_;
  std::vector<Spreadsheet> spreadsheets_;
  std::vector<Graph> graphs_;
  std::vector<TextReport> texts_;
};

/// The message id a call stops with (`AnalysisStop`), or nothing when it returns.
template <typename Call>
std::optional<MessageId> StopId(Call&& call) {
  try {
    call();
  } catch (const AnalysisStop& stop) {
    return stop.id();
  }
  return std::nullopt;
}

}  // namespace mspc
