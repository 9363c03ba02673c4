// The seed corpus and every crash reproducer kept under tests/fuzz/corpus/<target> run through
// the fuzz targets' entries in the ordinary test run, so that a fixed crash stays fixed.

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

#include "fuzz/fuzz_entries.hpp"
#include "platform/temp_folder.hpp"

namespace mspc {
namespace {

int Replay(const std::string& target, const std::function<void(std::string_view)>& entry) {
  int replayed = 0;
  for (const auto& file : std::filesystem::directory_iterator(std::string(MSPC_SOURCE_DIR) +
                                                              "/tests/fuzz/corpus/" + target)) {
    SCOPED_TRACE(file.path().string());
    entry(platform::testing::ReadText(file.path().string()));
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
