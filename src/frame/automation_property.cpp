#include "frame/automation_property.hpp"

#include <cstdint>
#include <limits>
#include <set>

#include "frame/variable_lookup.hpp"
#include "host/messages.hpp"

namespace mspc {
namespace {

[[noreturn]] void ThrowWrongType(std::string_view property, ValueType expected) {
  throw AutomationError(
      FormatMessage(MessageId::kAutomationWrongType, property, ValueTypeName(expected)));
}

template <typename T>
const T& Expect(const AutomationValue& value, std::string_view property) {
  const T* held = std::get_if<T>(&value);
  if (held == nullptr) ThrowWrongType(property, AutomationTypeOf<T>());
  return *held;
}

}  // namespace

AutomationValue ToAutomationValue(bool value) { return value; }
AutomationValue ToAutomationValue(int value) { return std::int64_t{value}; }
AutomationValue ToAutomationValue(double value) { return value; }
AutomationValue ToAutomationValue(const std::string& value) { return value; }
AutomationValue ToAutomationValue(const std::vector<std::string>& value) { return value; }
AutomationValue ToAutomationValue(const std::map<std::string, double>& value) { return value; }
AutomationValue ToAutomationValue(const std::vector<int>& value) {
  return std::vector<std::int64_t>(value.begin(), value.end());
}

template <>
bool FromAutomationValue<bool>(const AutomationValue& value, std::string_view property) {
  return Expect<bool>(value, property);
}

template <>
int FromAutomationValue<int>(const AutomationValue& value, std::string_view property) {
  const auto* held = std::get_if<std::int64_t>(&value);
  if (held == nullptr) ThrowWrongType(property, ValueType::kInt);
  if (*held < std::numeric_limits<int>::min() || *held > std::numeric_limits<int>::max()) {
    throw AutomationError(FormatMessage(MessageId::kAutomationIntegerOutOfRange, property));
  }
  return static_cast<int>(*held);
}

template <>
double FromAutomationValue<double>(const AutomationValue& value, std::string_view property) {
  if (const auto* whole = std::get_if<std::int64_t>(&value)) return static_cast<double>(*whole);
  return Expect<double>(value, property);
}

template <>
std::string FromAutomationValue<std::string>(const AutomationValue& value,
                                             std::string_view property) {
  return Expect<std::string>(value, property);
}

template <>
std::vector<std::string> FromAutomationValue<std::vector<std::string>>(const AutomationValue& value,
                                                                       std::string_view property) {
  return Expect<std::vector<std::string>>(value, property);
}

template <>
std::vector<int> FromAutomationValue<std::vector<int>>(const AutomationValue& value,
                                                       std::string_view property) {
  std::vector<int> items;
  for (const std::int64_t item : Expect<std::vector<std::int64_t>>(value, property)) {
    items.push_back(FromAutomationValue<int>(AutomationValue(item), property));
  }
  return items;
}

template <>
std::map<std::string, double> FromAutomationValue<std::map<std::string, double>>(
    const AutomationValue& value, std::string_view property) {
  return Expect<std::map<std::string, double>>(value, property);
}

void CheckVariableNames(const DataTable* table,
                        std::string_view property,
                        const std::vector<std::string>& names) {
  if (names.empty()) return;
  if (table == nullptr) {
    throw AutomationError(FormatMessage(MessageId::kAutomationNoDataTable, property));
  }
  std::set<std::string> seen;
  for (const std::string& name : names) {
    if (!LookUpVariable(*table, name)) {
      throw AutomationError(FormatMessage(MessageId::kAutomationUnknownVariable, property, name));
    }
    if (!seen.insert(name).second) {
      throw AutomationError(FormatMessage(MessageId::kAutomationVariableTwice, property, name));
    }
  }
}

void CheckVariableName(const DataTable* table, std::string_view property, const std::string& name) {
  if (name.empty()) return;
  CheckVariableNames(table, property, {name});
}

}  // namespace mspc
