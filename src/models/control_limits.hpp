#pragma once

namespace mspc {

/// The limits of one chart. T² and SPE(Q) charts use the first three fields; score charts add
/// the score's standard deviation, degrees of freedom and the upper and lower lines.
struct ControlLimitSet {
  double control_limit = 0.0;  // the setting: a percentage, a p-value or a number of deviations
  double control_line = 0.0;   // the value of the statistic at the control limit
  bool warning = false;        // whether a warning limit is drawn
  double warning_limit = 0.0;
  double warning_line = 0.0;

  double standard_deviation = 0.0;
  int degrees_of_freedom = 0;
  double upper_control = 0.0;
  double lower_control = 0.0;
  double upper_warning = 0.0;
  double lower_warning = 0.0;
};

}  // namespace mspc
