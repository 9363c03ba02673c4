#include "platform/file_document_store.hpp"

#include <filesystem>
#include <system_error>

#include "host/messages.hpp"
#include "platform/file_io.hpp"

namespace mspc::platform {

bool FileDocumentStore::SaveDocument(const std::string& file_name,
                                     const std::string& text,
                                     std::string* error) {
  const bool plain = !file_name.empty() && file_name != "." && file_name != ".." &&
                     file_name.find_first_of(std::string("/\0", 2)) == std::string::npos;
  if (!plain) {
    *error = FormatMessage(MessageId::kDocumentNameNotPlain, file_name);
    return false;
  }
  const std::filesystem::path folder = folder_.empty() ? "." : folder_;
  std::error_code failure;
  std::filesystem::create_directories(folder, failure);
  if (failure) {
    *error = FormatMessage(MessageId::kFileCannotCreateFolder, folder.string(), failure.message());
    return false;
  }
  return WriteFileAtomically((folder / file_name).string(), text, error);
}

}  // namespace mspc::platform
