#include "platform/table_loader.hpp"

#include <filesystem>
#include <utility>

#include "platform/csv_table.hpp"

namespace mspc::platform {

std::optional<ReadStatFormat> ReadStatFormatOf(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  for (char& c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  if (extension == ".sas7bdat") return ReadStatFormat::kSas;
  if (extension == ".sav" || extension == ".zsav") return ReadStatFormat::kSpss;
  if (extension == ".dta") return ReadStatFormat::kStata;
  return std::nullopt;
}

TableLoadResult LoadTable(const std::string& path, const TableOptions& options) {
  TableLoadResult result;
  if (const auto format = ReadStatFormatOf(path)) {
    ReadStatLoadResult loaded = ReadStatTable::Load(path, *format, options);
    result.table = std::move(loaded.table);
    result.error = std::move(loaded.error);
  } else {
    CsvLoadResult loaded = CsvTable::Load(path, options);
    result.table = std::move(loaded.table);
    result.error = std::move(loaded.error);
  }
  return result;
}

}  // namespace mspc::platform
