#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mspc::platform {

/// Which report files a run writes besides the messages: `reports.json`, `report.xlsx` and
/// `report.html`.
struct OutputFormats {
  bool json = true;
  bool xlsx = true;
  bool html = true;
};

/// The value of `--format` that writes every report file.
inline constexpr std::string_view kAllOutputFormats = "json,xlsx,html";

/// Read a `--format` value: one or more of `json`, `xlsx` and `html` (any case) separated by
/// commas, blanks around them allowed. Nothing, with `error` filled, for an empty or unknown
/// name.
std::optional<OutputFormats> ParseOutputFormats(std::string_view text, std::string* error);

}  // namespace mspc::platform
