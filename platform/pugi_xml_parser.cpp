#include "platform/pugi_xml_parser.hpp"

#include <pugixml.hpp>
#include <utility>
#include <vector>

#include "host/messages.hpp"
#include "platform/file_io.hpp"

namespace mspc::platform {
namespace {

XmlLoadResult Refuse(std::string error) {
  XmlLoadResult result;
  result.error = std::move(error);
  return result;
}

bool HasDoctype(const pugi::xml_document& document) {
  for (const pugi::xml_node node : document.children()) {
    if (node.type() == pugi::node_doctype) return true;
  }
  return false;
}

// Copy an element's name, attributes and character data (its pcdata and CDATA children, in
// order) and make room for its element children.
void CopyElement(const pugi::xml_node node, XmlElement* element) {
  element->name = node.name();
  for (const pugi::xml_attribute attribute : node.attributes()) {
    element->attributes.emplace_back(attribute.name(), attribute.value());
  }
  std::size_t num_children = 0;
  for (const pugi::xml_node child : node.children()) {
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
      element->text += child.value();
    } else if (child.type() == pugi::node_element) {
      ++num_children;
    }
  }
  // Sized once and never grown again, so pointers to the children stay valid while the walk
  // below fills them in.
  element->children.resize(num_children);
}

}  // namespace

XmlLoadResult PugiXmlParser::LoadFile(const std::string& path, bool prohibit_dtd) const {
  std::string text;
  std::string error;
  if (!ReadWholeFile(path, &text, &error, kMaxFileMegabytes)) return Refuse(std::move(error));
  return LoadText(text, prohibit_dtd);
}

XmlLoadResult PugiXmlParser::LoadText(const std::string& text, bool prohibit_dtd) const {
  pugi::xml_document document;
  // parse_doctype keeps the declaration as a node, so that it can be seen and refused.
  const pugi::xml_parse_result parsed = document.load_buffer(
      text.data(), text.size(), pugi::parse_default | pugi::parse_doctype, pugi::encoding_auto);
  if (!parsed) {
    return Refuse(
        FormatMessage(MessageId::kXmlParseError, parsed.offset, std::string(parsed.description())));
  }
  if (prohibit_dtd && HasDoctype(document)) {
    return Refuse(FormatMessage(MessageId::kXmlDoctypeRefused));
  }

  XmlLoadResult result;
  // An explicit stack instead of recursion: the depth of a document is the author's choice,
  // the depth of our call stack is not.
  struct Pending {
    pugi::xml_node node;
    XmlElement* element;
    int depth;
  };
  std::vector<Pending> stack{{document.document_element(), &result.root, 1}};
  while (!stack.empty()) {
    const Pending current = stack.back();
    stack.pop_back();
    if (current.depth > kMaxDepth) {
      return Refuse(FormatMessage(MessageId::kXmlTooDeep, kMaxDepth));
    }
    CopyElement(current.node, current.element);
    std::size_t index = 0;
    for (const pugi::xml_node child : current.node.children()) {
      if (child.type() != pugi::node_element) continue;
      stack.push_back({child, &current.element->children[index++], current.depth + 1});
    }
  }
  result.loaded = true;
  return result;
}

}  // namespace mspc::platform
