#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/json_report_sink.hpp"

namespace mspc::platform {

/// How the web page shows the reports.
struct HtmlReportOptions {
  /// Tables (and lists of out-of-limit points) longer than this show their first rows only,
  /// with a note saying so.
  std::size_t max_table_rows = 1000;
  /// Whether the note on a shortened table points to the workbook, which has every row.
  bool workbook_written = true;
};

/// `text` with every character that is special in HTML (`& < > " '`) written as a character
/// reference, after `CleanText`; safe in element content and in quoted attribute values.
std::string EscapeHtml(std::string_view text);

/// One self-contained HTML page with every report in order: a table of contents, each
/// spreadsheet as a table, each graph as an inline SVG chart (axes with ticks and labels, a
/// legend, labelled limit lines, points beyond the control limits marked in a second colour
/// and listed under the chart), each text report as preformatted text. The page fetches
/// nothing: its style is inline and a content security policy forbids every fetch.
std::string ReportsToHtml(const std::vector<Report>& reports,
                          const HtmlReportOptions& options = {});

/// The SVG chart of one graph (an `<svg>` element), as the page embeds it.
std::string GraphToSvg(const Graph& graph);

/// Write `ReportsToHtml` to `path` whole or not at all; false with `error` filled on failure.
bool WriteHtmlReport(const std::vector<Report>& reports,
                     const std::string& path,
                     const HtmlReportOptions& options,
                     std::string* error);

}  // namespace mspc::platform
