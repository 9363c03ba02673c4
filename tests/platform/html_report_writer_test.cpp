#include "platform/html_report_writer.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <pugixml.hpp>
#include <regex>
#include <sstream>

#include "platform/report_samples.hpp"
#include "platform/temp_folder.hpp"

namespace mspc::platform {
namespace {

using testing::ReportSamples;

std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

TEST(HtmlReport, EscapesEveryTextAndFetchesNothing) {
  EXPECT_EQ(EscapeHtml("<a href=\"x\">Tom & Jerry's</a>"),
            "&lt;a href=&quot;x&quot;&gt;Tom &amp; Jerry&#39;s&lt;/a&gt;");
  EXPECT_EQ(EscapeHtml("bad\xFF"), "bad\xEF\xBF\xBD");

  const std::string page = ReportsToHtml(ReportSamples::All());
  for (const char* escaped : {"&lt;script&gt;alert(1)&lt;/script&gt;",
                              "Summary &lt;b&gt;&amp;amp; &quot;R\xC2\xB2&quot; it&#39;s",
                              "<td>&lt;NS&gt;</td>",
                              "<pre>&lt;PMML version=&quot;4.2&quot;&gt;",
                              "Content-Security-Policy\" content=\"default-src 'none'"}) {
    EXPECT_NE(page.find(escaped), std::string::npos) << escaped;
  }
  // Nothing is fetched: no script, link, source, import or remote address.
  for (const char* fetch : {"<script", "<link", " src=", "@import", "url(", "https:"}) {
    EXPECT_EQ(page.find(fetch), std::string::npos) << fetch;
  }
  // The one address is the SVG namespace name, which is never fetched.
  EXPECT_EQ(Count(page, "http:"), Count(page, "http://www.w3.org/2000/svg"));
}

TEST(HtmlReport, ContentsLinkEveryReportInOrder) {
  const std::string page = ReportsToHtml(ReportSamples::All());
  const std::regex link(R"re(<li><a href="#(report-\d+)">([^<]*)</a></li>)re");
  std::vector<std::string> targets;
  std::vector<std::string> names;
  for (auto it = std::sregex_iterator(page.begin(), page.end(), link); it != std::sregex_iterator();
       ++it) {
    targets.push_back((*it)[1]);
    names.push_back((*it)[2]);
  }
  ASSERT_EQ(targets.size(), 8u);
  EXPECT_EQ(names[1], "Hotelling T\xC2\xB2 Control Chart");
  EXPECT_EQ(names[5], "Report 6");  // the untitled graph
  std::size_t previous = 0;
  for (const std::string& target : targets) {
    const std::size_t section = page.find("id=\"" + target + "\"");
    ASSERT_NE(section, std::string::npos) << target;
    EXPECT_GT(section, previous) << target;
    previous = section;
  }
}

TEST(HtmlReport, LongTablesShowTheirFirstRowsWithANote) {
  HtmlReportOptions options;
  const std::string page = ReportsToHtml({ReportSamples::LongTable()}, options);
  EXPECT_EQ(Count(page, "<tr><th scope=\"row\">"), options.max_table_rows);
  EXPECT_NE(page.find("<th scope=\"row\">1000</th>"), std::string::npos);
  EXPECT_EQ(page.find("<th scope=\"row\">1001</th>"), std::string::npos);
  EXPECT_NE(
      page.find("Showing the first 1000 of 1500 rows; the workbook report.xlsx has them all."),
      std::string::npos);

  options.workbook_written = false;
  options.max_table_rows = 2;
  const std::string short_page = ReportsToHtml({ReportSamples::ControlChart()}, options);
  // The list of points beyond the limit is shortened the same way.
  EXPECT_NE(short_page.find("Showing the first 2 of 3 rows."), std::string::npos);
  EXPECT_EQ(short_page.find("report.xlsx"), std::string::npos);
}

// The SVG of a chart, parsed: it is XML as well as HTML.
pugi::xml_document ParseSvg(const Graph& graph) {
  pugi::xml_document svg;
  const pugi::xml_parse_result parsed = svg.load_string(GraphToSvg(graph).c_str());
  EXPECT_TRUE(parsed) << parsed.description();
  return svg;
}

TEST(HtmlChart, ControlChartMarksExactlyThePointsAboveItsControlLine) {
  const Graph graph = ReportSamples::ControlChart();
  const pugi::xml_document svg = ParseSvg(graph);
  const auto control = svg.select_nodes("//g[@class='limit control']");
  const auto warning = svg.select_nodes("//g[@class='limit warning']");
  ASSERT_EQ(control.size() + warning.size(), 2u);
  EXPECT_EQ(std::string(control[0].node().child_value("text")), graph.lines[0].label);
  EXPECT_EQ(std::string(warning[0].node().child_value("text")), graph.lines[1].label);
  const pugi::xml_node line = control[0].node().child("line");
  const double control_y = line.attribute("y1").as_double();
  EXPECT_EQ(control_y, line.attribute("y2").as_double());                             // level
  EXPECT_LT(control_y, warning[0].node().child("line").attribute("y1").as_double());  // above

  // Marked points sit above the control line (smaller y on screen), every other marker below.
  const auto beyond = svg.select_nodes("//circle[@class='beyond']");
  EXPECT_EQ(beyond.size(), ReportSamples::BeyondCases().size());
  for (const auto& point : beyond) EXPECT_LT(point.node().attribute("cy").as_double(), control_y);
  const auto markers = svg.select_nodes("//g[@class='series']/circle[not(@class)]");
  EXPECT_EQ(markers.size(),
            ReportSamples::kControlPoints - ReportSamples::BeyondCases().size() - 1);  // 1 missing
  for (const auto& point : markers) EXPECT_GT(point.node().attribute("cy").as_double(), control_y);
  // The line breaks at the missing case: two moves in its path.
  EXPECT_EQ(Count(svg.select_node("//g[@class='series']/path").node().attribute("d").value(), "M"),
            2u);

  // Axis titles, a legend entry for the series and one for the marked points, and ticks that
  // reach past the largest value, 17.6.
  const auto titles = svg.select_nodes("//text[@class='axis-title']");
  ASSERT_EQ(titles.size(), 2u);
  EXPECT_EQ(std::string(titles[0].node().child_value()) + "|" + titles[1].node().child_value(),
            "Case|T\xC2\xB2");
  EXPECT_EQ(svg.select_nodes("//g[@class='legend']/text").size(), 2u);
  double top_tick = 0.0;
  for (const auto& tick : svg.select_nodes("//text[@class='tick-label']")) {
    top_tick = std::max(top_tick, tick.node().text().as_double());
  }
  EXPECT_GE(top_tick, 16.0);

  // Under the chart, the page lists the marked cases by their labels.
  const std::string page = ReportsToHtml({graph});
  EXPECT_NE(page.find("<summary>Points beyond the control limit (3)</summary>"), std::string::npos);
  for (const std::size_t index : ReportSamples::BeyondCases()) {
    const std::string row = "<tr><td>case &lt;" + std::to_string(index + 1) + "&gt;</td>";
    EXPECT_NE(page.find(row), std::string::npos) << row;
  }
}

TEST(HtmlChart, ScatterLimitsDrawTheirBoxes) {
  const pugi::xml_document svg = ParseSvg(ReportSamples::ScoreScatter());
  const auto control = svg.select_nodes("//g[@class='limit control']/line");
  ASSERT_EQ(control.size(), 4u);
  ASSERT_EQ(svg.select_nodes("//g[@class='limit warning']/line").size(), 4u);
  // The four control edges close a rectangle: every corner is the end of two edges.
  std::map<std::pair<long, long>, int> corners;
  for (const auto& edge : control) {
    for (const auto& [x, y] : {std::pair("x1", "y1"), std::pair("x2", "y2")}) {
      ++corners[{std::lround(edge.node().attribute(x).as_double() * 100),
                 std::lround(edge.node().attribute(y).as_double() * 100)}];
    }
  }
  EXPECT_EQ(corners.size(), 4u);
  for (const auto& [corner, count] : corners) EXPECT_EQ(count, 2);
  EXPECT_EQ(svg.select_nodes("//circle[@class='beyond']").size(), 1u);
  EXPECT_EQ(svg.select_nodes("//text[@class='point-label']").size(), 40u);
}

// An SVG with no "nan" or "inf" in it that parses as XML; the number of `element`s in it.
std::size_t CleanSvg(const std::string& svg, const char* element) {
  for (const char* bad : {"nan", "inf"}) EXPECT_EQ(svg.find(bad), std::string::npos) << bad;
  pugi::xml_document parsed;
  EXPECT_TRUE(parsed.load_string(svg.c_str()));
  return parsed.select_nodes(element).size();
}

TEST(HtmlChart, GraphsWithNothingToPlotStillDrawTheirFrame) {
  const std::string svg = GraphToSvg(ReportSamples::NothingToPlot());
  EXPECT_NE(svg.find("No values to plot."), std::string::npos);
  EXPECT_EQ(CleanSvg(svg, "//path"), 0u);
  EXPECT_EQ(svg.find("class=\"limit"), std::string::npos);  // its line is not a number
  // Values near the largest double keep every coordinate finite.
  Graph huge = ReportSamples::Bars();
  huge.series[0].y = {1e308, -1e308, 0.0};
  EXPECT_EQ(CleanSvg(GraphToSvg(huge), "//g[@class='series']/rect"), 3u);
}

// Headless Chromium loads the page: without a console message (a refused fetch, a blocked style
// or a script error would print one), and with every chart.
class HtmlReportInBrowser : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* path : {"/usr/bin/chromium", "/usr/bin/chromium-browser"}) {
      if (std::filesystem::exists(path)) chromium_ = path;
    }
    if (chromium_.empty()) GTEST_SKIP() << "Chromium is not installed (Debian package chromium)";
  }

  // Run Chromium on a page; returns the lines of its console, with the DOM in stdout.txt.
  std::vector<std::string> Run(const std::string& page) {
    const std::string command =
        chromium_ +
        " --headless --no-sandbox --disable-gpu --disable-background-networking"
        " --disable-component-update --disable-sync --no-first-run --enable-logging=stderr"
        " --v=0 --user-data-dir='" +
        folder_.File("profile") + "' --dump-dom 'file://" + page + "' >'" +
        folder_.File("stdout.txt") + "' 2>'" + folder_.File("stderr.txt") + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    std::istringstream log(testing::ReadText(folder_.File("stderr.txt")));
    std::vector<std::string> console;
    for (std::string line; std::getline(log, line);) {
      if (line.find(":CONSOLE") != std::string::npos) console.push_back(line);
    }
    return console;
  }

  std::string chromium_;
  testing::TempFolder folder_;
};

TEST_F(HtmlReportInBrowser, LoadsWithoutConsoleMessagesAndShowsEveryChart) {
  // The check itself: a page that tries a fetch is caught.
  const std::string fetching = folder_.Write(
      "fetching.html",
      "<!DOCTYPE html><html><head><meta http-equiv=\"Content-Security-Policy\" "
      "content=\"default-src 'none'\"></head><body><img src=\"http://example.invalid/a.png\">"
      "</body></html>");
  EXPECT_FALSE(Run(fetching).empty());

  std::string error;
  const std::string page = folder_.File("report.html");
  ASSERT_TRUE(WriteHtmlReport(ReportSamples::All(), page, {}, &error)) << error;
  const std::vector<std::string> console = Run(page);
  EXPECT_TRUE(console.empty()) << console.front();

  // Every chart is in the DOM the browser built (what each draws is checked above).
  EXPECT_EQ(Count(testing::ReadText(folder_.File("stdout.txt")), "<svg "), 4u);
}

}  // namespace
}  // namespace mspc::platform
