#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/column_table.hpp"

namespace mspc::platform {

/// Options of a CSV table: missing-data codes, declared categorical variables, case selection,
/// case weights and case names.
using CsvOptions = TableOptions;

class CsvTable;

struct CsvLoadResult {
  std::unique_ptr<CsvTable> table;  // null when the file could not be loaded
  std::string error;                // why, with the file, line and column where they apply
};

/// A table read from a delimited text file. The first line names the variables; fields are
/// separated by commas or semicolons (whichever the header line uses more) and may be quoted
/// as RFC 4180 describes. Empty cells, "NA" and "NaN" are missing. A column whose present cells
/// are all texts is categorical, its texts coded 1, 2, ... in order of first appearance.
class CsvTable final : public ColumnTable {
 public:
  using ColumnTable::ColumnTable;

  /// Read the file at `path`; messages name the file as given.
  static CsvLoadResult Load(const std::string& path, const CsvOptions& options);
  /// Read CSV text already in memory; messages name it `source_name`.
  static CsvLoadResult Parse(const std::string& source_name,
                             std::string_view text,
                             const CsvOptions& options);
};

}  // namespace mspc::platform
