#pragma once

#include <optional>
#include <string_view>

namespace mspc::platform {

/// Remove the blanks (spaces and tabs) around a text.
std::string_view TrimBlanks(std::string_view text);

/// The finite number the whole of `text` spells, blanks around it allowed: decimal digits with
/// an optional sign, `decimal_point` and exponent. Nothing for anything else, including "inf",
/// "nan" and numbers too large for a double.
std::optional<double> ParseNumber(std::string_view text, char decimal_point = '.');

}  // namespace mspc::platform
