#include "support/recording_host.hpp"

#include <algorithm>

namespace mspc {

HostServices RecordingHost::Services(DataTable* table, bool automation) {
  HostServices services;
  services.messages = this;
  services.output = this;
  services.table = table;
  services.automation = automation;
  return services;
}

void RecordingHost::Show(MessageKind kind, MessageId id, const std::string& text) {
  messages_.push_back({kind, id, text});
}

void RecordingHost::AddSpreadsheet(const Spreadsheet& sheet) { spreadsheets_.push_back(sheet); }
void RecordingHost::AddGraph(const Graph& graph) { graphs_.push_back(graph); }
void RecordingHost::AddText(const TextReport& text) { texts_.push_back(text); }

int RecordingHost::CountOf(MessageId id) const {
  return static_cast<int>(
      std::count_if(messages_.begin(), messages_.end(), [id](const RecordedMessage& message) {
        return message.id == id;
      }));
}

}  // namespace mspc
