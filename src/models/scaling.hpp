#pragma once

#include <optional>
#include <string_view>

namespace mspc {

/// How each working column is scaled after centring.
enum class ScalingMode {
  UnitStandardDeviations,         // divide by the column's standard deviation
  DoNotScaleVariables,            // divide by 1
  UserDefinedStandardDeviations,  // divide by the user's value for the variable
};

std::string_view ToString(ScalingMode mode);
std::optional<ScalingMode> ParseScalingMode(std::string_view text);

}  // namespace mspc
