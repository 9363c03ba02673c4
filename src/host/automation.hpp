#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace mspc {

/// The type of an automation property, as a script must supply it.
enum class ValueType {
  kBool,
  kInt,
  kDouble,
  kString,
  kStringList,
  kIntList,
  kDoubleList,
  kNumberMap,  // name -> number, such as user-defined scales
};

/// The name of a value type as messages show it ("integer", "list of strings", ...).
std::string_view ValueTypeName(ValueType type);

using AutomationValue = std::variant<bool,
                                     std::int64_t,
                                     double,
                                     std::string,
                                     std::vector<std::string>,
                                     std::vector<std::int64_t>,
                                     std::vector<double>,
                                     std::map<std::string, double>>;

/// Thrown by a `put_` accessor that cannot take a value of the right type (an unknown variable
/// name, say). The message names the problem; the caller adds where it came from.
class AutomationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One property of an automation twin: its exact name, its type and its accessor pair.
struct AutomationProperty {
  std::string name;
  ValueType type;
  std::function<AutomationValue()> get;
  std::function<void(const AutomationValue&)> put;
};

/// One command of an automation twin. `run` returns false when the command was refused: its
/// message has been shown and the dialog stays as it was.
struct AutomationCommand {
  std::string name;
  std::function<bool()> run;
};

/// The automation twin of a dialog (`PCAStartup`, `PCAResults`, ...): every option as a
/// property, every command as a method, so that a run can be scripted and recorded.
class AutomationObject {
 public:
  virtual ~AutomationObject() = default;
  /// The twin's interface name, as scripts name the dialog.
  virtual std::string TwinName() const = 0;
  virtual std::vector<AutomationProperty> Properties() = 0;
  virtual std::vector<AutomationCommand> Commands() = 0;
};

}  // namespace mspc
