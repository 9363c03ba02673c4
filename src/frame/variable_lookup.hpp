#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "host/data_table.hpp"

namespace mspc {

/// Find a variable of the table by name. The index of the last variable found is kept in a
/// module-wide cache (scripts and dialogs name the same variables again and again); a cached
/// index is used only after it was checked to still name `name` in `table`.
std::optional<std::size_t> LookUpVariable(const DataTable& table, const std::string& name);

/// Invalidate the cache: the analysis's `Init` does so, so that nothing found in one input
/// file is trusted in the next.
void ResetVariableLookupCache();

/// The cached index, -1 when the cache is invalid.
int CachedVariableIndex();

}  // namespace mspc
