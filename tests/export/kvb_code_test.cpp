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

LoadedPCAModel Model(const std::vector<std::string>& names, const PCAReportOptions& options) {
  return testing::ExportedPCAModel(
      testing::ManufacturedData(20, 3, {2.0, 1.0}, 0.3, 14), names, 2, options);
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// Where `expected` occurs as consecutive lines of `lines`, or npos.
std::size_t FindBlock(const std::vector<std::string>& lines,
                      const std::vector<std::string>& expected) {
  const auto found = std::search(lines.begin(), lines.end(), expected.begin(), expected.end());
  return found == lines.end() ? std::string::npos : static_cast<std::size_t>(found - lines.begin());
}

TEST(PCAKVBCode, HasTheFixedSectionsTheFormattingFunctionAndTheChartRoutine) {
  const std::vector<std::string> lines =
      Lines(GeneratePCAKVBCode(Model({"a", "b", "c"}, PCAReportOptions{})));
  std::size_t previous = 0;
  for (const std::string title : {"' 1. Checking the InputDescriptor DataIn().",
                                  "' 2. Checking input data descriptor, variable selections, etc.",
                                  "' 3. Defining the variables.",
                                  "' 4. Model",
                                  "' 7. Error messages",
                                  "' 8. Error checking function",
                                  "'Check continuous and categorical variables for PCA"}) {
    const std::size_t at = FindBlock(lines, {title});
    ASSERT_NE(at, std::string::npos) << title;
    EXPECT_GT(at, previous) << title;
    previous = at;
  }
  EXPECT_NE(FindBlock(lines,
                      {"Private Function FormatDouble( mean As Double, NDigits As Integer ) As "
                       "String",
                       "FormatDouble = \"#.##\"",
                       "Dim MeanStr As String",
                       "Dim DigitStr As String",
                       "Dim FormatStr As String",
                       "DigitStr = \"0.0000000000000000\"",
                       "DigitStr = Left( DigitStr, NDigits )",
                       "FormatStr = \"#,##0.00000000000000000\" ';(#,##0.00000000000000000)\"",
                       "FormatStr = Left(FormatStr, NDigits+4)",
                       "FormatStr = FormatStr ' + \";(\" + FormatStr + \")\"",
                       "If Abs(mean) > 10^NDigits Or Abs(mean) < 0.1^NDigits Then",
                       "If mean <> 0 Then",
                       "MeanStr = Format( mean, DigitStr+\"E+00\" )",
                       "Else",
                       "MeanStr = Format( mean, Left(DigitStr,NDigits) )",
                       "End If",
                       "Else",
                       "MeanStr = Format( mean, FormatStr )",
                       "End If",
                       "FormatDouble = MeanStr",
                       "End Function"}),
            std::string::npos);
  EXPECT_NE(
      FindBlock(lines,
                {"Private Sub TSquareControlChart ( ss As Spreadsheet, _",
                 "NumberOfComponents As Long, _",
                 "TSControl As Integer, TSControlLimit As Double, TSControlLine As Double, _",
                 "TSWarning As Integer, TSWarningLimit As Double, TSWarningLine As Double )"}),
      std::string::npos);
  EXPECT_NE(FindBlock(lines, {"Dim NumberOfVariables As Long"}), std::string::npos);
}

TEST(PCAKVBCode, ControlSettingsCarryTheModelsLimits) {
  PCAReportOptions options;
  options.chart.warning = false;
  const LoadedPCAModel model = Model({"a", "b", "c"}, options);
  const std::vector<std::string> lines = Lines(GeneratePCAKVBCode(model));
  EXPECT_NE(FindBlock(lines,
                      {"TSControl=1",
                       "TSControlLimit=" + FormatDocumentReal(99.0),
                       "TSControlLine=" + FormatDocumentReal(model.t2.control_line),
                       "TSWarning=0",
                       "SPEControl=1",
                       "SPEControlLimit=" + FormatDocumentReal(99.0),
                       "SPEControlLine=" + FormatDocumentReal(model.spe.control_line),
                       "SPEWarning=0"}),
            std::string::npos);
  EXPECT_NE(
      FindBlock(lines,
                {"XScoreStds (2) = " + FormatDocumentReal(model.scores[1].standard_deviation),
                 "XScoreControlUpper (2) = " + FormatDocumentReal(model.scores[1].upper_control),
                 "XScoreControlLower (2) = " + FormatDocumentReal(model.scores[1].lower_control),
                 "XScoreWarningUpper (2) = " + FormatDocumentReal(model.scores[1].upper_warning),
                 "XScoreWarningLower (2) = " + FormatDocumentReal(model.scores[1].lower_warning)}),
      std::string::npos);
  EXPECT_NE(FindBlock(lines, {"Loadings(3, 2) = " + FormatDocumentReal(model.loadings(1, 2))}),
            std::string::npos);
}

TEST(PCAKVBCode, NamesNeverAddALineNorEndAString) {
  EXPECT_EQ(KVBString("a\"b\nc"), "\"a\"\"b c\"");
  const std::string plain = GeneratePCAKVBCode(Model({"a", "b", "c"}, PCAReportOptions{}));
  const std::string hostile =
      GeneratePCAKVBCode(Model({"a\r\nEnd Sub", "b\" & Kill \"x", "c'"}, PCAReportOptions{}));
  EXPECT_EQ(Lines(hostile).size(), Lines(plain).size());
  EXPECT_NE(hostile.find("ss.VariableName(2) <> \"b\"\" & Kill \"\"x\" Then"), std::string::npos);
  EXPECT_EQ(hostile.find("\nEnd Sub\nEnd Sub"), std::string::npos);
}

}  // namespace
}  // namespace mspc
