#include "platform/html_report_writer.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include "host/messages.hpp"
#include "platform/file_io.hpp"
#include "platform/report_layout.hpp"

namespace mspc::platform {
namespace {

// Chart geometry in SVG user units (pixels at 100% zoom).
constexpr double kChartWidth = 880.0;
constexpr double kPlotLeft = 78.0;
constexpr double kPlotRight = 860.0;
constexpr double kPlotTop = 24.0;
constexpr double kPlotHeight = 340.0;
constexpr double kPlotBottom = kPlotTop + kPlotHeight;
constexpr double kTickLength = 5.0;
constexpr double kTickLabelGap = 18.0;  // from the x axis to the baseline of its labels
constexpr double kAxisTitleGap = 40.0;  // from the x axis to the baseline of its title
constexpr double kLegendRowHeight = 20.0;
constexpr double kCharWidth = 7.0;          // rough width of a character of the 12px font
constexpr double kRotatedCharWidth = 5.0;   // the same, projected on the upright, at 45 degrees
constexpr double kLineLabelSpacing = 14.0;  // closer labels of horizontal lines alternate sides
constexpr int kTargetTickCount = 6;
constexpr int kMaxTickCount = 24;
constexpr std::size_t kMaxLabelledPoints = 200;  // scatterplot points named beside them
constexpr std::size_t kMaxCategoryLabels = 40;   // bar labels shown, every k-th beyond this
constexpr double kBarFill = 0.8;                 // share of a category's width its bars take

constexpr std::array<const char*, 8> kSeriesColours = {
    "#1f77b4", "#2ca02c", "#9467bd", "#8c564b", "#17becf", "#7f7f7f", "#bcbd22", "#e377c2"};
constexpr const char* kBeyondColour = "#d62728";

std::string Format(const char* format, double value) {
  std::array<char, 64> buffer{};
  std::snprintf(buffer.data(), buffer.size(), format, value);
  return buffer.data();
}

// Coordinates are written with two decimals: finer than a screen pixel, short to write.
std::string Px(double value) { return Format("%.2f", value); }

// A number as a table cell shows it: whole numbers as such, others with six significant digits.
std::string NumberText(double value) {
  if (!std::isfinite(value)) return {};
  constexpr double kLargestExactInteger = 9007199254740992.0;  // 2^53
  if (value == std::floor(value) && std::fabs(value) < kLargestExactInteger) {
    return Format("%.0f", value == 0.0 ? 0.0 : value);
  }
  return Format("%.6g", value);
}

std::size_t CodePoints(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

const char* KindClass(LimitKind kind) {
  return kind == LimitKind::kWarning ? "warning" : "control";
}

const char* GraphClass(GraphType type) {
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

// An axis: the data range it shows and its tick marks at "nice" steps (1, 2 or 5 times a
// power of ten), after Heckbert, "Nice numbers for graph labels", Graphics Gems (1990).
class Axis {
 public:
  Axis(const ValueRange& range, bool include_zero) {
    double low = range.empty() ? 0.0 : *range.min;
    double high = range.empty() ? 1.0 : *range.max;
    if (include_zero) {
      low = std::min(low, 0.0);
      high = std::max(high, 0.0);
    }
    // Halves keep the span finite for values near the largest double.
    const double half_span = high * 0.5 - low * 0.5;
    const double magnitude = std::max(std::fabs(low), std::fabs(high));
    if (!(half_span > magnitude * 1e-12)) {
      // A single value (or values equal to the last digits) gets a range around it.
      const double pad = magnitude > 0.0 ? magnitude * 0.05 : 1.0;
      low -= pad;
      high += pad;
    } else {
      const double pad = half_span * 0.08;  // 4% of the span on each side
      if (!(include_zero && low == 0.0)) low -= pad;
      if (!(include_zero && high == 0.0)) high += pad;
    }
    // Padding past the largest double would make the ends infinite.
    low = std::max(low, std::numeric_limits<double>::lowest());
    high = std::min(high, std::numeric_limits<double>::max());
    low_ = low;
    high_ = high;
    ChooseTicks();
  }

  /// Where `value` falls between the ends, 0 at the low end and 1 at the high end.
  double Fraction(double value) const {
    return (value * 0.5 - low_ * 0.5) / (high_ * 0.5 - low_ * 0.5);
  }
  const std::vector<double>& ticks() const { return ticks_; }
  std::string TickText(double value) const {
    if (std::fabs(value) < step_ * 1e-9) value = 0.0;
    if (decimals_ < 0) return Format("%.4g", value);
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%.*f", decimals_, value);
    return buffer.data();
  }

 private:
  void ChooseTicks() {
    const double raw_step = (high_ * 0.5 - low_ * 0.5) / (kTargetTickCount / 2.0);
    const double power = std::pow(10.0, std::floor(std::log10(raw_step)));
    const double fraction = raw_step / power;
    const double nice = fraction < 1.5 ? 1.0 : fraction < 3.0 ? 2.0 : fraction < 7.0 ? 5.0 : 10.0;
    step_ = nice * power;
    const double first = std::ceil(low_ / step_);
    const double last = std::floor(high_ / step_);
    for (double index = first; index <= last && ticks_.size() < kMaxTickCount; ++index) {
      ticks_.push_back(index * step_);
    }
    const double magnitude = std::max(std::fabs(low_), std::fabs(high_));
    constexpr double kLargeValue = 1e7;
    constexpr double kSmallStep = 1e-5;
    decimals_ = magnitude >= kLargeValue || step_ < kSmallStep
                    ? -1
                    : std::max(0, static_cast<int>(-std::floor(std::log10(step_) + 1e-9)));
  }

  double low_ = 0.0;
  double high_ = 1.0;
  double step_ = 1.0;
  int decimals_ = 0;  // -1: significant digits instead
  std::vector<double> ticks_;
};

class SvgChart {
 public:
  explicit SvgChart(const Graph& graph)
      : graph_(graph),
        bar_(graph.type == GraphType::kBar),
        points_(PointsExtent(graph)),
        segments_(bar_ ? std::vector<LimitSegment>{} : LimitSegments(graph, points_)),
        beyond_(PointsBeyondControl(graph)),
        x_axis_(XRange(), false),
        y_axis_(YRange(), bar_) {
    beyond_flags_.resize(graph.series.size());
    for (std::size_t s = 0; s < graph.series.size(); ++s) {
      beyond_flags_[s].assign(graph.series[s].y.size(), 0);
    }
    for (const PointRef& point : beyond_) beyond_flags_[point.series][point.point] = 1;
  }

  std::string Render() {
    const double category_band = bar_ ? CategoryLabelBand() : kTickLabelGap;
    const double x_title_y = kPlotBottom + category_band + (kAxisTitleGap - kTickLabelGap);
    const double legend_top = x_title_y + 16.0;
    std::string legend = Legend(legend_top);
    const double height = legend_top + legend_rows_ * kLegendRowHeight + 8.0;

    out_ += "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"chart " +
            std::string(GraphClass(graph_.type)) + "\" viewBox=\"0 0 " + Px(kChartWidth) + " " +
            Px(height) + "\" width=\"" + Px(kChartWidth) + "\" height=\"" + Px(height) +
            "\" role=\"img\" aria-label=\"" + EscapeHtml(graph_.title) + "\">";
    out_ += "<rect class=\"plot\" x=\"" + Px(kPlotLeft) + "\" y=\"" + Px(kPlotTop) + "\" width=\"" +
            Px(kPlotRight - kPlotLeft) + "\" height=\"" + Px(kPlotHeight) + "\"/>";
    DrawYAxis();
    if (bar_) {
      DrawCategoryAxis();
      DrawBars();
    } else {
      DrawXAxis();
      // Data first, then the limit lines over it, then the marked points over both.
      DrawSeries();
      DrawLimitLines();
      DrawBeyondPoints();
    }
    DrawAxisTitles(x_title_y);
    if (points_.x.empty()) {
      out_ += "<text class=\"empty\" x=\"" + Px((kPlotLeft + kPlotRight) / 2) + "\" y=\"" +
              Px(kPlotTop + kPlotHeight / 2) + "\" text-anchor=\"middle\">" +
              EscapeHtml(MessageText(MessageId::kReportNoValuesToPlot)) + "</text>";
    }
    out_ += legend;
    out_ += "</svg>";
    return std::move(out_);
  }

 private:
  ValueRange XRange() const {
    ValueRange range = points_.x;
    if (bar_) {
      // Categories sit at 1, 2, ... and the axis runs half a category beyond each end.
      range = {};
      range.Add(0.5);
      range.Add(static_cast<double>(CategoryCount()) + 0.5);
      return range;
    }
    for (const LimitSegment& segment : segments_) {
      range.Add(segment.x0);
      range.Add(segment.x1);
    }
    return range;
  }

  ValueRange YRange() const {
    ValueRange range = points_.y;
    for (const LimitSegment& segment : segments_) {
      range.Add(segment.y0);
      range.Add(segment.y1);
    }
    if (bar_) {
      for (const LimitLine& line : graph_.lines) range.Add(line.value);
    }
    return range;
  }

  double X(double value) const { return kPlotLeft + x_axis_.Fraction(value) * PlotWidth(); }
  double Y(double value) const { return kPlotBottom - y_axis_.Fraction(value) * kPlotHeight; }
  static double PlotWidth() { return kPlotRight - kPlotLeft; }

  std::string Colour(std::size_t series) const {
    return kSeriesColours[series % kSeriesColours.size()];
  }

  bool IsBeyond(std::size_t series, std::size_t point) const {
    return beyond_flags_[series][point] != 0;
  }

  void DrawYAxis() {
    for (const double tick : y_axis_.ticks()) {
      const std::string y = Px(Y(tick));
      out_ += "<line class=\"grid\" x1=\"" + Px(kPlotLeft) + "\" y1=\"" + y + "\" x2=\"" +
              Px(kPlotRight) + "\" y2=\"" + y + "\"/>";
      out_ += "<line class=\"tick\" x1=\"" + Px(kPlotLeft - kTickLength) + "\" y1=\"" + y +
              "\" x2=\"" + Px(kPlotLeft) + "\" y2=\"" + y + "\"/>";
      out_ += "<text class=\"tick-label\" x=\"" + Px(kPlotLeft - kTickLength - 3) + "\" y=\"" +
              Px(Y(tick) + 4) + "\" text-anchor=\"end\">" + y_axis_.TickText(tick) + "</text>";
    }
    out_ += "<line class=\"axis\" x1=\"" + Px(kPlotLeft) + "\" y1=\"" + Px(kPlotTop) + "\" x2=\"" +
            Px(kPlotLeft) + "\" y2=\"" + Px(kPlotBottom) + "\"/>";
  }

  void DrawXAxis() {
    for (const double tick : x_axis_.ticks()) {
      const std::string x = Px(X(tick));
      out_ += "<line class=\"tick\" x1=\"" + x + "\" y1=\"" + Px(kPlotBottom) + "\" x2=\"" + x +
              "\" y2=\"" + Px(kPlotBottom + kTickLength) + "\"/>";
      out_ += "<text class=\"tick-label\" x=\"" + x + "\" y=\"" + Px(kPlotBottom + kTickLabelGap) +
              "\" text-anchor=\"middle\">" + x_axis_.TickText(tick) + "</text>";
    }
    out_ += "<line class=\"axis\" x1=\"" + Px(kPlotLeft) + "\" y1=\"" + Px(kPlotBottom) +
            "\" x2=\"" + Px(kPlotRight) + "\" y2=\"" + Px(kPlotBottom) + "\"/>";
  }

  void DrawAxisTitles(double x_title_y) {
    out_ += "<text class=\"axis-title\" x=\"" + Px((kPlotLeft + kPlotRight) / 2) + "\" y=\"" +
            Px(x_title_y) + "\" text-anchor=\"middle\">" + EscapeHtml(graph_.x_label) + "</text>";
    const double middle = kPlotTop + kPlotHeight / 2;
    out_ += "<text class=\"axis-title\" x=\"16\" y=\"" + Px(middle) +
            "\" text-anchor=\"middle\" transform=\"rotate(-90 16 " + Px(middle) + ")\">" +
            EscapeHtml(graph_.y_label) + "</text>";
  }

  // Limit lines under the data, each with its label at the end of the line. Labels of
  // horizontal lines closer than a text line alternate above and below their lines.
  void DrawLimitLines() {
    std::vector<const LimitSegment*> order;
    for (const LimitSegment& segment : segments_) order.push_back(&segment);
    std::stable_sort(order.begin(), order.end(), [](const LimitSegment* a, const LimitSegment* b) {
      return a->y0 > b->y0;
    });
    std::optional<double> previous_label_y;
    for (const LimitSegment* segment : order) {
      const LimitLine& line = graph_.lines[segment->line];
      const bool horizontal = segment->y0 == segment->y1 && segment->x0 != segment->x1;
      const double x0 = X(segment->x0);
      const double y0 = Y(segment->y0);
      const double x1 = X(segment->x1);
      const double y1 = Y(segment->y1);
      out_ += "<g class=\"limit " + std::string(KindClass(line.kind)) + "\">";
      out_ += "<line x1=\"" + Px(x0) + "\" y1=\"" + Px(y0) + "\" x2=\"" + Px(x1) + "\" y2=\"" +
              Px(y1) + "\"/>";
      double label_x = std::max(x0, x1) - 4;
      double label_y = std::min(y0, y1) - 5;
      const char* anchor = "end";
      if (horizontal) {
        if (previous_label_y && label_y - *previous_label_y < kLineLabelSpacing) {
          label_y = y0 + 13;  // below the line
        }
        previous_label_y = label_y;
      } else {
        // Beside the top of the line, on the side facing the middle of the plot.
        const bool right_half = x0 > (kPlotLeft + kPlotRight) / 2;
        label_x = right_half ? x0 - 4 : x0 + 4;
        label_y = std::min(y0, y1) + 13;
        anchor = right_half ? "end" : "start";
      }
      out_ += "<text x=\"" + Px(label_x) + "\" y=\"" + Px(label_y) + "\" text-anchor=\"" + anchor +
              "\">" + EscapeHtml(line.label) + "</text></g>";
    }
  }

  void DrawSeries() {
    const bool scatter = graph_.type == GraphType::kScatter;
    for (std::size_t s = 0; s < graph_.series.size(); ++s) {
      const GraphSeries& series = graph_.series[s];
      const std::size_t count = series.y.size();
      const std::string colour = Colour(s);
      out_ += "<g class=\"series\" data-series=\"" + std::to_string(s) + "\">";
      if (!scatter) {
        // One path, broken where a value is missing or not finite.
        std::string path;
        bool pen_down = false;
        for (std::size_t point = 0; point < count; ++point) {
          const double x = PointX(series, point);
          const double y = series.y[point];
          if (!std::isfinite(x) || !std::isfinite(y)) {
            pen_down = false;
            continue;
          }
          path += (pen_down ? "L" : "M") + Px(X(x)) + " " + Px(Y(y));
          pen_down = true;
        }
        if (!path.empty()) {
          out_ += "<path d=\"" + path + "\" fill=\"none\" stroke=\"" + colour + "\"/>";
        }
      }
      const std::size_t marker_limit = scatter ? count
                                       : graph_.type == GraphType::kControl
                                           ? kMaxMarkedControlPoints
                                           : kMaxMarkedLinePoints;
      const bool named = scatter && !series.labels.empty() && count <= kMaxLabelledPoints;
      for (std::size_t point = 0; point < count; ++point) {
        const double x = PointX(series, point);
        const double y = series.y[point];
        if (!std::isfinite(x) || !std::isfinite(y)) continue;
        if (!IsBeyond(s, point) && count <= marker_limit) {
          out_ += "<circle cx=\"" + Px(X(x)) + "\" cy=\"" + Px(Y(y)) + "\" r=\"" +
                  (scatter ? "3" : "2.2") + "\" fill=\"" + colour + "\"/>";
        }
        if (named && point < series.labels.size()) {
          out_ += "<text class=\"point-label\" x=\"" + Px(X(x) + 5) + "\" y=\"" + Px(Y(y) - 4) +
                  "\">" + EscapeHtml(series.labels[point]) + "</text>";
        }
      }
      out_ += "</g>";
    }
  }

  // The points beyond the control limit, drawn last so that nothing covers them.
  void DrawBeyondPoints() {
    if (beyond_.empty()) return;
    out_ += "<g class=\"beyond-points\">";
    for (const PointRef& ref : beyond_) {
      const GraphSeries& series = graph_.series[ref.series];
      const double y = series.y[ref.point];
      out_ += "<circle class=\"beyond\" cx=\"" + Px(X(PointX(series, ref.point))) + "\" cy=\"" +
              Px(Y(y)) + "\" r=\"4\" fill=\"" + kBeyondColour + "\"><title>" +
              EscapeHtml(PointName(series, ref.point)) + ": " + NumberText(y) + "</title></circle>";
    }
    out_ += "</g>";
  }

  std::size_t CategoryCount() const {
    std::size_t count = 0;
    for (const GraphSeries& series : graph_.series) count = std::max(count, series.y.size());
    return count;
  }

  std::string CategoryName(std::size_t category) const {
    for (const GraphSeries& series : graph_.series) {
      if (category < series.labels.size() && !series.labels[category].empty()) {
        return series.labels[category];
      }
    }
    if (!graph_.series.empty()) return NumberText(PointX(graph_.series.front(), category));
    return std::to_string(category + 1);
  }

  // Room under the axis for the category names, which are turned when they would not fit.
  double CategoryLabelBand() {
    const std::size_t count = CategoryCount();
    std::size_t longest = 0;
    for (std::size_t category = 0; category < count; ++category) {
      longest = std::max(longest, CodePoints(CategoryName(category)));
    }
    constexpr std::size_t kLongestShownLabel = 24;
    longest = std::min(longest, kLongestShownLabel);
    const double slot = count == 0 ? PlotWidth() : PlotWidth() / static_cast<double>(count);
    rotate_categories_ = static_cast<double>(longest) * kCharWidth > slot;
    return rotate_categories_ ? static_cast<double>(longest) * kRotatedCharWidth + kTickLabelGap
                              : kTickLabelGap;
  }

  double CategoryCentre(std::size_t category) const {
    return X(static_cast<double>(category) + 1.0);
  }

  void DrawCategoryAxis() {
    const std::size_t count = CategoryCount();
    const std::size_t every =
        count > kMaxCategoryLabels ? (count + kMaxCategoryLabels - 1) / kMaxCategoryLabels : 1;
    for (std::size_t category = 0; category < count; category += every) {
      const double x = CategoryCentre(category);
      out_ += "<line class=\"tick\" x1=\"" + Px(x) + "\" y1=\"" + Px(kPlotBottom) + "\" x2=\"" +
              Px(x) + "\" y2=\"" + Px(kPlotBottom + kTickLength) + "\"/>";
      const std::string y = Px(kPlotBottom + kTickLabelGap - (rotate_categories_ ? 6 : 0));
      out_ += "<text class=\"tick-label\" x=\"" + Px(x) + "\" y=\"" + y + "\"";
      if (rotate_categories_) {
        out_ += " text-anchor=\"end\" transform=\"rotate(-45 " + Px(x) + " " + y + ")\"";
      } else {
        out_ += " text-anchor=\"middle\"";
      }
      out_ += ">" + EscapeHtml(CategoryName(category)) + "</text>";
    }
    out_ += "<line class=\"axis\" x1=\"" + Px(kPlotLeft) + "\" y1=\"" + Px(Y(0.0)) + "\" x2=\"" +
            Px(kPlotRight) + "\" y2=\"" + Px(Y(0.0)) + "\"/>";
  }

  void DrawBars() {
    const std::size_t series_count = std::max<std::size_t>(graph_.series.size(), 1);
    const double slot = PlotWidth() / std::max<double>(static_cast<double>(CategoryCount()), 1.0);
    const double width = slot * kBarFill / static_cast<double>(series_count);
    for (std::size_t s = 0; s < graph_.series.size(); ++s) {
      const GraphSeries& series = graph_.series[s];
      out_ += "<g class=\"series\" data-series=\"" + std::to_string(s) + "\">";
      for (std::size_t point = 0; point < series.y.size(); ++point) {
        const double y = series.y[point];
        if (!std::isfinite(y)) continue;
        const double left = CategoryCentre(point) - slot * kBarFill / 2 + width * s;
        const double top = std::min(Y(y), Y(0.0));
        const double height = std::fabs(Y(y) - Y(0.0));
        const bool beyond = IsBeyond(s, point);
        out_ += "<rect" + std::string(beyond ? " class=\"beyond\"" : "") + " x=\"" + Px(left) +
                "\" y=\"" + Px(top) + "\" width=\"" + Px(width) + "\" height=\"" + Px(height) +
                "\" fill=\"" + (beyond ? kBeyondColour : Colour(s)) + "\"/>";
      }
      out_ += "</g>";
    }
    // A bar chart's limit lines run across all the categories.
    for (const LimitLine& line : graph_.lines) {
      if (!std::isfinite(line.value)) continue;
      const std::string y = Px(Y(line.value));
      out_ += "<g class=\"limit " + std::string(KindClass(line.kind)) + "\"><line x1=\"" +
              Px(kPlotLeft) + "\" y1=\"" + y + "\" x2=\"" + Px(kPlotRight) + "\" y2=\"" + y +
              "\"/><text x=\"" + Px(kPlotRight - 4) + "\" y=\"" + Px(Y(line.value) - 5) +
              "\" text-anchor=\"end\">" + EscapeHtml(line.label) + "</text></g>";
    }
  }

  std::string PointName(const GraphSeries& series, std::size_t point) const {
    if (point < series.labels.size() && !series.labels[point].empty()) return series.labels[point];
    return NumberText(PointX(series, point));
  }

  // The legend under the chart: one entry per series, and one for the marked points; entries
  // flow left to right and wrap at the chart's width.
  std::string Legend(double top) {
    struct Entry {
      std::string name;
      std::string colour;
      bool beyond;
    };
    std::vector<Entry> entries;
    for (std::size_t s = 0; s < graph_.series.size(); ++s) {
      entries.push_back({graph_.series[s].name, Colour(s), false});
    }
    if (!beyond_.empty()) {
      entries.push_back(
          {std::string(MessageText(MessageId::kReportPointsBeyondControl)), kBeyondColour, true});
    }
    std::string legend = "<g class=\"legend\">";
    double x = kPlotLeft;
    double y = top;
    legend_rows_ = entries.empty() ? 0 : 1;
    for (const Entry& entry : entries) {
      const double width = 28.0 + static_cast<double>(CodePoints(entry.name)) * kCharWidth;
      if (x > kPlotLeft && x + width > kPlotRight) {
        x = kPlotLeft;
        y += kLegendRowHeight;
        ++legend_rows_;
      }
      if (entry.beyond || graph_.type == GraphType::kScatter) {
        legend += "<circle cx=\"" + Px(x + 9) + "\" cy=\"" + Px(y + 6) + "\" r=\"4\" fill=\"" +
                  entry.colour + "\"/>";
      } else if (bar_) {
        legend += "<rect x=\"" + Px(x + 3) + "\" y=\"" + Px(y) + "\" width=\"12\" height=\"12\" " +
                  "fill=\"" + entry.colour + "\"/>";
      } else {
        legend += "<line x1=\"" + Px(x) + "\" y1=\"" + Px(y + 6) + "\" x2=\"" + Px(x + 18) +
                  "\" y2=\"" + Px(y + 6) + "\" stroke=\"" + entry.colour +
                  "\" stroke-width=\"2\"/>";
      }
      legend += "<text x=\"" + Px(x + 24) + "\" y=\"" + Px(y + 10) + "\">" +
                EscapeHtml(entry.name) + "</text>";
      x += width + 16.0;
    }
    legend += "</g>";
    return legend;
  }

  const Graph& graph_;
  bool bar_;
  PointExtent points_;
  std::vector<LimitSegment> segments_;
  std::vector<PointRef> beyond_;
  std::vector<std::vector<char>> beyond_flags_;  // per series and point: 1 when beyond
  Axis x_axis_;
  Axis y_axis_;
  bool rotate_categories_ = false;
  int legend_rows_ = 0;
  std::string out_;
};

void AppendParagraphs(std::string& out, const std::vector<std::string>& lines, const char* cls) {
  for (const std::string& line : lines) {
    out += "<p class=\"" + std::string(cls) + "\">" + EscapeHtml(line) + "</p>";
  }
}

std::string ShortenedNote(std::size_t shown, std::size_t total, const HtmlReportOptions& options) {
  const MessageId id = options.workbook_written ? MessageId::kReportRowsShownInPartWorkbook
                                                : MessageId::kReportRowsShownInPart;
  return "<p class=\"note\">" + EscapeHtml(FormatMessage(id, shown, total)) + "</p>";
}

std::string CellHtml(const ReportCell& cell, bool highlighted) {
  std::string cls;
  std::string text;
  if (const double* number = std::get_if<double>(&cell)) {
    cls = "num";
    text = NumberText(*number);
  } else if (const std::string* value = std::get_if<std::string>(&cell)) {
    text = EscapeHtml(*value);
  }
  if (highlighted) cls += cls.empty() ? "hl" : " hl";
  return cls.empty() ? "<td>" + text + "</td>" : "<td class=\"" + cls + "\">" + text + "</td>";
}

void AppendSpreadsheet(std::string& out, const Spreadsheet& sheet, const HtmlReportOptions& opts) {
  AppendParagraphs(out, sheet.subtitles, "subtitle");
  out +=
      "<div class=\"table-wrap\"><table><thead><tr><th>" + EscapeHtml(sheet.row_header) + "</th>";
  for (const std::string& column : sheet.columns) out += "<th>" + EscapeHtml(column) + "</th>";
  out += "</tr></thead><tbody>";
  const std::size_t shown = std::min(sheet.rows.size(), opts.max_table_rows);
  std::vector<std::pair<int, int>> highlights = sheet.highlights;
  std::sort(highlights.begin(), highlights.end());
  for (std::size_t row = 0; row < shown; ++row) {
    const ReportRow& one = sheet.rows[row];
    out += "<tr><th scope=\"row\">" + EscapeHtml(one.label) + "</th>";
    for (std::size_t col = 0; col < one.cells.size(); ++col) {
      const bool highlighted =
          std::binary_search(highlights.begin(),
                             highlights.end(),
                             std::pair<int, int>(static_cast<int>(row), static_cast<int>(col)));
      out += CellHtml(one.cells[col], highlighted);
    }
    out += "</tr>";
  }
  out += "</tbody></table></div>";
  if (shown < sheet.rows.size()) out += ShortenedNote(shown, sheet.rows.size(), opts);
  AppendParagraphs(out, sheet.footnotes, "footnote");
}

// The points beyond the control limit, one table per series that has any.
void AppendBeyondList(std::string& out, const Graph& graph, const HtmlReportOptions& opts) {
  const std::vector<PointRef> beyond = PointsBeyondControl(graph);
  if (beyond.empty()) return;
  // A short list is open; a long one is folded so that the next chart stays near.
  constexpr std::size_t kOpenListRows = 20;
  out += std::string(beyond.size() <= kOpenListRows ? "<details class=\"beyond-list\" open>"
                                                    : "<details class=\"beyond-list\">") +
         "<summary>" + EscapeHtml(MessageText(MessageId::kReportPointsBeyondControl)) + " (" +
         std::to_string(beyond.size()) + ")</summary>";
  std::size_t start = 0;
  while (start < beyond.size()) {
    const std::size_t series_index = beyond[start].series;
    std::size_t end = start;
    while (end < beyond.size() && beyond[end].series == series_index) ++end;
    const GraphSeries& series = graph.series[series_index];
    out += "<div class=\"table-wrap\"><table><thead><tr><th>" +
           EscapeHtml(MessageText(MessageId::kReportPointLabel)) + "</th><th>" +
           EscapeHtml(graph.x_label) + "</th><th>" +
           EscapeHtml(graph.type == GraphType::kScatter ? graph.y_label : series.name) +
           "</th></tr></thead><tbody>";
    const std::size_t shown = std::min(end - start, opts.max_table_rows);
    for (std::size_t i = start; i < start + shown; ++i) {
      const std::size_t point = beyond[i].point;
      const std::string label = point < series.labels.size() ? series.labels[point] : "";
      out += "<tr><td>" + EscapeHtml(label) + "</td><td class=\"num\">" +
             NumberText(PointX(series, point)) + "</td><td class=\"num\">" +
             NumberText(series.y[point]) + "</td></tr>";
    }
    out += "</tbody></table></div>";
    if (shown < end - start) out += ShortenedNote(shown, end - start, opts);
    start = end;
  }
  out += "</details>";
}

constexpr const char* kStyle =
    "body{font-family:system-ui,-apple-system,'Segoe UI',Roboto,'DejaVu Sans',sans-serif;"
    "margin:0 auto;max-width:1120px;padding:16px 24px;color:#222;background:#fff}"
    "h1{font-size:1.5em}h2{font-size:1.2em;margin:0 0 4px}"
    "summary{font-weight:600;cursor:pointer;margin:8px 0}"
    "nav ol{columns:2;font-size:.9em}"
    "section.report{border-top:1px solid #ccc;padding:16px 0}"
    "p.subtitle{margin:2px 0;color:#444}p.footnote{font-size:.85em;color:#555}"
    "p.note{font-style:italic;color:#8a4b00}"
    ".table-wrap{overflow-x:auto;max-width:100%}"
    "table{border-collapse:collapse;font-size:.85em;margin:8px 0}"
    "th,td{border:1px solid #ddd;padding:2px 8px;text-align:left;white-space:nowrap}"
    "thead th{background:#f0f0f0}td.num{text-align:right;font-variant-numeric:tabular-nums}"
    "td.hl{background:#fff3a0}"
    "pre{background:#f7f7f7;padding:8px;overflow-x:auto;font-size:.8em}"
    "svg.chart{max-width:100%;height:auto;font-size:12px;font-family:inherit}"
    "svg .plot{fill:#fff;stroke:none}svg .grid{stroke:#e6e6e6}svg .axis,svg .tick{stroke:#444}"
    "svg .tick-label{fill:#444;font-size:11px}svg .axis-title{font-weight:600}"
    "svg .series path{stroke-width:1.4}svg .point-label{font-size:10px;fill:#333}"
    "svg .limit line{stroke-width:1.5}"
    "svg .limit text{font-size:11px;paint-order:stroke;stroke:#fff;stroke-width:3px;"
    "stroke-linejoin:round}"
    "svg .limit.control line{stroke:#b00000}svg .limit.control text{fill:#b00000}"
    "svg .limit.warning line{stroke:#d98200;stroke-dasharray:6 4}"
    "svg .limit.warning text{fill:#a86500}"
    "svg .empty{fill:#888;font-style:italic}";

}  // namespace

std::string EscapeHtml(std::string_view text) {
  const std::string clean = CleanText(text);
  std::string escaped;
  escaped.reserve(clean.size());
  for (const char c : clean) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped.push_back(c);
    }
  }
  return escaped;
}

std::string GraphToSvg(const Graph& graph) { return SvgChart(graph).Render(); }

std::string ReportsToHtml(const std::vector<Report>& reports, const HtmlReportOptions& options) {
  const std::string page_title = EscapeHtml(MessageText(MessageId::kAnalysisName));
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
      "style-src 'unsafe-inline'\">"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
      "<title>" +
      page_title + "</title><style>" + kStyle + "</style></head><body><h1>" + page_title +
      "</h1>\n";

  const auto title_of = [](const Report& report) {
    return std::visit([](const auto& one) { return one.title; }, report);
  };
  out += "<nav><h2>" + EscapeHtml(MessageText(MessageId::kReportContents)) + "</h2><ol>";
  for (std::size_t index = 0; index < reports.size(); ++index) {
    out += "<li><a href=\"#report-" + std::to_string(index + 1) + "\">" +
           EscapeHtml(ReportName(title_of(reports[index]), index + 1)) + "</a></li>";
  }
  out += "</ol></nav>\n";

  for (std::size_t index = 0; index < reports.size(); ++index) {
    const Report& report = reports[index];
    const char* kind = std::holds_alternative<Spreadsheet>(report) ? "spreadsheet"
                       : std::holds_alternative<Graph>(report)     ? "graph"
                                                                   : "text";
    out += "<section class=\"report " + std::string(kind) + "\" id=\"report-" +
           std::to_string(index + 1) + "\"><h2>" +
           EscapeHtml(ReportName(title_of(report), index + 1)) + "</h2>";
    std::visit(
        [&](const auto& one) {
          using T = std::decay_t<decltype(one)>;
          if constexpr (std::is_same_v<T, Spreadsheet>) {
            AppendSpreadsheet(out, one, options);
          } else if constexpr (std::is_same_v<T, Graph>) {
            AppendParagraphs(out, one.subtitles, "subtitle");
            out += "<figure>" + GraphToSvg(one) + "</figure>";
            AppendBeyondList(out, one, options);
          } else {
            out += "<pre>" + EscapeHtml(one.text) + "</pre>";
          }
        },
        report);
    out += "</section>\n";
  }
  out += "</body></html>\n";
  return out;
}

bool WriteHtmlReport(const std::vector<Report>& reports,
                     const std::string& path,
                     const HtmlReportOptions& options,
                     std::string* error) {
  return WriteFileAtomically(path, ReportsToHtml(reports, options), error);
}

}  // namespace mspc::platform
