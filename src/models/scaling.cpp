#include "models/scaling.hpp"

namespace mspc {

std::string_view ToString(ScalingMode mode) {
  switch (mode) {
    case ScalingMode::UnitStandardDeviations:
      return "UnitStandardDeviations";
    case ScalingMode::DoNotScaleVariables:
      return "DoNotScaleVariables";
    case ScalingMode::UserDefinedStandardDeviations:
      return "UserDefinedStandardDeviations";
  }
  return "UnitStandardDeviations";
}

std::optional<ScalingMode> ParseScalingMode(std::string_view text) {
  for (ScalingMode mode : {ScalingMode::UnitStandardDeviations,
                           ScalingMode::DoNotScaleVariables,
                           ScalingMode::UserDefinedStandardDeviations}) {
    if (ToString(mode) == text) return mode;
  }
  return std::nullopt;
}

}  // namespace mspc
