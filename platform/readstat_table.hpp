#pragma once

#include <memory>
#include <string>

#include "platform/column_table.hpp"

namespace mspc::platform {

/// The statistics-package file formats read through ReadStat.
enum class ReadStatFormat {
  kSas,    // .sas7bdat
  kSpss,   // .sav and compressed .zsav
  kStata,  // .dta
};

class ReadStatTable;

struct ReadStatLoadResult {
  std::unique_ptr<ReadStatTable> table;  // null when the file could not be loaded
  std::string error;                     // why, naming the file
};

/// A table read from a SAS, SPSS or Stata data file, with the same options as a CSV table.
///
/// - Numeric variables are numbers; system, tagged (Stata, SAS) and user-defined missing
///   values (SPSS) are missing.
/// - A numeric variable with value labels is categorical: its codes are the labelled values
///   that are not declared missing, with their labels, plus any unlabelled value present,
///   labelled with the number.
/// - A text variable is categorical, its texts coded 1, 2, ... in order of first appearance
///   and shown by their value labels where they have them; an empty text is missing.
/// - The case-name variable may be a text variable or a numeric one (its labels, or else the
///   number, name the cases).
class ReadStatTable final : public ColumnTable {
 public:
  using ColumnTable::ColumnTable;

  /// Read the file at `path` as `format`; messages name the file as given. A file that is not
  /// of the format (whatever its extension) gives a message naming the format.
  static ReadStatLoadResult Load(const std::string& path,
                                 ReadStatFormat format,
                                 const TableOptions& options);
};

}  // namespace mspc::platform
