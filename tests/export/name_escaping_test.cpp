// Names come from the user's table and may hold anything. They must come back unchanged
// through a model document, and they can never end a comment or a string of generated code.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "deploy/pls_document.hpp"
#include "export/c_code.hpp"
#include "export/export_test_support.hpp"
#include "export/kvb_code.hpp"
#include "support/compile_c.hpp"

namespace mspc {
namespace {

using testing::Parse;
const std::vector<std::string> kHostile = {"line\nbreak\r\nEnd Sub",
                                           "comment */ int x; /*",
                                           "quote \" and ' apostrophe",
                                           "trigraph ?\?/",
                                           "ends in a backslash \\",
                                           "ends in a continuation _",
                                           "\"/><PCA/><x y=\"&amp;"};
const std::vector<std::string> kPlain = {"a", "b", "c", "d", "e", "f", "g"};

LoadedPCAModel PCAModel(const std::vector<std::string>& names) {
  LoadedPCAModel model = testing::ExportedPCAModel(
      testing::ManufacturedData(15, names.size(), {2.0, 1.0}, 0.3, 5), names, 2);
  model.title = names[4];
  model.data_source = names[5];
  return model;
}

// Two dependents named by the first two names, predictors by the others.
LoadedPLSModel PLSModel(const std::vector<std::string>& names) {
  const DMatrix x = testing::ManufacturedData(15, names.size() - 2, {2.0, 1.0}, 0.3, 6);
  const DMatrix y = testing::LinearResponse(
      x, std::vector<std::vector<double>>(x.cols(), {0.5, -0.5}), {1.0, 2.0}, 0.1, 3);
  const WorkingData predictors =
      testing::ContinuousData(x, std::vector<std::string>(names.begin() + 2, names.end()));
  const WorkingData dependents = testing::ContinuousData(y, {names[0], names[1]});
  LoadedPLSModel model = testing::ExportedPLSModel(
      testing::FittedPLSEngine(x, y, predictors, dependents, 2), predictors, dependents);
  model.title = names[5];
  model.data_source = names[4];
  return model;
}

std::size_t LineCount(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(NameEscaping, EveryNameComesBackFromTheDocumentAsItWasWritten) {
  std::string pca_text;
  WritePCADocument(PCAModel(kHostile), pca_text);
  const LoadedPCAModel pca = ReadPCADocument(Parse(pca_text));
  ASSERT_EQ(pca.fields.size(), kHostile.size());
  for (std::size_t f = 0; f < kHostile.size(); ++f) EXPECT_EQ(pca.fields[f].name, kHostile[f]);

  std::string pls_text;
  WritePLSDocument(PLSModel(kHostile), pls_text);
  const LoadedPLSModel pls = ReadPLSDocument(Parse(pls_text));
  ASSERT_EQ(pls.dependent_fields.size(), 2u);
  ASSERT_EQ(pls.predictor_fields.size(), kHostile.size() - 2);
  EXPECT_EQ(pls.dependent_fields[0].name, kHostile[0]);
  EXPECT_EQ(pls.dependent_fields[1].name, kHostile[1]);
  for (std::size_t f = 2; f < kHostile.size(); ++f) {
    EXPECT_EQ(pls.predictor_fields[f - 2].name, kHostile[f]);
  }
}

TEST(NameEscaping, GeneratedCWithAnyNameCompilesAndKeepsItsLines) {
  const std::string pca = GeneratePCACCode(PCAModel(kHostile));
  const std::string pls = GeneratePLSCCode(PLSModel(kHostile));
  EXPECT_EQ(LineCount(pca), LineCount(GeneratePCACCode(PCAModel(kPlain))));
  EXPECT_EQ(LineCount(pls), LineCount(GeneratePLSCCode(PLSModel(kPlain))));
  for (const auto& [name, code] : {std::pair{"pca.c", pca}, std::pair{"pls.c", pls}}) {
    // Every line that carries a name is a line comment, and no comment continues onto the next
    // line through a final backslash.
    for (std::size_t start = 0, end = 0; start < code.size(); start = end + 1) {
      end = code.find('\n', start);
      const std::string line = code.substr(start, end - start);
      if (line.find("backslash") != std::string::npos || line.find("quote") != std::string::npos) {
        EXPECT_EQ(line.rfind("//", 0), 0u) << line;
      }
      EXPECT_TRUE(line.empty() || line.back() != '\\') << line;
    }
    testing::ExpectCompiles(code, name);
  }
}

TEST(NameEscaping, GeneratedKVBWithAnyNameKeepsItsLinesAndStrings) {
  EXPECT_EQ(KVBString("a\"b\nc"), "\"a\"\"b c\"");
  const std::string pca = GeneratePCAKVBCode(PCAModel(kHostile));
  EXPECT_EQ(LineCount(pca), LineCount(GeneratePCAKVBCode(PCAModel(kPlain))));
  EXPECT_EQ(pca.find("\nEnd Sub\nEnd Sub"), std::string::npos);
  const std::string hostile = GeneratePLSKVBCode(PLSModel(kHostile));
  EXPECT_EQ(LineCount(hostile), LineCount(GeneratePLSKVBCode(PLSModel(kPlain))));
  // Neither the title nor the data source at the end of a comment line continues it.
  EXPECT_NE(hostile.find("' Korvane MSPC, ends in a continuation _.\n"), std::string::npos);
  // A quote inside a name is doubled, so the literal ends where the name does.
  EXPECT_NE(hostile.find("<> \"quote \"\" and ' apostrophe\" Then"), std::string::npos);
  EXPECT_NE(pca.find("<> \"quote \"\" and ' apostrophe\" Then"), std::string::npos);
}

}  // namespace
}  // namespace mspc
