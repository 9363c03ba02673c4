#include "platform/report_layout.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "host/messages.hpp"

namespace mspc::platform {
namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";  // U+FFFD

// The length of the UTF-8 sequence starting at `text[pos]`, or 0 when it is not a valid one
// (a stray continuation byte, a truncated or overlong sequence, a surrogate, a code point past
// U+10FFFF). Table 3-7 of the Unicode standard gives the well-formed byte ranges.
std::size_t Utf8SequenceLength(std::string_view text, std::size_t pos) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[pos + i]); };
  const unsigned char lead = byte(0);
  std::size_t length = 0;
  unsigned char second_min = 0x80;
  unsigned char second_max = 0xBF;
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) second_min = 0xA0;  // no overlong forms
    if (lead == 0xED) second_max = 0x9F;  // no surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) second_min = 0x90;  // no overlong forms
    if (lead == 0xF4) second_max = 0x8F;  // nothing past U+10FFFF
  } else {
    return 0;
  }
  if (pos + length > text.size()) return 0;
  if (byte(1) < second_min || byte(1) > second_max) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
  }
  return length;
}

// U+FFFE and U+FFFF are not characters and XML refuses them.
bool IsNonCharacter(std::string_view sequence) {
  return sequence == "\xEF\xBF\xBE" || sequence == "\xEF\xBF\xBF";
}

bool StartsWithAxisLabel(const std::string& label, const std::string& axis) {
  if (axis.empty() || label.compare(0, axis.size(), axis) != 0) return false;
  if (label.size() == axis.size()) return true;
  const char next = label[axis.size()];
  return next == ' ' || next == ':';
}

}  // namespace

std::string CleanText(std::string_view text) {
  std::string clean;
  clean.reserve(text.size());
  std::size_t pos = 0;
  while (pos < text.size()) {
    const std::size_t length = Utf8SequenceLength(text, pos);
    if (length == 0) {
      clean.append(kReplacementCharacter);
      ++pos;
      continue;
    }
    const std::string_view sequence = text.substr(pos, length);
    pos += length;
    if (length == 1) {
      const char c = sequence.front();
      const bool control = static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
      clean.push_back(control && c != '\t' && c != '\n' ? ' ' : c);
    } else if (IsNonCharacter(sequence)) {
      clean.append(kReplacementCharacter);
    } else {
      clean.append(sequence);
    }
  }
  return clean;
}

std::string ReportName(const std::string& title, std::size_t number) {
  if (title.find_first_not_of(" \t\r\n") != std::string::npos) return title;
  return FormatMessage(MessageId::kReportFallbackName, number);
}

double PointX(const GraphSeries& series, std::size_t point) {
  if (point < series.x.size()) return series.x[point];
  return static_cast<double>(point + 1);
}

LineOrientation OrientationOf(const Graph& graph, const LimitLine& line) {
  if (graph.type == GraphType::kScatter && StartsWithAxisLabel(line.label, graph.x_label)) {
    return LineOrientation::kVertical;
  }
  return LineOrientation::kHorizontal;
}

void ValueRange::Add(double value) {
  if (!std::isfinite(value)) return;
  min = min ? std::min(*min, value) : value;
  max = max ? std::max(*max, value) : value;
}

PointExtent PointsExtent(const Graph& graph) {
  PointExtent extent;
  for (const GraphSeries& series : graph.series) {
    for (std::size_t point = 0; point < series.y.size(); ++point) {
      const double x = PointX(series, point);
      const double y = series.y[point];
      if (!std::isfinite(x) || !std::isfinite(y)) continue;
      extent.x.Add(x);
      extent.y.Add(y);
    }
  }
  return extent;
}

std::vector<LimitSegment> LimitSegments(const Graph& graph, const PointExtent& points) {
  // The lines of each kind and orientation, to find the box a scatterplot's lines enclose.
  const auto span_of = [&](LimitKind kind, LineOrientation orientation) {
    ValueRange span;
    int count = 0;
    for (const LimitLine& line : graph.lines) {
      if (line.kind != kind || OrientationOf(graph, line) != orientation) continue;
      if (!std::isfinite(line.value)) continue;
      span.Add(line.value);
      ++count;
    }
    return count >= 2 ? span : ValueRange{};
  };
  // Without points or a box the line still needs some length to be seen.
  const auto or_unit = [](const ValueRange& range) {
    return range.empty() ? std::pair<double, double>{0.0, 1.0}
                         : std::pair<double, double>{*range.min, *range.max};
  };

  std::vector<LimitSegment> segments;
  for (std::size_t index = 0; index < graph.lines.size(); ++index) {
    const LimitLine& line = graph.lines[index];
    if (!std::isfinite(line.value)) continue;
    LimitSegment segment;
    segment.line = index;
    if (OrientationOf(graph, line) == LineOrientation::kHorizontal) {
      const ValueRange box = span_of(line.kind, LineOrientation::kVertical);
      const auto [from, to] = or_unit(box.empty() ? points.x : box);
      segment.x0 = from;
      segment.x1 = to;
      segment.y0 = segment.y1 = line.value;
    } else {
      const ValueRange box = span_of(line.kind, LineOrientation::kHorizontal);
      const auto [from, to] = or_unit(box.empty() ? points.y : box);
      segment.y0 = from;
      segment.y1 = to;
      segment.x0 = segment.x1 = line.value;
    }
    segments.push_back(segment);
  }
  return segments;
}

bool ControlBand::Outside(double value) const {
  if (!std::isfinite(value)) return false;
  return (lower && value < *lower) || (upper && value > *upper);
}

ControlBand ControlBandOf(const Graph& graph, LineOrientation orientation) {
  ValueRange values;
  int count = 0;
  for (const LimitLine& line : graph.lines) {
    if (line.kind != LimitKind::kControl || OrientationOf(graph, line) != orientation) continue;
    if (!std::isfinite(line.value)) continue;
    values.Add(line.value);
    ++count;
  }
  ControlBand band;
  if (count == 0) return band;
  // One line is an upper limit (T², SPE, distances); two or more bound the values both ways.
  band.upper = values.max;
  if (count >= 2) band.lower = values.min;
  return band;
}

std::vector<PointRef> PointsBeyondControl(const Graph& graph) {
  const ControlBand y_band = ControlBandOf(graph, LineOrientation::kHorizontal);
  const ControlBand x_band = ControlBandOf(graph, LineOrientation::kVertical);
  std::vector<PointRef> beyond;
  for (std::size_t series = 0; series < graph.series.size(); ++series) {
    const GraphSeries& one = graph.series[series];
    for (std::size_t point = 0; point < one.y.size(); ++point) {
      const double x = PointX(one, point);
      const double y = one.y[point];
      if (!std::isfinite(x) || !std::isfinite(y)) continue;
      if (y_band.Outside(y) || x_band.Outside(x)) beyond.push_back({series, point});
    }
  }
  return beyond;
}

}  // namespace mspc::platform
