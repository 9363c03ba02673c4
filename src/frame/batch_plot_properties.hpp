#pragma once

#include <string>
#include <type_traits>
#include <vector>

#include "batch/trajectory.hpp"
#include "frame/automation_property.hpp"

namespace mspc {

/// A property of the setting `field()` answers each time it is read or set, for settings that
/// live in the current model rather than in the twin.
template <typename Field>
AutomationProperty MakeFieldProperty(std::string name, Field field) {
  using Value = std::remove_cvref_t<decltype(field())>;
  AutomationProperty property;
  property.name = name;
  property.type = AutomationTypeOf<Value>();
  property.get = [field] { return ToAutomationValue(field()); };
  property.put = [field, name](const AutomationValue& value) {
    field() = FromAutomationValue<Value>(value, name);
  };
  return property;
}

/// Where a batch model keeps the settings of its trajectory and batch plots.
struct BatchPlotSettings {
  TrajectoryOptions& trajectory;
  bool& limits_as_regions;
  bool& original_scale;
  bool& text_labels;
  bool& markers;
  /// A process column's name; empty: the first.
  std::string& trajectory_variable;
  /// The batch labels the trajectory plots draw.
  std::vector<std::string>& batches_to_display;
};

/// The Results twins' properties of those settings (`ConstantForTrajectoryControlLimits`,
/// `ConstantForTrajectoryWarningLimits`, `AddTrajectoryWarningLimits`,
/// `TrajectoryLimitsAsRegions`, `UseOriginalScale`, `DisplayTextLabels`,
/// `ShowMarkersForScoreControlChart`, `VariableForTrajectory`, `BatchesToDisplay`), over the
/// settings `settings()` answers when one is read or set.
template <typename Settings>
std::vector<AutomationProperty> BatchPlotProperties(Settings settings) {
#define MSPC_PLOT_PROPERTY(Name, field) \
  MakeFieldProperty(                    \
      #Name, [settings]() -> auto& { return settings().field; })
  return {
      MSPC_PLOT_PROPERTY(ConstantForTrajectoryControlLimits, trajectory.control_constant),
      MSPC_PLOT_PROPERTY(ConstantForTrajectoryWarningLimits, trajectory.warning_constant),
      MSPC_PLOT_PROPERTY(AddTrajectoryWarningLimits, trajectory.warning_limits),
      MSPC_PLOT_PROPERTY(TrajectoryLimitsAsRegions, limits_as_regions),
      MSPC_PLOT_PROPERTY(UseOriginalScale, original_scale),
      MSPC_PLOT_PROPERTY(DisplayTextLabels, text_labels),
      MSPC_PLOT_PROPERTY(ShowMarkersForScoreControlChart, markers),
      MSPC_PLOT_PROPERTY(VariableForTrajectory, trajectory_variable),
      MSPC_PLOT_PROPERTY(BatchesToDisplay, batches_to_display),
  };
#undef MSPC_PLOT_PROPERTY
}

}  // namespace mspc
