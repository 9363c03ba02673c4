// Golden files of one small PCA model and one small PLS model: their documents, C code and KVB
// code. The files live in tests/data/golden; `MSPC_UPDATE_GOLDEN=1 build/dev/tests/mspc_tests
// --gtest_filter='GoldenFiles*'` writes them anew after an intended change (review the diff).

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "export/c_code.hpp"
#include "export/export_test_support.hpp"
#include "export/kvb_code.hpp"

namespace mspc {
namespace {

// Numbers as the exports write them ("%.14e"); the fits behind them may move in the last
// digits when the engines' summation order changes, so they are compared with a tolerance.
const std::regex kNumber(R"([-+]?\d\.\d{14}e[-+]\d{2,3})");

std::vector<double> Numbers(const std::string& line) {
  std::vector<double> numbers;
  for (std::sregex_iterator it(line.begin(), line.end(), kNumber), end; it != end; ++it) {
    numbers.push_back(std::strtod(it->str().c_str(), nullptr));
  }
  return numbers;
}

// The texts agree line by line: numbers to `tolerance` relative, everything else exactly.
void ExpectSameText(const std::string& actual, const std::string& expected, double tolerance) {
  std::istringstream actual_lines(actual);
  std::istringstream expected_lines(expected);
  std::string a;
  std::string e;
  int line = 0;
  while (std::getline(expected_lines, e)) {
    ++line;
    ASSERT_TRUE(std::getline(actual_lines, a)) << "missing line " << line << ": " << e;
    EXPECT_EQ(std::regex_replace(a, kNumber, "#"), std::regex_replace(e, kNumber, "#"))
        << "line " << line;
    const std::vector<double> a_numbers = Numbers(a);
    const std::vector<double> e_numbers = Numbers(e);
    ASSERT_EQ(a_numbers.size(), e_numbers.size()) << "line " << line;
    for (std::size_t n = 0; n < e_numbers.size(); ++n) {
      EXPECT_LE(std::fabs(a_numbers[n] - e_numbers[n]),
                tolerance * std::max(1.0, std::fabs(e_numbers[n])))
          << "line " << line << ": " << a;
    }
  }
  EXPECT_FALSE(std::getline(actual_lines, a)) << "extra line: " << a;
}

void ExpectGolden(const std::string& text, const std::string& name) {
  const std::string path = std::string(MSPC_TEST_DATA_DIR) + "/golden/" + name;
  if (std::getenv("MSPC_UPDATE_GOLDEN") != nullptr) std::ofstream(path) << text;
  std::ifstream file(path);
  ASSERT_TRUE(file.good()) << path;
  std::stringstream expected;
  expected << file.rdbuf();
  ExpectSameText(text, expected.str(), 1e-9);
}

DMatrix SmallTable() {
  const double values[6][3] = {
      {1, 2, 0.5}, {2, 3.9, 1.5}, {3, 6.1, 0}, {4, 8, 2.5}, {5, 9.8, 1}, {6, 12.2, 3}};
  DMatrix raw(6, 3);
  for (std::size_t i = 0; i < 18; ++i) raw(i / 3, i % 3) = values[i / 3][i % 3];
  return raw;
}

TEST(GoldenFiles, ASmallPCAModelWritesItsDocumentCAndKVB) {
  const LoadedPCAModel model =
      testing::ExportedPCAModel(SmallTable(), {"feed", "steam <kg/h>", "valve"}, 2);
  std::string text;
  WritePCADocument(model, text);
  ExpectGolden(text, "pca_small.pmml");
  ExpectGolden(GeneratePCACCode(model), "pca_small.c");
  ExpectGolden(GeneratePCAKVBCode(model), "pca_small.kvb");
}

TEST(GoldenFiles, ASmallPLSModelWritesItsDocumentCAndKVB) {
  const DMatrix table = SmallTable();
  DMatrix x(6, 2);
  DMatrix y(6, 1);
  for (std::size_t i = 0; i < 6; ++i) {
    x(i, 0) = table(i, 0);
    x(i, 1) = table(i, 2);
    y(i, 0) = table(i, 1);
  }
  WorkingData predictors = testing::ContinuousData(x, {"feed", "valve"});
  WorkingData dependents = testing::ContinuousData(y, {"steam \"out\""});
  // Their places in the table: feed, steam, valve.
  predictors.variables[1].table_index = 2;
  dependents.variables[0].table_index = 1;
  const LoadedPLSModel model = testing::ExportedPLSModel(
      testing::FittedPLSEngine(x, y, predictors, dependents, 1), predictors, dependents);
  std::string text;
  WritePLSDocument(model, text);
  ExpectGolden(text, "pls_small.pmml");
  ExpectGolden(GeneratePLSCCode(model), "pls_small.c");
  ExpectGolden(GeneratePLSKVBCode(model), "pls_small.kvb");
}

}  // namespace
}  // namespace mspc
