#pragma once

#include <string>
#include <utility>

#include "host/document_store.hpp"

namespace mspc::platform {

/// Saves exported documents and code into one output folder, each file whole or not at all.
class FileDocumentStore : public DocumentStore {
 public:
  /// Write into `folder`, which is created on the first save when it does not exist.
  explicit FileDocumentStore(std::string folder) : folder_(std::move(folder)) {}

  /// Save `text` as `file_name` in the output folder. The name must be a plain file name (no
  /// folder part), so that a name taken from a script cannot write elsewhere.
  bool SaveDocument(const std::string& file_name,
                    const std::string& text,
                    std::string* error) override;

  const std::string& folder() const { return folder_; }

 private:
  std::string folder_;
};

}  // namespace mspc::platform
