#include "platform/xlsx_report_writer.hpp"

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>

#include <cmath>
#include <map>
#include <optional>
#include <pugixml.hpp>
#include <regex>

#include "platform/report_samples.hpp"
#include "platform/temp_folder.hpp"

namespace mspc::platform {
namespace {

using testing::ReportSamples;

constexpr double kSixteenDigits = 1e-15;  // relative error of a number written with 16 digits

TEST(SheetNamer, KeepsEveryNameWithinTheWorkbookRules) {
  SheetNamer namer;
  EXPECT_EQ(namer.Next("Summary", 1), "Summary");
  EXPECT_EQ(namer.Next("SUMMARY", 2), "SUMMARY (2)");  // names are unique ignoring case
  EXPECT_EQ(namer.Next("summary", 3), "summary (3)");
  EXPECT_EQ(namer.Next("a[b]c:d*e?f/g\\h", 4), "a(b)c-d_e_f-g_h");
  EXPECT_EQ(namer.Next("'quoted'", 5), "quoted");
  EXPECT_EQ(namer.Next("  \t\n ", 6), "Report 6");
  EXPECT_EQ(namer.Next("", 7), "Report 7");
  EXPECT_EQ(namer.Next("history", 8), "history (2)");  // reserved by the spreadsheet program

  const std::string long_title = "Hotelling T\xC2\xB2 contribution plot for case 123456";
  const std::string first = namer.Next(long_title, 9);
  // Cut to 31 characters, the blank that ends them dropped.
  EXPECT_EQ(first, "Hotelling T\xC2\xB2 contribution plot");
  EXPECT_EQ(namer.Next(long_title, 10), "Hotelling T\xC2\xB2 contribution p (2)");
  // A character beyond the basic plane counts twice, as the limit counts UTF-16 units.
  const std::string emoji = "\xF0\x9F\x93\x88";
  EXPECT_EQ(namer.Next(std::string(30, 'x') + emoji, 11), std::string(30, 'x'));
  // Not UTF-8: cleaned before it is used.
  EXPECT_EQ(namer.Next("bad\xFFname", 12), "bad\xEF\xBF\xBDname");
}

// The files of a workbook, read back with the `unzip` tool.
class WorkbookFiles {
 public:
  explicit WorkbookFiles(std::string path) : path_(std::move(path)) {}

  static bool UnzipAvailable() { return std::system("unzip -v >/dev/null 2>&1") == 0; }

  pugi::xml_document Xml(const std::string& member) const {
    const std::string command = "unzip -p '" + path_ + "' '" + member + "' 2>/dev/null";
    std::string text;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
      char buffer[4096];
      std::size_t count = 0;
      while ((count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) text.append(buffer, count);
      ::pclose(pipe);
    }
    pugi::xml_document document;
    const pugi::xml_parse_result parsed = document.load_string(text.c_str());
    EXPECT_TRUE(parsed) << member << ": " << parsed.description();
    return document;
  }

  std::vector<std::string> SheetNames() const {
    std::vector<std::string> names;
    const pugi::xml_document workbook = Xml("xl/workbook.xml");
    for (const auto& sheet : workbook.select_nodes("/workbook/sheets/sheet")) {
      names.push_back(sheet.node().attribute("name").value());
    }
    return names;
  }

  // The chart drawn on the sheet at `index` (0-based), following the package's relations.
  std::optional<std::string> ChartOfSheet(std::size_t index) const {
    const auto target = [&](const std::string& rels) -> std::string {
      const pugi::xml_document document = Xml(rels);
      return document.child("Relationships").child("Relationship").attribute("Target").value();
    };
    const std::string sheet_rels =
        "xl/worksheets/_rels/sheet" + std::to_string(index + 1) + ".xml.rels";
    const std::string drawing = target(sheet_rels);  // "../drawings/drawingN.xml"
    if (drawing.empty()) return std::nullopt;
    const std::string drawing_name = drawing.substr(drawing.rfind('/') + 1);
    const std::string chart = target("xl/drawings/_rels/" + drawing_name + ".rels");
    return "xl/charts/" + chart.substr(chart.rfind('/') + 1);
  }

 private:
  std::string path_;
};

// A cell's value as the sheet holds it.
struct Cell {
  std::optional<std::string> text;
  std::optional<double> number;
  int style = 0;
};

// Cells of a worksheet by their reference ("B7"), shared or inline strings alike.
std::map<std::string, Cell> ReadCells(const WorkbookFiles& files, std::size_t index) {
  const pugi::xml_document sheet =
      files.Xml("xl/worksheets/sheet" + std::to_string(index + 1) + ".xml");
  std::map<std::string, Cell> cells;
  for (const auto& found : sheet.select_nodes("//sheetData/row/c")) {
    const pugi::xml_node c = found.node();
    Cell cell;
    cell.style = c.attribute("s").as_int();
    const std::string type = c.attribute("t").value();
    if (type == "inlineStr") {
      cell.text = c.child("is").child("t").text().get();
    } else if (c.child("v")) {
      cell.number = c.child("v").text().as_double();
    }
    cells[c.attribute("r").value()] = cell;
  }
  return cells;
}

// A range of one column as a chart refers to it: "'Sheet name'!$C$29:$C$88".
struct ColumnRange {
  std::string sheet;
  std::string column;
  int first_row = 0;
  int last_row = 0;
};

ColumnRange ParseRange(const std::string& formula) {
  static const std::regex kPattern(R"(^'?(.*?)'?!\$([A-Z]+)\$(\d+)(?::\$([A-Z]+)\$(\d+))?$)");
  std::smatch match;
  EXPECT_TRUE(std::regex_match(formula, match, kPattern)) << formula;
  if (match.empty()) return {};
  ColumnRange range{match[1], match[2], std::stoi(match[3]), std::stoi(match[3])};
  if (match[4].matched) {
    EXPECT_EQ(match[4], match[2]) << formula;
    range.last_row = std::stoi(match[5]);
  }
  return range;
}

// The values of a range: numbers, NaN for an empty cell.
std::vector<double> Numbers(const std::map<std::string, Cell>& cells, const ColumnRange& range) {
  std::vector<double> values;
  for (int row = range.first_row; row <= range.last_row; ++row) {
    const auto found = cells.find(range.column + std::to_string(row));
    values.push_back(found != cells.end() && found->second.number ? *found->second.number
                                                                  : std::nan(""));
  }
  return values;
}

std::string Text(const std::map<std::string, Cell>& cells, const std::string& reference) {
  const auto found = cells.find(reference);
  return found != cells.end() && found->second.text ? *found->second.text : "";
}

// Every series of a chart: its name cell, x (or category) range and y (or value) range.
struct ChartSeries {
  std::string name;
  ColumnRange x;
  ColumnRange y;
};

std::vector<ChartSeries> SeriesOf(const pugi::xml_document& chart) {
  std::vector<ChartSeries> series;
  for (const auto& found : chart.select_nodes("//c:ser")) {
    const pugi::xml_node ser = found.node();
    ChartSeries one;
    one.name = ser.select_node("c:tx/c:strRef/c:f").node().text().get();
    const pugi::xml_node x = ser.child("c:xVal") ? ser.child("c:xVal") : ser.child("c:cat");
    const pugi::xml_node y = ser.child("c:yVal") ? ser.child("c:yVal") : ser.child("c:val");
    one.x = ParseRange(x.select_node(".//c:f").node().text().get());
    one.y = ParseRange(y.select_node(".//c:f").node().text().get());
    series.push_back(one);
  }
  return series;
}

std::string NameCell(const ChartSeries& series) {
  const ColumnRange name = ParseRange(series.name);
  return name.column + std::to_string(name.first_row);
}

class XlsxRoundTrip : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!WorkbookFiles::UnzipAvailable()) GTEST_SKIP() << "unzip is not installed";
    std::string error;
    ASSERT_TRUE(WriteWorkbook(ReportSamples::All(), path_, &error)) << error;
  }

  testing::TempFolder folder_;
  std::string path_ = folder_.File("report.xlsx");
  WorkbookFiles files_{path_};
};

TEST_F(XlsxRoundTrip, OneSheetPerReportNamedWithinTheRules) {
  EXPECT_EQ(files_.SheetNames(),
            (std::vector<std::string>{"Summary <b>&amp; \"R\xC2\xB2\" it's (a)-",
                                      "Hotelling T\xC2\xB2 Control Chart",
                                      "Score scatterplot (t1 vs. t2)",
                                      "Contribution plot",
                                      "Removed cases",
                                      "Report 6",
                                      "model.pmml",
                                      "Score spreadsheet"}));
  EXPECT_EQ(folder_.Entries(), std::vector<std::string>{"report.xlsx"});
}

TEST_F(XlsxRoundTrip, SpreadsheetCellsKeepTheirKindsAndHighlights) {
  const auto cells = ReadCells(files_, 0);
  const Spreadsheet sheet = ReportSamples::Summary();
  EXPECT_EQ(Text(cells, "A1"), sheet.title);  // the whole title, whatever the sheet's name
  EXPECT_EQ(Text(cells, "A2"), sheet.subtitles[0]);
  EXPECT_EQ(Text(cells, "A3"), "<script>alert(1)</script>");
  EXPECT_EQ(Text(cells, "A5"), "Comp.");
  EXPECT_EQ(Text(cells, "B5"), "R\xC2\xB2X");
  EXPECT_EQ(Text(cells, "E5"), "Blank");
  EXPECT_EQ(Text(cells, "A6"), "1");
  ASSERT_TRUE(cells.at("B6").number);
  EXPECT_EQ(*cells.at("B6").number, 0.5);
  EXPECT_EQ(*cells.at("C7").number, 3.5);
  EXPECT_EQ(Text(cells, "D6"), "S");
  EXPECT_EQ(Text(cells, "D7"), "<NS>");
  // Missing and not-a-number cells are empty.
  EXPECT_EQ(cells.count("E6"), 0u);
  EXPECT_EQ(cells.count("E7"), 0u);
  EXPECT_EQ(Text(cells, "A9"), "S: significant & kept");

  // Highlighted cells (row 0 column 2 and row 1 column 0) have a style filled in yellow, and
  // no other cell has it.
  const pugi::xml_document styles = files_.Xml("xl/styles.xml");
  std::vector<std::string> fill_colours;
  for (const auto& fill : styles.select_nodes("/styleSheet/fills/fill")) {
    fill_colours.push_back(
        fill.node().child("patternFill").child("fgColor").attribute("rgb").value());
  }
  const auto fill_of_style = [&](int style) -> std::string {
    const auto xfs = styles.select_nodes("/styleSheet/cellXfs/xf");
    const auto fill = xfs[static_cast<std::size_t>(style)].node().attribute("fillId").as_int();
    return fill_colours[static_cast<std::size_t>(fill)];
  };
  for (const auto& [reference, cell] : cells) {
    const bool highlighted = reference == "D6" || reference == "B7";
    EXPECT_EQ(fill_of_style(cell.style) == "FFFFF3A0", highlighted) << reference;
  }
}

TEST_F(XlsxRoundTrip, ControlChartRefersToItsDataLimitLinesAndMarkedPoints) {
  const auto cells = ReadCells(files_, 1);
  const auto chart_file = files_.ChartOfSheet(1);
  ASSERT_TRUE(chart_file);
  const pugi::xml_document chart = files_.Xml(*chart_file);
  EXPECT_TRUE(chart.select_node("//c:scatterChart"));
  const auto series = SeriesOf(chart);
  ASSERT_EQ(series.size(), 4u);  // T², the two limit lines, the points beyond the limit
  const Graph graph = ReportSamples::ControlChart();
  for (const ChartSeries& one : series) {
    EXPECT_EQ(one.x.sheet, "Hotelling T\xC2\xB2 Control Chart");
    EXPECT_EQ(one.y.sheet, one.x.sheet);
  }

  EXPECT_EQ(Text(cells, NameCell(series[0])), "T\xC2\xB2");
  const std::vector<double> x = Numbers(cells, series[0].x);
  const std::vector<double> y = Numbers(cells, series[0].y);
  ASSERT_EQ(y.size(), graph.series[0].y.size());
  for (std::size_t point = 0; point < y.size(); ++point) {
    EXPECT_EQ(x[point], graph.series[0].x[point]);
    if (point == ReportSamples::kMissingCase) {
      EXPECT_TRUE(std::isnan(y[point]));  // an empty cell: a gap in the line
    } else {
      // The library writes numbers with 16 significant digits.
      const double expected = graph.series[0].y[point];
      EXPECT_NEAR(y[point], expected, std::fabs(expected) * kSixteenDigits) << point;
    }
  }

  // Each limit line is a horizontal two-point series across the cases, named by its label.
  for (std::size_t line = 0; line < 2; ++line) {
    const ChartSeries& one = series[1 + line];
    EXPECT_EQ(Text(cells, NameCell(one)), graph.lines[line].label);
    EXPECT_EQ(Numbers(cells, one.x), (std::vector<double>{1.0, 60.0}));
    EXPECT_EQ(Numbers(cells, one.y),
              (std::vector<double>{graph.lines[line].value, graph.lines[line].value}));
  }
  EXPECT_EQ(chart.select_node("//c:ser[3]/c:spPr/a:ln/a:prstDash").node().attribute("val").value(),
            std::string("dash"));  // the warning line is dashed

  // The marked points: values only at the cases beyond the control line, drawn in red.
  EXPECT_EQ(Text(cells, NameCell(series[3])), "T\xC2\xB2 beyond the control limit");
  const std::vector<double> marked = Numbers(cells, series[3].y);
  std::vector<std::size_t> marked_cases;
  for (std::size_t point = 0; point < marked.size(); ++point) {
    if (!std::isnan(marked[point])) marked_cases.push_back(point);
  }
  EXPECT_EQ(marked_cases, ReportSamples::BeyondCases());
  EXPECT_STREQ(chart.select_node("//c:ser[4]/c:marker/c:spPr/a:solidFill/a:srgbClr")
                   .node()
                   .attribute("val")
                   .value(),
               "D62728");
}

TEST_F(XlsxRoundTrip, ScatterLimitsAreTheEdgesOfTheirBoxes) {
  const auto cells = ReadCells(files_, 2);
  const auto chart_file = files_.ChartOfSheet(2);
  ASSERT_TRUE(chart_file);
  const auto series = SeriesOf(files_.Xml(*chart_file));
  const Graph graph = ReportSamples::ScoreScatter();
  ASSERT_EQ(series.size(), 1 + graph.lines.size() + 1);  // scores, 8 edges, the point beyond
  // Edges by their labels: (x0, x1, y0, y1).
  std::map<std::string, std::vector<double>> edges;
  for (std::size_t index = 1; index <= graph.lines.size(); ++index) {
    std::vector<double> ends = Numbers(cells, series[index].x);
    const std::vector<double> ys = Numbers(cells, series[index].y);
    ends.insert(ends.end(), ys.begin(), ys.end());
    edges[Text(cells, NameCell(series[index]))] = ends;
  }
  using V = std::vector<double>;
  EXPECT_EQ(edges.at("t1 upper control limit"), (V{3.0, 3.0, -2.5, 2.5}));
  EXPECT_EQ(edges.at("t2 lower control limit"), (V{-3.0, 3.0, -2.5, -2.5}));
  EXPECT_EQ(edges.at("t1 lower warning limit"), (V{-2.0, -2.0, -1.75, 1.75}));
  EXPECT_EQ(edges.at("t2 upper warning limit"), (V{-2.0, 2.0, 1.75, 1.75}));
}

TEST_F(XlsxRoundTrip, BarsEmptyReportsAndTextsStillMakeTheirSheets) {
  // The bar chart's categories are the point labels.
  const auto bar_file = files_.ChartOfSheet(3);
  ASSERT_TRUE(bar_file);
  const pugi::xml_document bar_chart = files_.Xml(*bar_file);
  EXPECT_TRUE(bar_chart.select_node("//c:barChart"));
  const auto bars = SeriesOf(bar_chart);
  ASSERT_EQ(bars.size(), 1u);
  const auto bar_cells = ReadCells(files_, 3);
  EXPECT_EQ(Text(bar_cells, bars[0].x.column + std::to_string(bars[0].x.first_row)), "x1");
  EXPECT_EQ(Numbers(bar_cells, bars[0].y), (std::vector<double>{0.5, -1.25, 2.0, 0.75, -0.25}));

  const auto empty_table = ReadCells(files_, 4);
  EXPECT_EQ(Text(empty_table, "A3"), "Case");
  EXPECT_EQ(Text(empty_table, "B3"), "Cause");
  EXPECT_EQ(empty_table.size(), 3u);  // the title and the two headers

  // Nothing finite to plot: the chart is there, over empty cells, and the sheet opens.
  const auto nothing = ReadCells(files_, 5);
  EXPECT_EQ(Text(nothing, "A1"), "Report 6");
  const auto nothing_file = files_.ChartOfSheet(5);
  ASSERT_TRUE(nothing_file);
  const auto nothing_series = SeriesOf(files_.Xml(*nothing_file));
  ASSERT_EQ(nothing_series.size(), 1u);
  for (const double value : Numbers(nothing, nothing_series[0].y)) EXPECT_TRUE(std::isnan(value));

  const auto text = ReadCells(files_, 6);
  EXPECT_EQ(Text(text, "A3"), "<PMML version=\"4.2\">");
  EXPECT_EQ(Text(text, "A4"), "</PMML>");
  EXPECT_EQ(text.count("A5"), 0u);

  const auto long_table = ReadCells(files_, 7);
  const std::string last = "B" + std::to_string(3 + ReportSamples::kLongTableRows);
  ASSERT_TRUE(long_table.count(last));
  EXPECT_EQ(*long_table.at(last).number, 0.5 * (ReportSamples::kLongTableRows - 1));
}

TEST(XlsxReportWriter, NoReportsStillMakeAWorkbookAndAnUnwritablePlaceIsReported) {
  testing::TempFolder folder;
  std::string error;
  ASSERT_TRUE(WriteWorkbook({}, folder.File("empty.xlsx"), &error)) << error;
  if (WorkbookFiles::UnzipAvailable()) {
    EXPECT_EQ(WorkbookFiles(folder.File("empty.xlsx")).SheetNames(),
              std::vector<std::string>{"Report 1"});
  }
  EXPECT_FALSE(WriteWorkbook(ReportSamples::All(), folder.File("missing/report.xlsx"), &error));
  EXPECT_NE(error.find("missing/report.xlsx"), std::string::npos) << error;
  EXPECT_EQ(folder.Entries(), std::vector<std::string>{"empty.xlsx"});
}

}  // namespace
}  // namespace mspc::platform
