#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/column_table.hpp"
#include "platform/readstat_table.hpp"

namespace mspc::platform {

struct TableLoadResult {
  std::unique_ptr<ColumnTable> table;  // null when the file could not be loaded
  std::string error;                   // why, naming the file
};

/// The statistics-package format a file name's extension names (ignoring case): `.sas7bdat`
/// SAS, `.sav` and `.zsav` SPSS, `.dta` Stata; nothing for any other extension.
std::optional<ReadStatFormat> ReadStatFormatOf(const std::string& path);

/// Read a data table, choosing the reader by the file's extension: SAS, SPSS and Stata files
/// through ReadStat, every other file (`.csv`, `.txt`, ...) as delimited text.
TableLoadResult LoadTable(const std::string& path, const TableOptions& options);

}  // namespace mspc::platform
