#include "platform/report_layout.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace mspc::platform {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(CleanText, KeepsValidTextAndReplacesWhatXmlCannotHold) {
  const std::string valid = "T\xC2\xB2 \xE2\x80\x93 \xF0\x9F\x93\x88 tab\tline\n";
  EXPECT_EQ(CleanText(valid), valid);
  struct Case {
    std::string input;
    std::string expected;
  };
  const std::string fffd = "\xEF\xBF\xBD";
  const Case cases[] = {
      {"a\x01"
       "b\x1F"
       "c\x7F"
       "d\r",
       "a b c d "},                                     // control characters
      {"\xFF", fffd},                                   // never a UTF-8 byte
      {"x\x80y", "x" + fffd + "y"},                     // stray continuation byte
      {"\xC3", fffd},                                   // truncated sequence at the end
      {"\xC0\xAF", fffd + fffd},                        // overlong form of '/'
      {"\xED\xA0\x80", fffd + fffd + fffd},             // a UTF-16 surrogate
      {"\xF4\x90\x80\x80", fffd + fffd + fffd + fffd},  // past U+10FFFF
      {"\xEF\xBF\xBF", fffd},                           // U+FFFF, not a character
      {std::string("nul\0!", 5), "nul !"},
  };
  for (const Case& one : cases) EXPECT_EQ(CleanText(one.input), one.expected) << one.input;
}

TEST(ReportName, BlankTitlesGetTheirNumber) {
  EXPECT_EQ(ReportName("Summary", 3), "Summary");
  EXPECT_EQ(ReportName("", 3), "Report 3");
  EXPECT_EQ(ReportName(" \t", 12), "Report 12");
}

Graph ScatterWithLines(std::vector<LimitLine> lines) {
  Graph graph;
  graph.type = GraphType::kScatter;
  graph.x_label = "t1";
  graph.y_label = "t2";
  graph.series = {{"scores", {-1.0, 4.0, 0.5}, {0.0, 0.5, -3.0}, {}}};
  graph.lines = std::move(lines);
  return graph;
}

TEST(LimitSegments, ScatterLinesNamedAfterTheXAxisAreUprightAndFormABox) {
  const Graph graph = ScatterWithLines({{"t1 upper", 3.0, LimitKind::kControl},
                                        {"t1: lower", -3.0, LimitKind::kControl},
                                        {"t2 upper", 2.0, LimitKind::kControl},
                                        {"t2 lower", -2.0, LimitKind::kControl},
                                        {"t10 upper", 9.0, LimitKind::kWarning}});
  EXPECT_EQ(OrientationOf(graph, graph.lines[0]), LineOrientation::kVertical);
  EXPECT_EQ(OrientationOf(graph, graph.lines[1]), LineOrientation::kVertical);
  EXPECT_EQ(OrientationOf(graph, graph.lines[2]), LineOrientation::kHorizontal);
  // "t10" names another axis: the x label must be followed by a blank, a colon or nothing.
  EXPECT_EQ(OrientationOf(graph, graph.lines[4]), LineOrientation::kHorizontal);

  const auto segments = LimitSegments(graph, PointsExtent(graph));
  ASSERT_EQ(segments.size(), 5u);
  // The four control lines are the edges of the box x in [-3, 3], y in [-2, 2].
  EXPECT_EQ(segments[0].x0, 3.0);
  EXPECT_EQ(segments[0].x1, 3.0);
  EXPECT_EQ(segments[0].y0, -2.0);
  EXPECT_EQ(segments[0].y1, 2.0);
  EXPECT_EQ(segments[3].y0, -2.0);
  EXPECT_EQ(segments[3].y1, -2.0);
  EXPECT_EQ(segments[3].x0, -3.0);
  EXPECT_EQ(segments[3].x1, 3.0);
  // A lone warning line has no box of its kind: it spans the points' x range.
  EXPECT_EQ(segments[4].x0, -1.0);
  EXPECT_EQ(segments[4].x1, 4.0);
  EXPECT_EQ(segments[4].y0, 9.0);
}

TEST(LimitSegments, ControlChartLinesSpanThePointsAndUnplottableLinesAreLeftOut) {
  Graph graph;
  graph.type = GraphType::kControl;
  graph.x_label = "t1";  // a control chart's lines are horizontal whatever their labels
  graph.series = {{"T2", {}, {1.0, kNaN, 5.0, kInfinity}, {}}};
  graph.lines = {{"t1 limit", 4.0, LimitKind::kControl}, {"none", kNaN, LimitKind::kWarning}};
  const PointExtent extent = PointsExtent(graph);
  EXPECT_EQ(*extent.x.min, 1.0);  // x defaults to the point number
  EXPECT_EQ(*extent.x.max, 3.0);  // the infinite fourth point is not plotted
  const auto segments = LimitSegments(graph, extent);
  ASSERT_EQ(segments.size(), 1u);
  EXPECT_EQ(segments[0].line, 0u);
  EXPECT_EQ(segments[0].x0, 1.0);
  EXPECT_EQ(segments[0].x1, 3.0);
  EXPECT_EQ(segments[0].y0, 4.0);

  // With no finite point at all the line keeps a unit length.
  graph.series[0].y = {kNaN, -kInfinity};
  const auto lone = LimitSegments(graph, PointsExtent(graph));
  ASSERT_EQ(lone.size(), 1u);
  EXPECT_EQ(lone[0].x0, 0.0);
  EXPECT_EQ(lone[0].x1, 1.0);
}

TEST(PointsBeyondControl, OneLineIsAnUpperLimitTwoBoundBothWays) {
  Graph graph;
  graph.type = GraphType::kControl;
  graph.series = {{"T2", {}, {1.0, 4.0, 4.5, kNaN, -9.0}, {}}, {"other", {}, {5.0}, {}}};
  graph.lines = {{"control", 4.0, LimitKind::kControl}, {"warning", 2.0, LimitKind::kWarning}};
  std::vector<std::pair<std::size_t, std::size_t>> found;
  for (const PointRef& point : PointsBeyondControl(graph)) {
    found.emplace_back(point.series, point.point);
  }
  // Strictly above the line; the value on it and the missing one are not marked.
  EXPECT_EQ(found, (std::vector<std::pair<std::size_t, std::size_t>>{{0, 2}, {1, 0}}));

  graph.lines.push_back({"lower control", -4.0, LimitKind::kControl});
  found.clear();
  for (const PointRef& point : PointsBeyondControl(graph)) {
    found.emplace_back(point.series, point.point);
  }
  EXPECT_EQ(found, (std::vector<std::pair<std::size_t, std::size_t>>{{0, 2}, {0, 4}, {1, 0}}));

  graph.lines.clear();
  EXPECT_TRUE(PointsBeyondControl(graph).empty());
}

TEST(PointsBeyondControl, ScatterPointsOutsideTheBoxOnEitherAxis) {
  const Graph graph = ScatterWithLines({{"t1 upper", 3.0, LimitKind::kControl},
                                        {"t1 lower", -3.0, LimitKind::kControl},
                                        {"t2 upper", 2.0, LimitKind::kControl},
                                        {"t2 lower", -2.0, LimitKind::kControl}});
  const auto beyond = PointsBeyondControl(graph);
  ASSERT_EQ(beyond.size(), 2u);
  EXPECT_EQ(beyond[0].point, 1u);  // x = 4 beyond t1's band
  EXPECT_EQ(beyond[1].point, 2u);  // y = -3 beyond t2's band
}

}  // namespace
}  // namespace mspc::platform
