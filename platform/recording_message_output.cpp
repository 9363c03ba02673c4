#include "platform/recording_message_output.hpp"

#include <nlohmann/json.hpp>

#include "platform/file_io.hpp"

namespace mspc::platform {

std::string_view MessageKindName(MessageKind kind) {
  switch (kind) {
    case MessageKind::kStop:
      return "stop";
    case MessageKind::kWarning:
      return "warning";
    case MessageKind::kNote:
      return "note";
  }
  return "note";
}

void RecordingMessageOutput::Show(MessageKind kind, MessageId id, const std::string& text) {
  messages_.push_back({id, kind, text});
  if (stream_ != nullptr) {
    *stream_ << MessageKindName(kind) << ": " << text << '\n';
    stream_->flush();
  }
}

std::string RecordingMessageOutput::ToJson() const {
  using json = nlohmann::ordered_json;
  json list = json::array();
  for (const ShownMessage& message : messages_) {
    list.push_back({{"id", static_cast<int>(message.id)},
                    {"kind", std::string(MessageKindName(message.kind))},
                    {"text", message.text}});
  }
  const json document = {{"messages", std::move(list)}};
  return document.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

bool RecordingMessageOutput::Write(const std::string& path, std::string* error) const {
  return WriteFileAtomically(path, ToJson(), error);
}

}  // namespace mspc::platform
