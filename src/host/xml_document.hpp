#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mspc {

/// An element of a loaded XML document, copied out of the host's DOM.
struct XmlElement {
  std::string name;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::string text;  // the element's own character data
  std::vector<XmlElement> children;

  /// The value of an attribute, or null when the element has none of that name.
  const std::string* Attribute(std::string_view attribute) const {
    for (const auto& [key, value] : attributes) {
      if (key == attribute) return &value;
    }
    return nullptr;
  }
};

struct XmlLoadResult {
  bool loaded = false;
  XmlElement root;
  std::string error;  // why the document could not be loaded
};

/// The host's XML DOM parser. With `prohibit_dtd` a document that carries a document type
/// declaration is refused as not loadable, so no entity is ever expanded.
class XmlParser {
 public:
  virtual ~XmlParser() = default;
  virtual XmlLoadResult LoadFile(const std::string& path, bool prohibit_dtd) const = 0;
  virtual XmlLoadResult LoadText(const std::string& text, bool prohibit_dtd) const = 0;
};

}  // namespace mspc
