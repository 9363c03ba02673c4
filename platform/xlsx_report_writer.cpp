#include "platform/xlsx_report_writer.hpp"

#include <stdlib.h>
#include <unistd.h>
#include <xlsxwriter.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>
#include <system_error>
#include <type_traits>
#include <utility>
#include <variant>

#include "host/messages.hpp"
#include "platform/file_io.hpp"
#include "platform/report_layout.hpp"

namespace mspc::platform {
namespace {

constexpr std::size_t kMaxRows = LXW_ROW_MAX;
constexpr std::size_t kMaxColumns = LXW_COL_MAX;
constexpr std::size_t kMaxCellBytes = 32767;  // a cell holds at most this many characters
constexpr lxw_row_t kChartRows = 24;          // rows the chart covers above a graph's data
constexpr double kChartXScale = 1.6;          // of the default 480 x 288 pixels
constexpr double kChartYScale = 1.6;
constexpr float kDataLineWidth = 1.0F;  // points
constexpr double kLabelColumnWidth = 14.0;
constexpr double kMinColumnWidth = 10.0;
constexpr double kMaxColumnWidth = 40.0;

constexpr lxw_color_t kHeaderFill = 0xF0F0F0;
constexpr lxw_color_t kHighlightFill = 0xFFF3A0;
constexpr lxw_color_t kNoteColour = 0x555555;
constexpr lxw_color_t kControlColour = 0xB00000;
constexpr lxw_color_t kWarningColour = 0xD98200;
constexpr lxw_color_t kBeyondColour = 0xD62728;

// The start of `text` that fits in `max_bytes`, cut at a character boundary.
std::string_view Utf8Prefix(std::string_view text, std::size_t max_bytes) {
  if (text.size() <= max_bytes) return text;
  std::size_t end = max_bytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

// The longest start of `text` (valid UTF-8) of at most `max_units` UTF-16 units: the sheet-name
// limit counts in those, so a character beyond the basic plane counts twice.
std::string Utf16Prefix(const std::string& text, std::size_t max_units) {
  std::size_t units = 0;
  std::size_t pos = 0;
  while (pos < text.size()) {
    const auto lead = static_cast<unsigned char>(text[pos]);
    const std::size_t bytes = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    const std::size_t needed = lead >= 0xF0 ? 2 : 1;
    if (units + needed > max_units) break;
    units += needed;
    pos += bytes;
  }
  return text.substr(0, pos);
}

std::string FoldCase(std::string_view name) {
  std::string folded(name);
  for (char& c : folded) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return folded;
}

// Owns a workbook until it is closed.
class WorkbookHandle {
 public:
  explicit WorkbookHandle(lxw_workbook* workbook) : workbook_(workbook) {}
  ~WorkbookHandle() {
    if (workbook_ != nullptr) workbook_close(workbook_);
  }
  WorkbookHandle(const WorkbookHandle&) = delete;
  WorkbookHandle& operator=(const WorkbookHandle&) = delete;

  lxw_workbook* get() const { return workbook_; }
  /// Assemble and write the file; the workbook is gone afterwards whatever the result.
  lxw_error Close() { return workbook_close(std::exchange(workbook_, nullptr)); }

 private:
  lxw_workbook* workbook_;
};

// Which column of a graph's data sheet holds what.
struct SeriesColumns {
  std::optional<lxw_col_t> label;
  lxw_col_t x = 0;
  lxw_col_t y = 0;
  std::optional<lxw_col_t> beyond;
  std::vector<char> beyond_points;  // per point: 1 when beyond the control limit
};

class WorkbookWriter {
 public:
  explicit WorkbookWriter(lxw_workbook* workbook) : workbook_(workbook) {
    title_ = workbook_add_format(workbook_);
    format_set_bold(title_);
    format_set_font_size(title_, 14);
    subtitle_ = workbook_add_format(workbook_);
    format_set_italic(subtitle_);
    header_ = workbook_add_format(workbook_);
    format_set_bold(header_);
    format_set_bg_color(header_, kHeaderFill);
    format_set_bottom(header_, LXW_BORDER_THIN);
    format_set_text_wrap(header_);
    row_label_ = workbook_add_format(workbook_);
    format_set_bold(row_label_);
    highlight_ = workbook_add_format(workbook_);
    format_set_bg_color(highlight_, kHighlightFill);
    footnote_ = workbook_add_format(workbook_);
    format_set_italic(footnote_);
    format_set_font_color(footnote_, kNoteColour);
    text_ = workbook_add_format(workbook_);
    format_set_font_name(text_, "Courier New");
  }

  void Add(const Report& report) {
    ++number_;
    std::visit([this](const auto& one) { AddOne(one); }, report);
  }

  /// A workbook needs at least one sheet; an empty report list gets an empty one.
  void EnsureOneSheet() {
    if (number_ == 0) NewSheet("", 1);
  }

 private:
  lxw_worksheet* NewSheet(const std::string& title, std::size_t number) {
    sheet_name_ = namer_.Next(title, number);
    return workbook_add_worksheet(workbook_, sheet_name_.c_str());
  }

  void Text(lxw_worksheet* sheet,
            std::size_t row,
            std::size_t col,
            const std::string& text,
            lxw_format* format = nullptr) {
    if (row >= kMaxRows || col >= kMaxColumns) return;
    const std::string clean = CleanText(text);
    const std::string_view cell = Utf8Prefix(clean, kMaxCellBytes);
    if (cell.empty()) {
      if (format != nullptr) worksheet_write_blank(sheet, Row(row), Col(col), format);
      return;
    }
    worksheet_write_string(sheet, Row(row), Col(col), std::string(cell).c_str(), format);
  }

  void Number(lxw_worksheet* sheet,
              std::size_t row,
              std::size_t col,
              double value,
              lxw_format* format = nullptr) {
    if (row >= kMaxRows || col >= kMaxColumns) return;
    // A missing or infinite value is an empty cell: the sheet and its charts skip it.
    if (!std::isfinite(value)) {
      if (format != nullptr) worksheet_write_blank(sheet, Row(row), Col(col), format);
      return;
    }
    worksheet_write_number(sheet, Row(row), Col(col), value, format);
  }

  static lxw_row_t Row(std::size_t row) { return static_cast<lxw_row_t>(row); }
  static lxw_col_t Col(std::size_t col) { return static_cast<lxw_col_t>(col); }

  // Title and subtitles from the first row down; returns the next free row.
  std::size_t Heading(lxw_worksheet* sheet,
                      const std::string& title,
                      const std::vector<std::string>& subtitles) {
    std::size_t row = 0;
    Text(sheet, row++, 0, ReportName(title, number_), title_);
    for (const std::string& subtitle : subtitles) Text(sheet, row++, 0, subtitle, subtitle_);
    return row + 1;  // a blank row before what follows
  }

  static double WidthFor(std::string_view text) {
    return std::clamp(static_cast<double>(text.size()) + 2.0, kMinColumnWidth, kMaxColumnWidth);
  }

  void AddOne(const Spreadsheet& report) {
    lxw_worksheet* sheet = NewSheet(report.title, number_);
    const std::size_t columns = std::min(report.columns.size(), kMaxColumns - 1);
    std::size_t label_width = report.row_header.size();
    for (const ReportRow& row : report.rows) label_width = std::max(label_width, row.label.size());
    worksheet_set_column(sheet, 0, 0, WidthFor(std::string(label_width, 'x')), nullptr);
    for (std::size_t col = 0; col < columns; ++col) {
      worksheet_set_column(
          sheet, Col(col + 1), Col(col + 1), WidthFor(report.columns[col]), nullptr);
    }

    std::size_t row = Heading(sheet, report.title, report.subtitles);
    const std::size_t header_row = row;
    Text(sheet, row, 0, report.row_header, header_);
    for (std::size_t col = 0; col < columns; ++col) {
      Text(sheet, row, col + 1, report.columns[col], header_);
    }
    ++row;
    worksheet_freeze_panes(sheet, Row(row), 1);

    std::vector<std::pair<int, int>> highlights = report.highlights;
    std::sort(highlights.begin(), highlights.end());
    // Leave room below the table for the footnotes and a note on rows cut off.
    const std::size_t room = kMaxRows - header_row - 1 - report.footnotes.size() - 3;
    const std::size_t rows = std::min(report.rows.size(), room);
    std::size_t widest = columns;
    for (std::size_t index = 0; index < rows; ++index) {
      const ReportRow& one = report.rows[index];
      Text(sheet, row, 0, one.label, row_label_);
      widest = std::max(widest, one.cells.size());
      for (std::size_t col = 0; col < one.cells.size() && col + 1 < kMaxColumns; ++col) {
        const bool highlighted =
            std::binary_search(highlights.begin(),
                               highlights.end(),
                               std::pair<int, int>(static_cast<int>(index), static_cast<int>(col)));
        lxw_format* format = highlighted ? highlight_ : nullptr;
        const ReportCell& cell = one.cells[col];
        if (const double* number = std::get_if<double>(&cell)) {
          Number(sheet, row, col + 1, *number, format);
        } else if (const std::string* text = std::get_if<std::string>(&cell)) {
          Text(sheet, row, col + 1, *text, format);
        } else if (format != nullptr) {
          worksheet_write_blank(sheet, Row(row), Col(col + 1), format);
        }
      }
      ++row;
    }
    ++row;
    for (const std::string& footnote : report.footnotes) Text(sheet, row++, 0, footnote, footnote_);
    if (rows < report.rows.size()) {
      Text(sheet,
           row++,
           0,
           FormatMessage(MessageId::kReportRowsBeyondWorksheet, rows, report.rows.size()),
           footnote_);
    }
    if (widest + 1 > kMaxColumns) {
      Text(sheet,
           row++,
           0,
           FormatMessage(MessageId::kReportColumnsBeyondWorksheet, kMaxColumns - 1, widest),
           footnote_);
    }
  }

  void AddOne(const TextReport& report) {
    lxw_worksheet* sheet = NewSheet(report.title, number_);
    std::size_t row = Heading(sheet, report.title, {});
    std::size_t start = 0;
    while (start <= report.text.size() && row < kMaxRows) {
      std::size_t end = report.text.find('\n', start);
      if (end == std::string::npos) end = report.text.size();
      std::string line = report.text.substr(start, end - start);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      if (end == report.text.size() && line.empty()) break;  // no row for a final line break
      Text(sheet, row++, 0, line, text_);
      start = end + 1;
    }
  }

  void AddOne(const Graph& graph) {
    lxw_worksheet* sheet = NewSheet(graph.title, number_);
    const bool bar = graph.type == GraphType::kBar;
    const PointExtent extent = PointsExtent(graph);
    const std::vector<LimitSegment> segments =
        bar ? std::vector<LimitSegment>{} : LimitSegments(graph, extent);
    const std::vector<PointRef> beyond = PointsBeyondControl(graph);

    // Plan the columns: per series its labels, x, y and the points beyond the control limit;
    // per limit line the two ends of its segment (bar charts: its value on every category).
    std::vector<SeriesColumns> plan(graph.series.size());
    for (std::size_t s = 0; s < graph.series.size(); ++s) {
      plan[s].beyond_points.assign(graph.series[s].y.size(), 0);
    }
    for (const PointRef& point : beyond) plan[point.series].beyond_points[point.point] = 1;
    std::size_t next_col = 0;
    const auto take = [&] { return Col(std::min(next_col++, kMaxColumns - 1)); };
    for (std::size_t s = 0; s < graph.series.size(); ++s) {
      const GraphSeries& series = graph.series[s];
      if (!series.labels.empty()) plan[s].label = take();
      plan[s].x = take();
      plan[s].y = take();
      const bool any_beyond =
          std::find(plan[s].beyond_points.begin(), plan[s].beyond_points.end(), 1) !=
          plan[s].beyond_points.end();
      if (any_beyond && !bar) plan[s].beyond = take();
    }
    std::vector<std::pair<lxw_col_t, lxw_col_t>> segment_cols;
    for (std::size_t index = 0; index < segments.size(); ++index) {
      const lxw_col_t x_col = take();
      segment_cols.emplace_back(x_col, take());
    }
    std::vector<lxw_col_t> bar_line_cols;
    if (bar) {
      for (std::size_t index = 0; index < graph.lines.size(); ++index) {
        bar_line_cols.push_back(take());
      }
    }
    if (next_col > 0) {
      worksheet_set_column(sheet, 0, Col(next_col - 1), kLabelColumnWidth, nullptr);
    }

    // Printed, the chart fits the width of a landscape page.
    worksheet_set_landscape(sheet);
    std::size_t row = Heading(sheet, graph.title, graph.subtitles);
    const std::size_t chart_row = row;
    const std::size_t header_row = chart_row + kChartRows;
    const std::size_t first_data_row = header_row + 1;
    std::size_t points = 0;
    for (const GraphSeries& series : graph.series) points = std::max(points, series.y.size());
    if (!segments.empty()) points = std::max<std::size_t>(points, 2);
    const std::size_t data_rows = std::min(points, kMaxRows - first_data_row - 2);

    // The header row names every column; the chart's series take their names from it.
    const std::string label_header(MessageText(MessageId::kReportPointLabel));
    for (std::size_t s = 0; s < graph.series.size(); ++s) {
      const GraphSeries& series = graph.series[s];
      if (plan[s].label) Text(sheet, header_row, *plan[s].label, label_header, header_);
      Text(sheet, header_row, plan[s].x, graph.x_label, header_);
      Text(sheet, header_row, plan[s].y, series.name, header_);
      if (plan[s].beyond) {
        Text(sheet,
             header_row,
             *plan[s].beyond,
             FormatMessage(MessageId::kReportSeriesBeyondControl, series.name),
             header_);
      }
    }
    for (std::size_t index = 0; index < segments.size(); ++index) {
      Text(sheet, header_row, segment_cols[index].first, graph.x_label, header_);
      Text(sheet,
           header_row,
           segment_cols[index].second,
           graph.lines[segments[index].line].label,
           header_);
    }
    for (std::size_t index = 0; index < bar_line_cols.size(); ++index) {
      Text(sheet, header_row, bar_line_cols[index], graph.lines[index].label, header_);
    }

    for (std::size_t point = 0; point < data_rows; ++point) {
      const std::size_t at = first_data_row + point;
      for (std::size_t s = 0; s < graph.series.size(); ++s) {
        const GraphSeries& series = graph.series[s];
        if (point >= series.y.size()) continue;
        if (plan[s].label && point < series.labels.size()) {
          Text(sheet, at, *plan[s].label, series.labels[point]);
        }
        Number(sheet, at, plan[s].x, PointX(series, point));
        Number(sheet, at, plan[s].y, series.y[point]);
        if (plan[s].beyond && plan[s].beyond_points[point] != 0) {
          Number(sheet, at, *plan[s].beyond, series.y[point]);
        }
      }
      if (point < 2) {
        for (std::size_t index = 0; index < segments.size(); ++index) {
          const LimitSegment& segment = segments[index];
          Number(sheet, at, segment_cols[index].first, point == 0 ? segment.x0 : segment.x1);
          Number(sheet, at, segment_cols[index].second, point == 0 ? segment.y0 : segment.y1);
        }
      }
      if (bar && point < (graph.series.empty() ? 0 : graph.series.front().y.size())) {
        for (std::size_t index = 0; index < bar_line_cols.size(); ++index) {
          Number(sheet, at, bar_line_cols[index], graph.lines[index].value);
        }
      }
    }
    if (data_rows < points) {
      Text(sheet,
           first_data_row + data_rows + 1,
           0,
           FormatMessage(MessageId::kReportRowsBeyondWorksheet, data_rows, points),
           footnote_);
    }

    ChartParts parts{graph, plan, segments, segment_cols, first_data_row, data_rows};
    lxw_chart* chart = bar ? BarChart(parts) : XYChart(parts);
    if (chart == nullptr) return;
    lxw_chart_options options{};
    options.x_scale = kChartXScale;
    options.y_scale = kChartYScale;
    worksheet_insert_chart_opt(sheet, Row(chart_row), 0, chart, &options);
  }

  struct ChartParts {
    const Graph& graph;
    const std::vector<SeriesColumns>& plan;
    const std::vector<LimitSegment>& segments;
    const std::vector<std::pair<lxw_col_t, lxw_col_t>>& segment_cols;
    std::size_t first_row;
    std::size_t rows;
  };

  // The range of `rows` cells of a column, from the first data row.
  void SetValues(lxw_chart_series* series, lxw_col_t col, std::size_t rows, std::size_t first) {
    chart_series_set_values(
        series, sheet_name_.c_str(), Row(first), col, Row(first + rows - 1), col);
  }
  void SetCategories(lxw_chart_series* series, lxw_col_t col, std::size_t rows, std::size_t first) {
    chart_series_set_categories(
        series, sheet_name_.c_str(), Row(first), col, Row(first + rows - 1), col);
  }

  void DecorateChart(lxw_chart* chart, const Graph& graph) {
    const std::string title = CleanText(ReportName(graph.title, number_));
    chart_title_set_name(chart, title.c_str());
    const std::string x_label = CleanText(graph.x_label);
    const std::string y_label = CleanText(graph.y_label);
    if (!x_label.empty()) chart_axis_set_name(chart->x_axis, x_label.c_str());
    if (!y_label.empty()) chart_axis_set_name(chart->y_axis, y_label.c_str());
    chart_legend_set_position(chart, LXW_CHART_LEGEND_BOTTOM);
    chart_show_blanks_as(chart, LXW_CHART_BLANKS_AS_GAP);
  }

  // Line, control and scatter graphs as an XY chart, which places points by their x values.
  lxw_chart* XYChart(const ChartParts& parts) {
    const Graph& graph = parts.graph;
    lxw_chart* chart = workbook_add_chart(workbook_, LXW_CHART_SCATTER_STRAIGHT_WITH_MARKERS);
    DecorateChart(chart, graph);
    // Axes cross at their low ends, so that negative values do not put an axis mid-plot.
    chart_axis_set_crossing_min(chart->x_axis);
    chart_axis_set_crossing_min(chart->y_axis);
    chart_axis_major_gridlines_set_visible(chart->x_axis, LXW_FALSE);
    chart_axis_major_gridlines_set_visible(chart->y_axis, LXW_TRUE);

    bool any = false;
    const bool scatter = graph.type == GraphType::kScatter;
    for (std::size_t s = 0; s < graph.series.size(); ++s) {
      const std::size_t rows = std::min(graph.series[s].y.size(), parts.rows);
      if (rows == 0) continue;
      const SeriesColumns& cols = parts.plan[s];
      lxw_chart_series* series = chart_add_series(chart, nullptr, nullptr);
      SetCategories(series, cols.x, rows, parts.first_row);
      SetValues(series, cols.y, rows, parts.first_row);
      chart_series_set_name_range(series, sheet_name_.c_str(), Row(parts.first_row - 1), cols.y);
      if (scatter) {
        lxw_chart_line none{};
        none.none = LXW_TRUE;
        chart_series_set_line(series, &none);
        chart_series_set_marker_type(series, LXW_CHART_MARKER_CIRCLE);
        chart_series_set_marker_size(series, 5);
      } else {
        // A thin line in the series' own colour leaves the limit lines visible between points.
        lxw_chart_line thin{};
        thin.width = kDataLineWidth;
        chart_series_set_line(series, &thin);
        const std::size_t marked =
            graph.type == GraphType::kControl ? kMaxMarkedControlPoints : kMaxMarkedLinePoints;
        chart_series_set_marker_type(
            series, rows <= marked ? LXW_CHART_MARKER_CIRCLE : LXW_CHART_MARKER_NONE);
        if (rows <= marked) chart_series_set_marker_size(series, 3);
      }
      any = true;
    }
    for (std::size_t index = 0; index < parts.segments.size(); ++index) {
      const LimitLine& line = graph.lines[parts.segments[index].line];
      const auto [x_col, y_col] = parts.segment_cols[index];
      lxw_chart_series* series = chart_add_series(chart, nullptr, nullptr);
      SetCategories(series, x_col, 2, parts.first_row);
      SetValues(series, y_col, 2, parts.first_row);
      chart_series_set_name_range(series, sheet_name_.c_str(), Row(parts.first_row - 1), y_col);
      lxw_chart_line stroke{};
      const bool warning = line.kind == LimitKind::kWarning;
      stroke.color = warning ? kWarningColour : kControlColour;
      stroke.width = 1.5F;
      stroke.dash_type = warning ? LXW_CHART_LINE_DASH_DASH : LXW_CHART_LINE_DASH_SOLID;
      chart_series_set_line(series, &stroke);
      chart_series_set_marker_type(series, LXW_CHART_MARKER_NONE);
      any = true;
    }
    // The points beyond the control limit over their series, in the second colour.
    for (std::size_t s = 0; s < graph.series.size(); ++s) {
      const SeriesColumns& cols = parts.plan[s];
      const std::size_t rows = std::min(graph.series[s].y.size(), parts.rows);
      if (!cols.beyond || rows == 0) continue;
      lxw_chart_series* series = chart_add_series(chart, nullptr, nullptr);
      SetCategories(series, cols.x, rows, parts.first_row);
      SetValues(series, *cols.beyond, rows, parts.first_row);
      chart_series_set_name_range(
          series, sheet_name_.c_str(), Row(parts.first_row - 1), *cols.beyond);
      lxw_chart_line none{};
      none.none = LXW_TRUE;
      chart_series_set_line(series, &none);
      chart_series_set_marker_type(series, LXW_CHART_MARKER_CIRCLE);
      chart_series_set_marker_size(series, 5);
      lxw_chart_fill fill{};
      fill.color = kBeyondColour;
      chart_series_set_marker_fill(series, &fill);
      lxw_chart_line border{};
      border.color = kBeyondColour;
      chart_series_set_marker_line(series, &border);
    }
    return any ? chart : nullptr;
  }

  // Bar graphs as a column chart over the categories (the point labels, or else the x
  // values); bars beyond the control limit are filled in the second colour.
  lxw_chart* BarChart(const ChartParts& parts) {
    const Graph& graph = parts.graph;
    lxw_chart* chart = workbook_add_chart(workbook_, LXW_CHART_COLUMN);
    DecorateChart(chart, graph);
    chart_axis_set_label_position(chart->x_axis, LXW_CHART_AXIS_LABEL_POSITION_LOW);
    bool any = false;
    lxw_chart_fill beyond_fill{};
    beyond_fill.color = kBeyondColour;
    for (std::size_t s = 0; s < graph.series.size(); ++s) {
      const std::size_t rows = std::min(graph.series[s].y.size(), parts.rows);
      if (rows == 0) continue;
      const SeriesColumns& cols = parts.plan[s];
      lxw_chart_series* series = chart_add_series(chart, nullptr, nullptr);
      SetCategories(series, cols.label ? *cols.label : cols.x, rows, parts.first_row);
      SetValues(series, cols.y, rows, parts.first_row);
      chart_series_set_name_range(series, sheet_name_.c_str(), Row(parts.first_row - 1), cols.y);
      const auto last = std::find(cols.beyond_points.rbegin(), cols.beyond_points.rend(), 1);
      if (last != cols.beyond_points.rend()) {
        // One entry per bar up to the last marked one; an empty entry keeps the series colour.
        const auto count = static_cast<std::size_t>(cols.beyond_points.rend() - last);
        std::vector<lxw_chart_point> formats(count);
        std::vector<lxw_chart_point*> pointers;
        for (std::size_t point = 0; point < count; ++point) {
          if (cols.beyond_points[point] != 0) formats[point].fill = &beyond_fill;
          pointers.push_back(&formats[point]);
        }
        pointers.push_back(nullptr);
        chart_series_set_points(series, pointers.data());
      }
      any = true;
    }
    return any ? chart : nullptr;
  }

  lxw_workbook* workbook_;
  SheetNamer namer_;
  std::string sheet_name_;  // of the sheet being written
  std::size_t number_ = 0;  // of the report being written, 1-based
  lxw_format* title_ = nullptr;
  lxw_format* subtitle_ = nullptr;
  lxw_format* header_ = nullptr;
  lxw_format* row_label_ = nullptr;
  lxw_format* highlight_ = nullptr;
  lxw_format* footnote_ = nullptr;
  lxw_format* text_ = nullptr;
};

}  // namespace

std::string SheetNamer::Next(std::string_view title, std::size_t number) {
  std::string name = CleanText(title);
  for (char& c : name) {
    switch (c) {
      case '[':
        c = '(';
        break;
      case ']':
        c = ')';
        break;
      case ':':
      case '/':
        c = '-';
        break;
      case '*':
      case '?':
      case '\\':
        c = '_';
        break;
      case '\t':
      case '\n':
        c = ' ';
        break;
      default:
        break;
    }
  }
  const auto strip = [](std::string text) {
    // Apostrophes may not open or close a name; blanks there would only confuse.
    while (!text.empty() && (text.front() == '\'' || text.front() == ' ')) text.erase(0, 1);
    while (!text.empty() && (text.back() == '\'' || text.back() == ' ')) text.pop_back();
    return text;
  };
  name = strip(Utf16Prefix(strip(name), kMaxLength));
  if (name.empty()) name = ReportName("", number);

  const auto taken = [&](const std::string& candidate) {
    const std::string folded = FoldCase(candidate);
    return folded == "history" || used_.count(folded) != 0;
  };
  std::string candidate = name;
  for (std::size_t copy = 2; taken(candidate); ++copy) {
    const std::string suffix = " (" + std::to_string(copy) + ")";
    candidate = strip(Utf16Prefix(name, kMaxLength - suffix.size())) + suffix;
  }
  used_.insert(FoldCase(candidate));
  return candidate;
}

bool WriteWorkbook(const std::vector<Report>& reports,
                   const std::string& path,
                   std::string* error) {
  namespace fs = std::filesystem;
  // The library writes the file itself; it goes to a temporary name beside the target and is
  // put in place by the same atomic write as every other output.
  fs::path folder = fs::path(path).parent_path();
  if (folder.empty()) folder = ".";
  std::string temporary = (folder / ".report-xlsx-XXXXXX").string();
  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) {
    *error = FormatMessage(MessageId::kFileCannotCreateTemporary,
                           path,
                           std::error_code(errno, std::generic_category()).message());
    return false;
  }
  ::close(fd);
  struct RemoveOnExit {
    std::string path;
    ~RemoveOnExit() {
      std::error_code ignored;
      fs::remove(path, ignored);
    }
  } cleanup{temporary};

  lxw_workbook_options options{};
  // Rows go to disk as they are written, so that long tables do not have to fit in memory.
  options.constant_memory = LXW_TRUE;
  WorkbookHandle workbook(workbook_new_opt(temporary.c_str(), &options));
  if (workbook.get() == nullptr) {
    *error = FormatMessage(
        MessageId::kFileCannotWrite, path, lxw_strerror(LXW_ERROR_MEMORY_MALLOC_FAILED));
    return false;
  }
  WorkbookWriter writer(workbook.get());
  for (const Report& report : reports) writer.Add(report);
  writer.EnsureOneSheet();
  const lxw_error closed = workbook.Close();
  if (closed != LXW_NO_ERROR) {
    *error = FormatMessage(MessageId::kFileCannotWrite, path, lxw_strerror(closed));
    return false;
  }
  std::string content;
  if (!ReadWholeFile(temporary, &content, error)) return false;
  return WriteFileAtomically(path, content, error);
}

}  // namespace mspc::platform
