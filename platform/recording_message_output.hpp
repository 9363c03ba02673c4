#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/message_output.hpp"

namespace mspc::platform {

/// One message as it was shown.
struct ShownMessage {
  MessageId id;
  MessageKind kind;
  std::string text;
};

/// "stop", "warning" or "note": the kind as the terminal and `messages.json` name it.
std::string_view MessageKindName(MessageKind kind);

/// Keeps every message in order, prints each as it comes ("warning: <text>") and writes them
/// all as `messages.json`.
class RecordingMessageOutput : public MessageOutput {
 public:
  /// Print to `stream` (standard error in the application); null prints nothing.
  explicit RecordingMessageOutput(std::ostream* stream) : stream_(stream) {}

  void Show(MessageKind kind, MessageId id, const std::string& text) override;

  const std::vector<ShownMessage>& messages() const { return messages_; }

  /// The JSON text `{"messages": [{"id": ..., "kind": ..., "text": ...}]}`.
  std::string ToJson() const;
  /// Write `ToJson()` to `path` whole or not at all; false with `error` filled on failure.
  bool Write(const std::string& path, std::string* error) const;

 private:
  std::ostream* stream_;
  std::vector<ShownMessage> messages_;
};

}  // namespace mspc::platform
