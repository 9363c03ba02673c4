#include "platform/output_formats.hpp"

#include "host/messages.hpp"
#include "platform/number_text.hpp"

namespace mspc::platform {

std::optional<OutputFormats> ParseOutputFormats(std::string_view text, std::string* error) {
  OutputFormats formats{false, false, false};
  while (true) {
    const std::size_t comma = text.find(',');
    const std::string_view item = TrimBlanks(text.substr(0, comma));
    std::string name(item);
    for (char& c : name) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    if (name == "json") {
      formats.json = true;
    } else if (name == "xlsx") {
      formats.xlsx = true;
    } else if (name == "html") {
      formats.html = true;
    } else {
      *error = FormatMessage(MessageId::kOutputFormatUnknown, std::string(item));
      return std::nullopt;
    }
    if (comma == std::string_view::npos) return formats;
    text.remove_prefix(comma + 1);
  }
}

}  // namespace mspc::platform
