#include "frame/model_export_commands.hpp"

#include "frame/mspc.hpp"
#include "host/document_store.hpp"

namespace mspc {

bool SaveAndShowExport(CMSPC& analysis,
                       const std::string& file_name,
                       MessageId title,
                       const std::string& text) {
  if (DocumentStore* documents = analysis.host().documents) {
    std::string error;
    if (!documents->SaveDocument(file_name, text, &error)) {
      analysis.ShowText(MessageKind::kStop,
                        MessageId::kDocumentNotSaved,
                        FormatMessage(MessageId::kDocumentNotSaved, file_name, error));
      return false;
    }
  }
  analysis.RouteOutput(TextReport{std::string(MessageText(title)), text});
  return true;
}

}  // namespace mspc
