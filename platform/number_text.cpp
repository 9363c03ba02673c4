#include "platform/number_text.hpp"

#include <fast_float/fast_float.h>

#include <cmath>
#include <system_error>

namespace mspc::platform {

std::string_view TrimBlanks(std::string_view text) {
  // Plain loops: this runs for every cell of a table.
  const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
  std::size_t first = 0;
  std::size_t last = text.size();
  while (first < last && is_blank(text[first])) ++first;
  while (last > first && is_blank(text[last - 1])) --last;
  return text.substr(first, last - first);
}

std::optional<double> ParseNumber(std::string_view text, char decimal_point) {
  text = TrimBlanks(text);
  // fast_float reads a leading minus only; an explicit plus is common in exported data.
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (text.empty() || text.front() == '-' || text.front() == '+') return std::nullopt;
  }
  if (text.empty()) return std::nullopt;
  double value = 0.0;
  const fast_float::parse_options options(fast_float::chars_format::general, decimal_point);
  const auto result =
      fast_float::from_chars_advanced(text.data(), text.data() + text.size(), value, options);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace mspc::platform
