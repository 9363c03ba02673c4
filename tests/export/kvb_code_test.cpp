#include "export/kvb_code.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "export/export_test_support.hpp"
#include "export/model_document.hpp"
#include "pca/pca_reports.hpp"
#include "platform/boost_probability.hpp"

namespace mspc {
namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// `expected` occurs as consecutive lines of `lines`.
bool HasBlock(const std::vector<std::string>& lines, const std::vector<std::string>& expected) {
  return std::search(lines.begin(), lines.end(), expected.begin(), expected.end()) != lines.end();
}

// The fixed sections are pinned by the golden files; here the settings without warning limits.
TEST(PCAKVBCode, ControlSettingsCarryTheModelsLimits) {
  PCAReportOptions options;
  options.chart.warning = false;
  const LoadedPCAModel model = testing::ExportedPCAModel(
      testing::ManufacturedData(20, 3, {2.0, 1.0}, 0.3, 14), {"a", "b", "c"}, 2, options);
  const std::vector<std::string> lines = Lines(GeneratePCAKVBCode(model));
  EXPECT_TRUE(HasBlock(lines,
                       {"TSControl=1",
                        "TSControlLimit=" + FormatDocumentReal(99.0),
                        "TSControlLine=" + FormatDocumentReal(model.t2.control_line),
                        "TSWarning=0",
                        "SPEControl=1",
                        "SPEControlLimit=" + FormatDocumentReal(99.0),
                        "SPEControlLine=" + FormatDocumentReal(model.spe.control_line),
                        "SPEWarning=0"}));
  EXPECT_TRUE(
      HasBlock(lines,
               {"XScoreStds (2) = " + FormatDocumentReal(model.scores[1].standard_deviation),
                "XScoreControlUpper (2) = " + FormatDocumentReal(model.scores[1].upper_control),
                "XScoreControlLower (2) = " + FormatDocumentReal(model.scores[1].lower_control),
                "XScoreWarningUpper (2) = " + FormatDocumentReal(model.scores[1].upper_warning),
                "XScoreWarningLower (2) = " + FormatDocumentReal(model.scores[1].lower_warning)}));
  EXPECT_TRUE(HasBlock(lines, {"Loadings(3, 2) = " + FormatDocumentReal(model.loadings(1, 2))}));
}

}  // namespace
}  // namespace mspc
