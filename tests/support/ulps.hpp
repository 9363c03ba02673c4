#pragma once

#include <cmath>
#include <cstdlib>
#include <limits>

namespace mspc::testing {

/// Step `count` representable doubles away from `value` (negative count steps down).
inline double UlpsAway(double value, int count) {
  const double target = count >= 0 ? std::numeric_limits<double>::infinity()
                                   : -std::numeric_limits<double>::infinity();
  for (int step = 0; step < std::abs(count); ++step) value = std::nextafter(value, target);
  return value;
}

}  // namespace mspc::testing
