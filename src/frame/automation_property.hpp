#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/automation.hpp"
#include "host/data_table.hpp"

namespace mspc {

/// The automation type of a C++ property type.
template <typename T>
constexpr ValueType AutomationTypeOf() {
  if constexpr (std::is_same_v<T, bool>) {
    return ValueType::kBool;
  } else if constexpr (std::is_same_v<T, int>) {
    return ValueType::kInt;
  } else if constexpr (std::is_same_v<T, double>) {
    return ValueType::kDouble;
  } else if constexpr (std::is_same_v<T, std::string>) {
    return ValueType::kString;
  } else if constexpr (std::is_same_v<T, std::vector<std::string>>) {
    return ValueType::kStringList;
  } else if constexpr (std::is_same_v<T, std::vector<int>> ||
                       std::is_same_v<T, std::vector<std::int64_t>>) {
    return ValueType::kIntList;
  } else {
    static_assert(std::is_same_v<T, std::map<std::string, double>>, "no automation type");
    return ValueType::kNumberMap;
  }
}

AutomationValue ToAutomationValue(bool value);
AutomationValue ToAutomationValue(int value);
AutomationValue ToAutomationValue(double value);
AutomationValue ToAutomationValue(const std::string& value);
AutomationValue ToAutomationValue(const std::vector<std::string>& value);
AutomationValue ToAutomationValue(const std::vector<int>& value);
AutomationValue ToAutomationValue(const std::map<std::string, double>& value);

/// The value of an automation property as its C++ type. A number property takes an integer as
/// well; an integer beyond the range of `int` and a value of another type throw
/// `AutomationError` naming `property`.
template <typename T>
T FromAutomationValue(const AutomationValue& value, std::string_view property);
template <>
bool FromAutomationValue<bool>(const AutomationValue& value, std::string_view property);
template <>
int FromAutomationValue<int>(const AutomationValue& value, std::string_view property);
template <>
double FromAutomationValue<double>(const AutomationValue& value, std::string_view property);
template <>
std::string FromAutomationValue<std::string>(const AutomationValue& value,
                                             std::string_view property);
template <>
std::vector<std::string> FromAutomationValue<std::vector<std::string>>(const AutomationValue& value,
                                                                       std::string_view property);
template <>
std::vector<int> FromAutomationValue<std::vector<int>>(const AutomationValue& value,
                                                       std::string_view property);
template <>
std::map<std::string, double> FromAutomationValue<std::map<std::string, double>>(
    const AutomationValue& value, std::string_view property);

/// Describe a property by its typed accessor pair `Twin::get_X() const` / `Twin::put_X(value)`.
template <typename Twin, typename Value, typename Argument>
AutomationProperty MakeProperty(std::string name,
                                Twin& twin,
                                Value (Twin::*get)() const,
                                void (Twin::*put)(Argument)) {
  static_assert(std::is_same_v<Value, std::remove_cvref_t<Argument>>,
                "get_ and put_ of a property must agree on its type");
  AutomationProperty property;
  property.name = name;
  property.type = AutomationTypeOf<Value>();
  property.get = [&twin, get] { return ToAutomationValue((twin.*get)()); };
  property.put = [&twin, put, name](const AutomationValue& value) {
    (twin.*put)(FromAutomationValue<Value>(value, name));
  };
  return property;
}

/// Describe a read-only property by its accessor `Twin::get_X() const`; it has no `put`, so
/// hosts neither set it nor record it.
template <typename Twin, typename Value>
AutomationProperty MakeReadOnlyProperty(std::string name, Twin& twin, Value (Twin::*get)() const) {
  AutomationProperty property;
  property.name = std::move(name);
  property.type = AutomationTypeOf<Value>();
  property.get = [&twin, get] { return ToAutomationValue((twin.*get)()); };
  return property;
}

/// Describe a command by its method `bool Twin::Name()`.
template <typename Twin>
AutomationCommand MakeCommand(std::string name, Twin& twin, bool (Twin::*run)()) {
  return {std::move(name), [&twin, run] { return (twin.*run)(); }};
}

/// Throw `AutomationError` unless every name is a variable of `table`, named once.
void CheckVariableNames(const DataTable* table,
                        std::string_view property,
                        const std::vector<std::string>& names);
/// The same for a single variable; an empty name (no variable) is accepted.
void CheckVariableName(const DataTable* table, std::string_view property, const std::string& name);

}  // namespace mspc
