#include "export/c_code.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "deploy/pca_deployment.hpp"
#include "export/export_test_support.hpp"
#include "platform/temp_folder.hpp"
#include "support/compile_c.hpp"

namespace mspc {
namespace {

using testing::ExportedPCAModel;

TEST(PCACCode, NamesCannotLeaveTheirComment) {
  EXPECT_EQ(CommentSafe("a\nb\r\tc"), "a b  c");
  EXPECT_EQ(CommentSafe("x?\?/y"), "x? ?/y");
  EXPECT_EQ(CommentSafe("*/ \"q\""), "*/ \"q\"");
}

// Compile the generated code with a driver that scores `cases`, run it, and read back per case
// the components, T² and SPE(Q).
std::vector<std::vector<double>> CompileAndRun(const std::string& code,
                                               const DMatrix& cases,
                                               int components,
                                               const platform::testing::TempFolder& folder) {
  std::ostringstream driver;
  driver << "#include <math.h>\n#include <stdio.h>\n"
         << "int MSPCPCAStatistics(const double *x, double *c, double *t2, double *spe);\n"
         << "int main(void) {\n  static const double cases[" << cases.rows() << "]["
         << cases.cols() + 1 << "] = {\n";
  for (std::size_t row = 0; row < cases.rows(); ++row) {
    driver << "    {" << row + 1;
    for (std::size_t col = 0; col < cases.cols(); ++col) {
      char number[40];
      std::snprintf(number, sizeof number, "%.17g", cases(row, col));
      driver << ", " << (std::isnan(cases(row, col)) ? std::string("NAN") : std::string(number));
    }
    driver << "},\n";
  }
  driver << "  };\n  double c[" << components + 1 << "];\n  double t2;\n  double spe;\n"
         << "  int row;\n  int a;\n  if (MSPCPCAStatistics(cases[0], NULL, &t2, &spe) != 0) "
            "return 1;\n"
         << "  for (row = 0; row < " << cases.rows() << "; ++row) {\n"
         << "    if (MSPCPCAStatistics(cases[row], c, &t2, &spe) != " << components
         << ") return 1;\n"
         << "    for (a = 0; a < " << components << "; ++a) printf(\"%.17g \", c[a]);\n"
         << "    printf(\"%.17g %.17g\\n\", t2, spe);\n  }\n  return 0;\n}\n";
  const std::string program = folder.File("score");
  std::string output;
  EXPECT_EQ(testing::RunPiped(testing::kStrictC99 + "-o '" + program + "' '" +
                                  folder.Write("model.c", code) + "' '" +
                                  folder.Write("driver.c", driver.str()) + "' -lm",
                              output),
            0)
      << output;
  output.clear();
  EXPECT_EQ(testing::RunPiped("'" + program + "'", output), 0);
  std::vector<std::vector<double>> rows;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::vector<double> values;
    for (std::string field; fields >> field;) values.push_back(std::strtod(field.c_str(), nullptr));
    rows.push_back(values);
  }
  return rows;
}

// With components and without, over missing cells and names that would end a comment, a string
// or the line if written as they stand.
TEST(PCACCode, TheCompiledCodeScoresAsDeploymentDoes) {
  DMatrix raw = testing::ManufacturedData(30, 4, {3.0, 1.5}, 0.3, 12);
  raw(3, 1) = std::nan("");
  raw(11, 0) = std::nan("");
  raw(11, 3) = std::nan("");
  for (const int components : {2, 0}) {
    SCOPED_TRACE(components);
    const LoadedPCAModel model =
        ExportedPCAModel(raw, {"a\n#error broken", "b */ \" c", "d?\?/", "e\\"}, components);
    const platform::testing::TempFolder folder;
    const auto compiled = CompileAndRun(GeneratePCACCode(model), raw, components, folder);
    const PCADeploymentScores expected = ScorePCA(model, ModelColumns(model, raw));
    ASSERT_EQ(compiled.size(), raw.rows());
    const auto a_count = static_cast<std::size_t>(components);
    for (std::size_t row = 0; row < raw.rows(); ++row) {
      ASSERT_EQ(compiled[row].size(), a_count + 2);
      for (std::size_t a = 0; a < a_count; ++a) {
        testing::ExpectClose(compiled[row][a], expected.scores(row, a), 1e-10, "score");
      }
      testing::ExpectClose(compiled[row][a_count], expected.t2[row], 1e-10, "T2");
      testing::ExpectClose(compiled[row][a_count + 1], expected.spe[row], 1e-10, "SPE");
      if (components == 0) {
        EXPECT_EQ(compiled[row][0], 0.0);
      }
    }
  }
}

}  // namespace
}  // namespace mspc
