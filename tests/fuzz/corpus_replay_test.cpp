// The seed corpus and every crash reproducer kept under tests/fuzz/corpus/<target> run through
// the fuzz targets' entries in the ordinary test run, so that a fixed crash stays fixed.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "fuzz/fuzz_entries.hpp"

namespace mspc {
namespace {

int Replay(const std::string& target, const std::function<void(std::string_view)>& entry) {
  const std::filesystem::path folder =
      std::filesystem::path(MSPC_SOURCE_DIR) / "tests" / "fuzz" / "corpus" / target;
  int replayed = 0;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    std::ifstream stream(file.path(), std::ios::binary);
    std::stringstream bytes;
    bytes << stream.rdbuf();
    SCOPED_TRACE(file.path().string());
    entry(bytes.str());
    ++replayed;
  }
  return replayed;
}

TEST(FuzzCorpus, EverySeedAndReproducerRunsThroughItsTarget) {
  EXPECT_GT(Replay("model_document", fuzz::ModelDocument), 0);
  EXPECT_GT(Replay("csv_reader", fuzz::CsvText), 0);
  EXPECT_GT(Replay("script_parser", fuzz::ScriptText), 0);
  EXPECT_GT(Replay("fit_table", fuzz::FitTable), 0);
}

}  // namespace
}  // namespace mspc
