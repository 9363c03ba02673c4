#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/json_report_sink.hpp"

namespace mspc::platform {

/// Hands out worksheet names within the workbook's rules: at most 31 characters (counted as
/// UTF-16 units), none of `[ ] : * ? / \`, no apostrophe at either end, not empty, not the
/// reserved "History", and unique ignoring case.
class SheetNamer {
 public:
  static constexpr std::size_t kMaxLength = 31;

  /// The name for the `number`-th report (1-based) titled `title`: the title with the
  /// forbidden characters replaced (`[ ]` by `( )`, `: /` by `-`, `* ? \` by `_`), shortened,
  /// and numbered " (2)", " (3)", ... when an earlier sheet has the name; "Report <n>" for a
  /// title with nothing left.
  std::string Next(std::string_view title, std::size_t number);

 private:
  std::set<std::string> used_;  // names given so far, case folded
};

/// Write every report into one XLSX workbook at `path`, whole or not at all: a worksheet per
/// spreadsheet (title and subtitles above the table, row and column headers, numbers as
/// numbers, missing cells empty, highlighted cells filled, footnotes below), a worksheet per
/// graph with its data and a native chart of them (limit lines as labelled series, points
/// beyond the control limit as a series of their own in a second colour), and a worksheet per
/// text report, one line per row. False with `error` filled when the file cannot be written.
bool WriteWorkbook(const std::vector<Report>& reports, const std::string& path, std::string* error);

}  // namespace mspc::platform
