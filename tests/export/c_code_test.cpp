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
#include "export/model_document.hpp"
#include "pca/pca_reports.hpp"
#include "platform/boost_probability.hpp"
#include "platform/temp_folder.hpp"

namespace mspc {
namespace {

using testing::ExportedPCAModel;

TEST(PCACCode, TheHeaderHasItsFixedTextsAndOneCommentPerVariable) {
  const LoadedPCAModel model = ExportedPCAModel(
      testing::ManufacturedData(20, 3, {2.0}, 0.3, 4), {"feed", "steam", "valve"}, 1);
  const std::string code = GeneratePCACCode(model);
  const std::string header =
      "// Korvane MSPC, Multivariate Statistical Process Control\n"
      "//Principal Components Analysis C/C++/C# deployment code\n"
      "//  Data used in estimation: plant.csv\n"
      "// When calling this function, the values for predictors should\n"
      "// be placed in the same sequential position of the input array,\n"
      "// as they appeared in the input data file. Also, location or\n"
      "// variable 0 (zero) is reserved for case numbers, so the routine\n"
      "// expects the locations of variables to be referenced to 1,\n"
      "// instead of the customary (in C) 0 (zero). The second parameter\n"
      "// is the pointer of the components calculated. It should be a pointer \n"
      "// pre-allocated when it is passed in. Otherwise, the function returns 0. \n"
      "// The user is responsible for release this pointer. The return value of\n"
      "// this function is the number of components.\n"
      "// See the Electronic Manual for additional information.\n"
      "// Continuous variable name : feed ; Location = 1\n"
      "// Continuous variable name : steam ; Location = 2\n"
      "// Continuous variable name : valve ; Location = 3\n";
  EXPECT_EQ(code.substr(0, header.size()), header);
}

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
  const std::string model_file = folder.Write("model.c", code);
  const std::string driver_file = folder.Write("driver.c", driver.str());
  const std::string program = folder.File("score");
  const std::string compile = "gcc -std=c99 -Wall -Wextra -Werror -o '" + program + "' '" +
                              model_file + "' '" + driver_file + "' -lm 2>&1";
  std::string diagnostics;
  if (FILE* pipe = popen(compile.c_str(), "r")) {
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) diagnostics += buffer;
    EXPECT_EQ(pclose(pipe), 0) << diagnostics;
  }
  std::vector<std::vector<double>> rows;
  FILE* pipe = popen(("'" + program + "'").c_str(), "r");
  if (pipe == nullptr) return rows;
  char line[4096];
  while (std::fgets(line, sizeof line, pipe) != nullptr) {
    std::istringstream fields(line);
    std::vector<double> values;
    for (std::string field; fields >> field;) values.push_back(std::strtod(field.c_str(), nullptr));
    rows.push_back(values);
  }
  EXPECT_EQ(pclose(pipe), 0);
  return rows;
}

TEST(PCACCode, TheCompiledCodeScoresAsDeploymentDoes) {
  DMatrix raw = testing::ManufacturedData(30, 4, {3.0, 1.5}, 0.3, 12);
  raw(3, 1) = std::nan("");
  raw(11, 0) = std::nan("");
  raw(11, 3) = std::nan("");
  // Names that would end a comment, a string or the line if written as they stand.
  const LoadedPCAModel model =
      ExportedPCAModel(raw, {"a\n#error broken", "b */ \" c", "d?\?/", "e\\"}, 2);
  const platform::testing::TempFolder folder;
  const std::vector<std::vector<double>> compiled =
      CompileAndRun(GeneratePCACCode(model), raw, 2, folder);
  const PCADeploymentScores expected = ScorePCA(model, ModelColumns(model, raw));
  ASSERT_EQ(compiled.size(), raw.rows());
  for (std::size_t row = 0; row < raw.rows(); ++row) {
    ASSERT_EQ(compiled[row].size(), 4u);
    for (std::size_t a = 0; a < 2; ++a) {
      EXPECT_NEAR(compiled[row][a],
                  expected.scores(row, a),
                  1e-10 * std::max(1.0, std::fabs(expected.scores(row, a))));
    }
    EXPECT_NEAR(compiled[row][2], expected.t2[row], 1e-10 * std::max(1.0, expected.t2[row]));
    EXPECT_NEAR(compiled[row][3], expected.spe[row], 1e-10 * std::max(1.0, expected.spe[row]));
  }
}

TEST(PCACCode, AModelWithoutComponentsStillCompilesAndGivesTheSPE) {
  const DMatrix raw = testing::ManufacturedData(10, 3, {2.0}, 0.3, 6);
  const LoadedPCAModel model = ExportedPCAModel(raw, {"a", "b", "c"}, 0);
  const platform::testing::TempFolder folder;
  const auto compiled = CompileAndRun(GeneratePCACCode(model), raw, 0, folder);
  const PCADeploymentScores expected = ScorePCA(model, ModelColumns(model, raw));
  ASSERT_EQ(compiled.size(), raw.rows());
  for (std::size_t row = 0; row < raw.rows(); ++row) {
    ASSERT_EQ(compiled[row].size(), 2u);
    EXPECT_EQ(compiled[row][0], 0.0);
    EXPECT_NEAR(compiled[row][1], expected.spe[row], 1e-10 * std::max(1.0, expected.spe[row]));
  }
}

}  // namespace
}  // namespace mspc
