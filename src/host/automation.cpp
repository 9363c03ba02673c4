#include "host/automation.hpp"

namespace mspc {

std::string_view ValueTypeName(ValueType type) {
  switch (type) {
    case ValueType::kBool:
      return "boolean";
    case ValueType::kInt:
      return "integer";
    case ValueType::kDouble:
      return "number";
    case ValueType::kString:
      return "string";
    case ValueType::kStringList:
      return "list of strings";
    case ValueType::kIntList:
      return "list of integers";
    case ValueType::kDoubleList:
      return "list of numbers";
    case ValueType::kNumberMap:
      return "object of numbers";
  }
  return "value";
}

}  // namespace mspc
