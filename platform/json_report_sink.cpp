#include "platform/json_report_sink.hpp"

#include <cmath>
#include <nlohmann/json.hpp>

#include "platform/file_io.hpp"

namespace mspc::platform {
namespace {

// Keys keep the order they are written in, so the file reads in the order of the shape it follows.
using json = nlohmann::ordered_json;

json Number(double value) { return std::isfinite(value) ? json(value) : json(nullptr); }

json Numbers(const std::vector<double>& values) {
  json array = json::array();
  for (const double value : values) array.push_back(Number(value));
  return array;
}

json Cell(const ReportCell& cell) {
  if (const double* number = std::get_if<double>(&cell)) return Number(*number);
  if (const std::string* text = std::get_if<std::string>(&cell)) return *text;
  return nullptr;
}

const char* GraphTypeName(GraphType type) {
  switch (type) {
    case GraphType::kLine:
      return "line";
    case GraphType::kScatter:
      return "scatter";
    case GraphType::kBar:
      return "bar";
    case GraphType::kControl:
      return "control";
  }
  return "line";
}

const char* LimitKindName(LimitKind kind) {
  return kind == LimitKind::kWarning ? "warning" : "control";
}

json ToJson(const Spreadsheet& sheet) {
  json rows = json::array();
  for (const ReportRow& row : sheet.rows) {
    json cells = json::array();
    for (const ReportCell& cell : row.cells) cells.push_back(Cell(cell));
    rows.push_back({{"label", row.label}, {"cells", std::move(cells)}});
  }
  json highlights = json::array();
  for (const auto& [row, column] : sheet.highlights) highlights.push_back({row, column});
  return {{"kind", "spreadsheet"},
          {"title", sheet.title},
          {"subtitles", sheet.subtitles},
          {"footnotes", sheet.footnotes},
          {"rowHeader", sheet.row_header},
          {"columns", sheet.columns},
          {"rows", std::move(rows)},
          {"highlights", std::move(highlights)}};
}

json ToJson(const Graph& graph) {
  json series = json::array();
  for (const GraphSeries& one : graph.series) {
    series.push_back(
        {{"name", one.name}, {"x", Numbers(one.x)}, {"y", Numbers(one.y)}, {"labels", one.labels}});
  }
  json lines = json::array();
  for (const LimitLine& line : graph.lines) {
    lines.push_back(
        {{"label", line.label}, {"value", Number(line.value)}, {"kind", LimitKindName(line.kind)}});
  }
  return {{"kind", "graph"},
          {"type", GraphTypeName(graph.type)},
          {"title", graph.title},
          {"subtitles", graph.subtitles},
          {"xLabel", graph.x_label},
          {"yLabel", graph.y_label},
          {"series", std::move(series)},
          {"lines", std::move(lines)}};
}

json ToJson(const TextReport& text) {
  return {{"kind", "text"}, {"title", text.title}, {"text", text.text}};
}

}  // namespace

std::string ReportsToJson(const std::vector<Report>& reports) {
  json list = json::array();
  for (const Report& report : reports) {
    list.push_back(std::visit([](const auto& one) { return ToJson(one); }, report));
  }
  const json document = {{"reports", std::move(list)}};
  // Texts pass through as they are; a byte sequence that is not UTF-8 (a variable name from a
  // file in another encoding) is replaced rather than failing the whole report.
  return document.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

bool JsonReportSink::Write(const std::string& path, std::string* error) const {
  return WriteFileAtomically(path, ReportsToJson(reports_), error);
}

}  // namespace mspc::platform
