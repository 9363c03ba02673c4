#pragma once

#include <string>
#include <vector>

namespace mspc {

/// Why an item was removed: the cause code and the value that failed against its minimum.
struct Removal {
  std::string name;  // variable name, or the case's name / host case number
  int cause = 0;
  double current = 0.0;
  double minimum = 0.0;
};

/// The removed variables and cases of one model, with their cause codes (texts by `CauseText`).
struct RemovalLog {
  std::vector<Removal> variables;
  std::vector<Removal> cases;

  bool empty() const { return variables.empty() && cases.empty(); }
};

}  // namespace mspc
