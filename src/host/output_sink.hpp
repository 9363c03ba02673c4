#pragma once

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace mspc {

/// One cell of a report: missing (shown empty), a number, or a text.
using ReportCell = std::variant<std::monostate, double, std::string>;

struct ReportRow {
  std::string label;
  std::vector<ReportCell> cells;
};

/// A titled spreadsheet as the host shows it.
struct Spreadsheet {
  std::string title;
  std::vector<std::string> subtitles;
  std::vector<std::string> footnotes;
  std::string row_header;            // header of the row-label column
  std::vector<std::string> columns;  // headers of the cell columns
  std::vector<ReportRow> rows;
  std::vector<std::pair<int, int>> highlights;  // (row, column) of highlighted cells, 0-based
};

enum class GraphType { kLine, kScatter, kBar, kControl };
enum class LimitKind { kControl, kWarning };

struct GraphSeries {
  std::string name;
  std::vector<double> x;
  std::vector<double> y;            // NaN for a missing point
  std::vector<std::string> labels;  // point labels (case names); may be empty
};

/// A horizontal limit line of a chart, such as a control or warning limit. In a scatterplot a
/// line whose label starts with the x-axis label (then a blank or a colon) is upright, at
/// x = value; two lines of a kind on each axis are drawn as the box they enclose.
struct LimitLine {
  std::string label;
  double value = 0.0;
  LimitKind kind = LimitKind::kControl;
};

/// A graph built from a spreadsheet's values.
struct Graph {
  GraphType type = GraphType::kLine;
  std::string title;
  std::vector<std::string> subtitles;
  std::string x_label;
  std::string y_label;
  std::vector<GraphSeries> series;
  std::vector<LimitLine> lines;
};

/// A text document routed as a report (exported model documents and generated code).
struct TextReport {
  std::string title;
  std::string text;
};

/// The host's workbook: receives every report the analysis produces, in order.
class OutputSink {
 public:
  virtual ~OutputSink() = default;
  virtual void AddSpreadsheet(const Spreadsheet& sheet) = 0;
  virtual void AddGraph(const Graph& graph) = 0;
  virtual void AddText(const TextReport& text) = 0;
};

}  // namespace mspc
