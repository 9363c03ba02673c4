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
  const std::string fffd = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> cases[] = {
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
  for (const auto& [input, expected] : cases) EXPECT_EQ(CleanText(input), expected) << input;
}

TEST(ReportName, BlankTitlesGetTheirNumber) {
  EXPECT_EQ(ReportName("Summary", 3), "Summary");
  EXPECT_EQ(ReportName("", 3), "Report 3");
  EXPECT_EQ(ReportName(" \t", 12), "Report 12");
}

using V = std::vector<double>;
using Refs = std::vector<std::pair<std::size_t, std::size_t>>;

// Each segment as its line and ends: {line, x0, x1, y0, y1}.
std::vector<V> Segments(const Graph& graph) {
  std::vector<V> segments;
  for (const LimitSegment& s : LimitSegments(graph, PointsExtent(graph))) {
    segments.push_back({static_cast<double>(s.line), s.x0, s.x1, s.y0, s.y1});
  }
  return segments;
}

// The points beyond the control limits as (series, point).
Refs Beyond(const Graph& graph) {
  Refs found;
  for (const PointRef& point : PointsBeyondControl(graph))
    found.emplace_back(point.series, point.point);
  return found;
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
  // "t10" names another axis: the x label must be followed by a blank, a colon or nothing.
  std::vector<LineOrientation> orientations;
  for (const LimitLine& line : graph.lines) orientations.push_back(OrientationOf(graph, line));
  const auto upright = LineOrientation::kVertical;
  const auto level = LineOrientation::kHorizontal;
  EXPECT_EQ(orientations, (std::vector{upright, upright, level, level, level}));

  // The four control lines are the edges of the box x in [-3, 3], y in [-2, 2]; a lone warning
  // line has no box of its kind and spans the points' x range.
  EXPECT_EQ(Segments(graph),
            (std::vector<V>{{0, 3, 3, -2, 2},
                            {1, -3, -3, -2, 2},
                            {2, -3, 3, 2, 2},
                            {3, -3, 3, -2, -2},
                            {4, -1, 4, 9, 9}}));
}

TEST(LimitSegments, ControlChartLinesSpanThePointsAndUnplottableLinesAreLeftOut) {
  Graph graph;
  graph.type = GraphType::kControl;
  graph.x_label = "t1";  // a control chart's lines are level whatever their labels
  graph.series = {{"T2", {}, {1.0, kNaN, 5.0, kInfinity}, {}}};
  graph.lines = {{"t1 limit", 4.0, LimitKind::kControl}, {"none", kNaN, LimitKind::kWarning}};
  // x defaults to the point number; the infinite fourth point is not plotted.
  EXPECT_EQ(Segments(graph), (std::vector<V>{{0, 1, 3, 4, 4}}));
  // With no finite point at all the line keeps a unit length.
  graph.series[0].y = {kNaN, -kInfinity};
  EXPECT_EQ(Segments(graph), (std::vector<V>{{0, 0, 1, 4, 4}}));
}

TEST(PointsBeyondControl, OneLineIsAnUpperLimitTwoBoundBothWays) {
  Graph graph;
  graph.type = GraphType::kControl;
  graph.series = {{"T2", {}, {1.0, 4.0, 4.5, kNaN, -9.0}, {}}, {"other", {}, {5.0}, {}}};
  graph.lines = {{"control", 4.0, LimitKind::kControl}, {"warning", 2.0, LimitKind::kWarning}};
  // Strictly above the line; the value on it and the missing one are not marked.
  EXPECT_EQ(Beyond(graph), (Refs{{0, 2}, {1, 0}}));
  graph.lines.push_back({"lower control", -4.0, LimitKind::kControl});
  EXPECT_EQ(Beyond(graph), (Refs{{0, 2}, {0, 4}, {1, 0}}));
  graph.lines.clear();
  EXPECT_TRUE(Beyond(graph).empty());
}

TEST(PointsBeyondControl, ScatterPointsOutsideTheBoxOnEitherAxis) {
  const Graph graph = ScatterWithLines({{"t1 upper", 3.0, LimitKind::kControl},
                                        {"t1 lower", -3.0, LimitKind::kControl},
                                        {"t2 upper", 2.0, LimitKind::kControl},
                                        {"t2 lower", -2.0, LimitKind::kControl}});
  // x = 4 beyond t1's band, y = -3 beyond t2's band.
  EXPECT_EQ(Beyond(graph), (Refs{{0, 1}, {0, 2}}));
}

}  // namespace
}  // namespace mspc::platform
