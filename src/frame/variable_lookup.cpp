#include "frame/variable_lookup.hpp"

namespace mspc {
namespace {

// Only the user-interface thread touches the cache; nothing is locked.
int cached_index = -1;

}  // namespace

std::optional<std::size_t> LookUpVariable(const DataTable& table, const std::string& name) {
  if (cached_index >= 0) {
    const auto index = static_cast<std::size_t>(cached_index);
    if (index < table.NumVariables() && table.VariableName(index) == name) return index;
  }
  const std::optional<std::size_t> found = table.FindVariable(name);
  cached_index = found ? static_cast<int>(*found) : -1;
  return found;
}

void ResetVariableLookupCache() { cached_index = -1; }

int CachedVariableIndex() { return cached_index; }

}  // namespace mspc
