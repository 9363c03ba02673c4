#pragma once

#include <string>

#include "host/messages.hpp"

namespace mspc {

/// How the host presents a message: a stop (the analysis or command ends), a warning (the work
/// goes on, the user should look), or an informative note.
enum class MessageKind { kStop, kWarning, kNote };

/// The host's message boxes.
class MessageOutput {
 public:
  virtual ~MessageOutput() = default;
  /// Show one message with its resource id and the finished text.
  virtual void Show(MessageKind kind, MessageId id, const std::string& text) = 0;
};

}  // namespace mspc
