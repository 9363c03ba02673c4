#include "platform/pugi_xml_parser.hpp"

#include <gtest/gtest.h>

#include "platform/temp_folder.hpp"

namespace mspc::platform {
namespace {

std::string Nested(int depth) {
  std::string text;
  for (int level = 0; level < depth; ++level) text += "<e>";
  for (int level = 0; level < depth; ++level) text += "</e>";
  return text;
}

TEST(PugiXmlParser, DocumentBecomesATreeOfElements) {
  const XmlLoadResult result = PugiXmlParser().LoadText(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- exported model -->\n"
      "<PMML version=\"4.1\">\n"
      "  <Header copyright=\"&lt;none&gt;\">T\xC2\xB2 <![CDATA[a<b]]> &amp; more</Header>\n"
      "  <DataDictionary><DataField name=\"x1\"/><DataField name=\"x2\" optype=\"c\"/>"
      "</DataDictionary>\n</PMML>",
      /*prohibit_dtd=*/true);
  ASSERT_TRUE(result.loaded) << result.error;
  const XmlElement& root = result.root;
  EXPECT_EQ(root.name, "PMML");
  EXPECT_EQ(*root.Attribute("version"), "4.1");
  EXPECT_EQ(root.Attribute("missing"), nullptr);
  ASSERT_EQ(root.children.size(), 2u);
  EXPECT_EQ(*root.children[0].Attribute("copyright"), "<none>");
  EXPECT_EQ(root.children[0].text, "T\xC2\xB2 a<b & more");
  const XmlElement& dictionary = root.children[1];
  ASSERT_EQ(dictionary.children.size(), 2u);
  EXPECT_EQ(dictionary.children[1].attributes,
            (std::vector<std::pair<std::string, std::string>>{{"name", "x2"}, {"optype", "c"}}));
}

TEST(PugiXmlParser, DocumentTypeDeclarationIsRefusedWhenProhibited) {
  const std::string text = "<!DOCTYPE r [<!ENTITY e \"boom\">]><r>&e;</r>";
  EXPECT_EQ(PugiXmlParser().LoadText(text, /*prohibit_dtd=*/true).error,
            "The document has a document type declaration, which is not allowed.");
  // Allowed, the declaration is still never used: the entity stays unexpanded.
  const XmlLoadResult allowed = PugiXmlParser().LoadText(text, /*prohibit_dtd=*/false);
  ASSERT_TRUE(allowed.loaded) << allowed.error;
  EXPECT_EQ(allowed.root.text.find("boom"), std::string::npos);
}

TEST(PugiXmlParser, NestingIsLimitedTo256Levels) {
  const XmlLoadResult deepest = PugiXmlParser().LoadText(Nested(256), true);
  ASSERT_TRUE(deepest.loaded) << deepest.error;
  int depth = 1;
  for (const XmlElement* element = &deepest.root; !element->children.empty(); ++depth) {
    element = &element->children.front();
  }
  EXPECT_EQ(depth, 256);
  for (const int too_deep : {257, 200000}) {
    EXPECT_EQ(PugiXmlParser().LoadText(Nested(too_deep), true).error,
              "The document nests its elements deeper than 256 levels.");
  }
}

TEST(PugiXmlParser, MalformedDocumentsAndFilesGiveMessages) {
  const PugiXmlParser parser;
  EXPECT_EQ(parser.LoadText("<a><b></a>", true).error,
            "XML parse error at offset 8: Start-end tags mismatch.");
  EXPECT_FALSE(parser.LoadText("", true).loaded);
  testing::TempFolder folder;
  const XmlLoadResult from_file = parser.LoadFile(folder.Write("m.xml", "<m a='1'/>"), true);
  ASSERT_TRUE(from_file.loaded) << from_file.error;
  EXPECT_EQ(*from_file.root.Attribute("a"), "1");
  const std::string big = folder.Write("big.xml", "");
  std::filesystem::resize_file(big, (256u << 20) + 1);  // sparse: costs no disk
  EXPECT_EQ(parser.LoadFile(big, true).error, big + ": the file is larger than 256 MB.");
}

}  // namespace
}  // namespace mspc::platform
