#include "platform/xlsx_report_writer.hpp"

#include <gtest/gtest.h>
#include <stdio.h>

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
using V = std::vector<double>;

TEST(SheetNamer, KeepsEveryNameWithinTheWorkbookRules) {
  const std::string long_title = "Hotelling T\xC2\xB2 contribution plot for case 123456";
  const std::pair<std::string, std::string> cases[] = {
      {"Summary", "Summary"},
      {"SUMMARY", "SUMMARY (2)"},  // names are unique ignoring case
      {"summary", "summary (3)"},
      {"a[b]c:d*e?f/g\\h", "a(b)c-d_e_f-g_h"},
      {"'quoted'", "quoted"},
      {"  \t\n ", "Report 6"},
      {"", "Report 7"},
      {"history", "history (2)"},  // reserved by the spreadsheet program
      // Cut to 31 characters, the blank that ends them dropped.
      {long_title, "Hotelling T\xC2\xB2 contribution plot"},
      {long_title, "Hotelling T\xC2\xB2 contribution p (2)"},
      // A character beyond the basic plane counts twice, as the limit counts UTF-16 units.
      {std::string(30, 'x') + "\xF0\x9F\x93\x88", std::string(30, 'x')},
      {"bad\xFFname", "bad\xEF\xBF\xBDname"},  // not UTF-8: cleaned before it is used
  };
  SheetNamer namer;
  int number = 0;
  for (const auto& [title, name] : cases) EXPECT_EQ(namer.Next(title, ++number), name) << title;
}

// The value of the first attribute an XPath such as "//a:ln/@val" finds; empty if none.
std::string Attribute(const pugi::xml_node& node, const std::string& xpath) {
  return node.select_node(xpath.c_str()).attribute().value();
}

// The cells a chart's range names ("'Sheet name'!$C$29:$C$88"), and its sheet.
struct Range {
  std::string sheet;
  std::vector<std::string> cells;
};

Range ParseRange(const std::string& formula) {
  static const std::regex kPattern(R"(^'?(.*?)'?!\$([A-Z]+)\$(\d+)(?::\$\2\$(\d+))?$)");
  std::smatch match;
  Range range;
  EXPECT_TRUE(std::regex_match(formula, match, kPattern)) << formula;
  if (match.empty()) return range;
  range.sheet = match[1];
  const int first = std::stoi(match[3]);
  for (int row = first; row <= (match[4].matched ? std::stoi(match[4]) : first); ++row) {
    range.cells.push_back(match[2].str() + std::to_string(row));
  }
  return range;
}

// A chart series: the ranges of its name, x (or categories) and y (or values).
struct Series {
  Range name, x, y;
};

// A worksheet's cells by reference ("B7"): inline text or a number, and the style index.
struct Cell {
  std::optional<std::string> text;
  std::optional<double> number;
  int style = 0;
};

struct Sheet {
  std::map<std::string, Cell> cells;

  std::string Text(const std::string& reference) const {
    const auto found = cells.find(reference);
    return found != cells.end() && found->second.text ? *found->second.text : "";
  }
  // The numbers of a range, NaN for an empty cell.
  V Numbers(const Range& range) const {
    V values;
    for (const std::string& reference : range.cells) {
      const auto found = cells.find(reference);
      values.push_back(found != cells.end() && found->second.number ? *found->second.number
                                                                    : std::nan(""));
    }
    return values;
  }
  std::string NameOf(const Series& series) const { return Text(series.name.cells.at(0)); }
};

// The files of a workbook, read back with the `unzip` tool.
struct Workbook {
  std::string path;

  static bool UnzipAvailable() { return std::system("unzip -v >/dev/null 2>&1") == 0; }

  pugi::xml_document Xml(const std::string& member) const {
    const std::string command = "unzip -p '" + path + "' '" + member + "' 2>/dev/null";
    std::string text;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
      char buffer[4096];
      std::size_t count = 0;
      while ((count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) text.append(buffer, count);
      ::pclose(pipe);
    }
    pugi::xml_document document;
    EXPECT_TRUE(document.load_string(text.c_str())) << member;
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

  Sheet Cells(std::size_t index) const {
    Sheet sheet;
    const auto xml = Xml("xl/worksheets/sheet" + std::to_string(index + 1) + ".xml");
    for (const auto& found : xml.select_nodes("//sheetData/row/c")) {
      const pugi::xml_node c = found.node();
      Cell& cell = sheet.cells[c.attribute("r").value()];
      cell.style = c.attribute("s").as_int();
      if (std::string(c.attribute("t").value()) == "inlineStr") {
        cell.text = c.child("is").child("t").text().get();
      } else if (c.child("v")) {
        cell.number = c.child("v").text().as_double();
      }
    }
    return sheet;
  }

  // The chart drawn on the sheet at `index` (0-based), found through the package's relations.
  pugi::xml_document Chart(std::size_t index) const {
    const auto target = [&](const std::string& rels) {  // "../drawings/drawingN.xml"
      const std::string to = Attribute(Xml(rels), "//Relationship/@Target");
      return to.substr(to.rfind('/') + 1);
    };
    const std::string drawing =
        target("xl/worksheets/_rels/sheet" + std::to_string(index + 1) + ".xml.rels");
    return Xml("xl/charts/" + target("xl/drawings/_rels/" + drawing + ".rels"));
  }

  static std::vector<Series> SeriesOf(const pugi::xml_document& chart) {
    std::vector<Series> all;
    for (const auto& found : chart.select_nodes("//c:ser")) {
      const auto range = [&](const char* path) {
        return ParseRange(found.node().select_node(path).node().text().get());
      };
      all.push_back({range("c:tx/c:strRef/c:f"),
                     range("c:xVal//c:f | c:cat//c:f"),
                     range("c:yVal//c:f | c:val//c:f")});
    }
    return all;
  }
};

class XlsxRoundTrip : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!Workbook::UnzipAvailable()) GTEST_SKIP() << "unzip is not installed";
    std::string error;
    ASSERT_TRUE(WriteWorkbook(ReportSamples::All(), book_.path, &error)) << error;
  }

  testing::TempFolder folder_;
  Workbook book_{folder_.File("report.xlsx")};
};

TEST_F(XlsxRoundTrip, OneSheetPerReportNamedWithinTheRules) {
  EXPECT_EQ(book_.SheetNames(),
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
  const Sheet sheet = book_.Cells(0);
  const Spreadsheet summary = ReportSamples::Summary();
  const std::pair<const char*, std::string> texts[] = {
      {"A1", summary.title},  // the whole title, whatever the sheet's name
      {"A2", summary.subtitles[0]},
      {"A3", "<script>alert(1)</script>"},
      {"A5", "Comp."},
      {"B5", "R\xC2\xB2X"},
      {"E5", "Blank"},
      {"A6", "1"},
      {"D6", "S"},
      {"D7", "<NS>"},
      {"A9", "S: significant & kept"}};
  for (const auto& [reference, text] : texts) EXPECT_EQ(sheet.Text(reference), text) << reference;
  EXPECT_EQ(sheet.Numbers(ParseRange("'s'!$B$6:$B$7")), (V{0.5, 0.25}));
  EXPECT_EQ(sheet.Numbers(ParseRange("'s'!$C$7")), (V{3.5}));
  // Missing and not-a-number cells are empty.
  EXPECT_EQ(sheet.cells.count("E6") + sheet.cells.count("E7"), 0u);

  // Highlighted cells (row 0 column 2 and row 1 column 0) have a style filled in yellow, and
  // no other cell has it.
  const pugi::xml_document styles = book_.Xml("xl/styles.xml");
  for (const auto& [reference, cell] : sheet.cells) {
    const std::string fill =
        Attribute(styles, "//cellXfs/xf[" + std::to_string(cell.style + 1) + "]/@fillId");
    const std::string colour = Attribute(
        styles,
        "//fills/fill[" + std::to_string(std::stoi(fill) + 1) + "]/patternFill/fgColor/@rgb");
    EXPECT_EQ(colour == "FFFFF3A0", reference == "D6" || reference == "B7") << reference;
  }
}

TEST_F(XlsxRoundTrip, ControlChartRefersToItsDataLimitLinesAndMarkedPoints) {
  const Sheet sheet = book_.Cells(1);
  const pugi::xml_document chart = book_.Chart(1);
  EXPECT_TRUE(chart.select_node("//c:scatterChart"));
  const auto series = Workbook::SeriesOf(chart);
  ASSERT_EQ(series.size(), 4u);  // T², the two limit lines, the points beyond the limit
  const Graph graph = ReportSamples::ControlChart();
  for (const Series& one : series) {
    EXPECT_EQ(one.x.sheet, "Hotelling T\xC2\xB2 Control Chart");
    EXPECT_EQ(one.y.sheet, one.x.sheet);
  }

  EXPECT_EQ(sheet.NameOf(series[0]), "T\xC2\xB2");
  EXPECT_EQ(sheet.Numbers(series[0].x), graph.series[0].x);
  const V y = sheet.Numbers(series[0].y);
  ASSERT_EQ(y.size(), graph.series[0].y.size());
  for (std::size_t point = 0; point < y.size(); ++point) {
    // An empty cell (a gap in the line) at the missing case; 16 significant digits elsewhere.
    const double expected = graph.series[0].y[point];
    const bool missing = point == ReportSamples::kMissingCase;
    EXPECT_TRUE(missing ? std::isnan(y[point]) : std::fabs(y[point] - expected) <= expected * 1e-15)
        << point << ": " << y[point];
  }

  // Each limit line is a horizontal two-point series across the cases, named by its label.
  for (std::size_t line = 0; line < 2; ++line) {
    EXPECT_EQ(sheet.NameOf(series[1 + line]), graph.lines[line].label);
    EXPECT_EQ(sheet.Numbers(series[1 + line].x), (V{1.0, 60.0}));
    EXPECT_EQ(sheet.Numbers(series[1 + line].y), V(2, graph.lines[line].value));
  }
  EXPECT_EQ(Attribute(chart, "//c:ser[3]/c:spPr/a:ln/a:prstDash/@val"), "dash");  // warning

  // The marked points: values only at the cases beyond the control line, drawn in red.
  EXPECT_EQ(sheet.NameOf(series[3]), "T\xC2\xB2 beyond the control limit");
  const V marked = sheet.Numbers(series[3].y);
  std::vector<std::size_t> marked_cases;
  for (std::size_t point = 0; point < marked.size(); ++point) {
    if (!std::isnan(marked[point])) marked_cases.push_back(point);
  }
  EXPECT_EQ(marked_cases, ReportSamples::BeyondCases());
  EXPECT_EQ(Attribute(chart, "//c:ser[4]/c:marker/c:spPr/a:solidFill/a:srgbClr/@val"), "D62728");
}

// Where the edges lie is the layout's business (report_layout_test); here an upright and a
// level edge show that each reaches the sheet with its ends in the right columns.
TEST_F(XlsxRoundTrip, ScatterLimitsAreTheEdgesOfTheirBoxes) {
  const Sheet sheet = book_.Cells(2);
  const auto series = Workbook::SeriesOf(book_.Chart(2));
  const Graph graph = ReportSamples::ScoreScatter();
  ASSERT_EQ(series.size(), 1 + graph.lines.size() + 1);  // scores, 8 edges, the point beyond
  std::map<std::string, V> edges;                        // by label: x0, x1, y0, y1
  for (std::size_t index = 1; index <= graph.lines.size(); ++index) {
    V ends = sheet.Numbers(series[index].x);
    const V ys = sheet.Numbers(series[index].y);
    ends.insert(ends.end(), ys.begin(), ys.end());
    edges[sheet.NameOf(series[index])] = ends;
  }
  EXPECT_EQ(edges.at("t1 upper control limit"), (V{3.0, 3.0, -2.5, 2.5}));
  EXPECT_EQ(edges.at("t2 lower warning limit"), (V{-2.0, 2.0, -1.75, -1.75}));
}

TEST_F(XlsxRoundTrip, BarsEmptyReportsAndTextsStillMakeTheirSheets) {
  // The bar chart's categories are the point labels.
  const pugi::xml_document bar_chart = book_.Chart(3);
  EXPECT_TRUE(bar_chart.select_node("//c:barChart"));
  const auto bars = Workbook::SeriesOf(bar_chart);
  ASSERT_EQ(bars.size(), 1u);
  const Sheet bar_sheet = book_.Cells(3);
  EXPECT_EQ(bar_sheet.Text(bars[0].x.cells.at(0)), "x1");
  EXPECT_EQ(bar_sheet.Numbers(bars[0].y), (V{0.5, -1.25, 2.0, 0.75, -0.25}));

  const Sheet empty_table = book_.Cells(4);
  EXPECT_EQ(empty_table.Text("A3") + "|" + empty_table.Text("B3"), "Case|Cause");
  EXPECT_EQ(empty_table.cells.size(), 3u);  // the title and the two headers

  // Nothing finite to plot: the chart is there, over empty cells, and the sheet opens.
  const Sheet nothing = book_.Cells(5);
  EXPECT_EQ(nothing.Text("A1"), "Report 6");
  const auto nothing_series = Workbook::SeriesOf(book_.Chart(5));
  ASSERT_EQ(nothing_series.size(), 1u);
  for (const double value : nothing.Numbers(nothing_series[0].y)) EXPECT_TRUE(std::isnan(value));

  const Sheet text = book_.Cells(6);
  EXPECT_EQ(text.Text("A3") + "|" + text.Text("A4"), "<PMML version=\"4.2\">|</PMML>");
  EXPECT_EQ(text.cells.count("A5"), 0u);

  const std::string last = "'s'!$B$" + std::to_string(3 + ReportSamples::kLongTableRows);
  EXPECT_EQ(book_.Cells(7).Numbers(ParseRange(last)), V{0.5 * (ReportSamples::kLongTableRows - 1)});
}

TEST(XlsxReportWriter, NoReportsStillMakeAWorkbookAndAnUnwritablePlaceIsReported) {
  testing::TempFolder folder;
  std::string error;
  ASSERT_TRUE(WriteWorkbook({}, folder.File("empty.xlsx"), &error)) << error;
  if (Workbook::UnzipAvailable()) {
    EXPECT_EQ(Workbook{folder.File("empty.xlsx")}.SheetNames(),
              std::vector<std::string>{"Report 1"});
  }
  EXPECT_FALSE(WriteWorkbook(ReportSamples::All(), folder.File("missing/report.xlsx"), &error));
  EXPECT_NE(error.find("missing/report.xlsx"), std::string::npos) << error;
  EXPECT_EQ(folder.Entries(), std::vector<std::string>{"empty.xlsx"});
}

}  // namespace
}  // namespace mspc::platform
