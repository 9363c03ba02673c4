#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "pls/pls_node.hpp"

namespace mspc {

/// Q² of every dependent column for one component: 1 - PRESS Y_k / S_k, where S_k is what the
/// previous component explained of column k (for the first component, the column's total SS).
/// A column with S_k zero gets 0; an excluded column, or a component that was not
/// cross-validated, gets not-a-number.
std::vector<double> ColumnQ2(const CPLSNode& node,
                             const CPLSNode* previous,
                             std::span<const double> y_column_ss,
                             const std::vector<bool>& excluded_y_columns);

/// The importance of the predictors in a PLS model.
struct VariableImportance {
  std::vector<double> importance;  // I_j per X column: sum_k w_jk² SSY_k / cumulative SSY
  std::vector<double> complement;  // 1 - I_j
  std::vector<double> vip;         // sqrt(P I_j)
  std::vector<std::size_t> order;  // X columns in listing order
  std::vector<double> cumulative;  // running sum of I_j along `order`
};

/// The importance of every X column from the stored components; nothing without components.
/// Excluded columns get importance 0, complement 1 and VIP 0. Listed by decreasing importance
/// when `sort_by_importance`, else in dictionary order of `names` (case-insensitive, ties by
/// column order).
std::optional<VariableImportance> ComputeVariableImportance(
    std::span<const CPLSNode> nodes,
    const std::vector<bool>& excluded_x_columns,
    std::span<const std::string> names,
    bool sort_by_importance);

}  // namespace mspc
