#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/output_sink.hpp"

namespace mspc::platform {

/// Markers on each point of a control chart up to this many points, of a line chart up to the
/// second; beyond, the line alone reads better. Points beyond the control limit are always
/// marked.
inline constexpr std::size_t kMaxMarkedControlPoints = 300;
inline constexpr std::size_t kMaxMarkedLinePoints = 100;

/// `text` made safe for XML and HTML: byte sequences that are not UTF-8 become U+FFFD, and
/// control characters other than tab and line feed (which XML 1.0 does not allow, or which
/// would break a line) become a space. Valid text comes back unchanged.
std::string CleanText(std::string_view text);

/// The title a report is listed under: its own, or "Report <n>" (`number` 1-based) when it has
/// none.
std::string ReportName(const std::string& title, std::size_t number);

/// A graph's x value of point `point` of a series: its `x` entry, or the 1-based point number
/// when the series gives no x values.
double PointX(const GraphSeries& series, std::size_t point);

/// Whether a limit line is drawn across the chart (at y = value) or upright (at x = value).
///
/// Limit lines are horizontal except in scatterplots, where a line belongs to the x axis when
/// its label starts with the graph's x-axis label followed by a blank, a colon or nothing (for
/// a score scatterplot "t1 vs. t2" with axis labels "t1" and "t2", a line labelled "t1 upper
/// ..." is the upright line x = value). A scatterplot with two lines of a kind on each axis
/// shows them as the box they enclose.
enum class LineOrientation { kHorizontal, kVertical };
LineOrientation OrientationOf(const Graph& graph, const LimitLine& line);

/// The smallest and largest of the finite values added; empty until one is.
struct ValueRange {
  std::optional<double> min;
  std::optional<double> max;

  void Add(double value);
  bool empty() const { return !min.has_value(); }
};

/// The extent of a graph's plotted points (finite x and y pairs only).
struct PointExtent {
  ValueRange x;
  ValueRange y;
};
PointExtent PointsExtent(const Graph& graph);

/// A finite limit line as the segment a chart draws, from (x0, y0) to (x1, y1). A horizontal
/// line spans the upright lines of its kind when there are at least two (a box), the points'
/// x range otherwise; an upright line likewise.
struct LimitSegment {
  std::size_t line = 0;  // index into Graph::lines
  double x0 = 0.0;
  double y0 = 0.0;
  double x1 = 0.0;
  double y1 = 0.0;
};
std::vector<LimitSegment> LimitSegments(const Graph& graph, const PointExtent& points);

/// The values a graph's control lines allow on one axis: with one line, up to it; with two or
/// more, from the lowest to the highest. Without a control line every value is allowed.
struct ControlBand {
  std::optional<double> lower;
  std::optional<double> upper;

  /// Whether a finite value lies beyond the band (strictly).
  bool Outside(double value) const;
};
ControlBand ControlBandOf(const Graph& graph, LineOrientation orientation);

/// A point of a graph: its series and its index in the series.
struct PointRef {
  std::size_t series = 0;
  std::size_t point = 0;
};

/// The points beyond the graph's control limits (above a single control line, outside two;
/// in a scatterplot outside the x band too), in series and point order.
std::vector<PointRef> PointsBeyondControl(const Graph& graph);

}  // namespace mspc::platform
