#pragma once

#include <string>

#include "host/xml_document.hpp"

namespace mspc::platform {

/// Loads XML documents with pugixml and copies them into `XmlElement` trees. pugixml never
/// expands entities of a document type declaration; with `prohibit_dtd` a document that has
/// one is refused outright. Documents nested deeper than `kMaxDepth` elements are refused, and
/// `LoadFile` does not read files larger than `kMaxFileMegabytes`.
class PugiXmlParser : public XmlParser {
 public:
  static constexpr int kMaxDepth = 256;
  static constexpr int kMaxFileMegabytes = 256;

  XmlLoadResult LoadFile(const std::string& path, bool prohibit_dtd) const override;
  XmlLoadResult LoadText(const std::string& text, bool prohibit_dtd) const override;
};

}  // namespace mspc::platform
