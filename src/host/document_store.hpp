#pragma once

#include <string>

namespace mspc {

/// Where exported documents and code go: the host saves a text under a file name, whole or not
/// at all.
class DocumentStore {
 public:
  virtual ~DocumentStore() = default;
  /// Save `text` as `file_name`; false (with `error` filled) when it could not be written.
  virtual bool SaveDocument(const std::string& file_name,
                            const std::string& text,
                            std::string* error) = 0;
};

}  // namespace mspc
