#include "pls/pls_validation.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <numeric>

#include "models/tolerant.hpp"

namespace mspc {
namespace {

bool IsExcluded(const std::vector<bool>& excluded, std::size_t index) {
  return !excluded.empty() && excluded[index];
}

// Case-insensitive byte order of two names, for the dictionary order of a listing.
int CompareFolded(const std::string& a, const std::string& b) {
  const std::size_t length = std::min(a.size(), b.size());
  for (std::size_t index = 0; index < length; ++index) {
    const int left = std::tolower(static_cast<unsigned char>(a[index]));
    const int right = std::tolower(static_cast<unsigned char>(b[index]));
    if (left != right) return left < right ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

}  // namespace

std::vector<double> ColumnQ2(const CPLSNode& node,
                             const CPLSNode* previous,
                             std::span<const double> y_column_ss,
                             const std::vector<bool>& excluded_y_columns) {
  std::vector<double> q2(node.press_y_per_column.size(), CPLSNode::kNotComputed);
  for (std::size_t col = 0; col < q2.size(); ++col) {
    if (IsExcluded(excluded_y_columns, col)) continue;
    const double reference_ss =
        previous == nullptr ? y_column_ss[col] : previous->explained_ss_y_per_column[col];
    // Nothing to predict in the column: it neither gains nor loses.
    q2[col] =
        IsTolerantZero(reference_ss) ? 0.0 : 1.0 - node.press_y_per_column[col] / reference_ss;
  }
  return q2;
}

std::optional<VariableImportance> ComputeVariableImportance(
    std::span<const CPLSNode> nodes,
    const std::vector<bool>& excluded_x_columns,
    std::span<const std::string> names,
    bool sort_by_importance) {
  if (nodes.empty()) return std::nullopt;
  const std::size_t cols = nodes.front().w.size();
  VariableImportance result;
  result.importance.assign(cols, 0.0);
  result.complement.assign(cols, 1.0);
  result.vip.assign(cols, 0.0);

  std::size_t predictors = 0;  // P
  for (std::size_t col = 0; col < cols; ++col) {
    if (!IsExcluded(excluded_x_columns, col)) ++predictors;
  }
  // The weights have unit length, so sum_j w_jk² SSY_k = SSY_k and the I_j add up to 1.
  const double explained_y = nodes.back().cumulative_explained_ss_y;
  for (std::size_t col = 0; col < cols; ++col) {
    if (IsExcluded(excluded_x_columns, col)) continue;
    double weighted = 0.0;
    for (const CPLSNode& node : nodes) weighted += node.w[col] * node.w[col] * node.explained_ss_y;
    // With nothing explained the division is skipped and the sum stands.
    const double importance = IsTolerantZero(explained_y) ? weighted : weighted / explained_y;
    result.importance[col] = importance;
    result.complement[col] = 1.0 - importance;
    result.vip[col] = std::sqrt(static_cast<double>(predictors) * importance);
  }

  result.order.resize(cols);
  std::iota(result.order.begin(), result.order.end(), std::size_t{0});
  // A sort needs a strict weak order, which a comparison with slack is not: importances are
  // compared exactly as ordered bit patterns, names byte by byte; ties keep column order.
  if (sort_by_importance) {
    std::stable_sort(
        result.order.begin(), result.order.end(), [&result](std::size_t a, std::size_t b) {
          return OrderedBits(result.importance[a]) > OrderedBits(result.importance[b]);
        });
  } else if (names.size() == cols) {
    std::stable_sort(
        result.order.begin(), result.order.end(), [&names](std::size_t a, std::size_t b) {
          const int folded = CompareFolded(names[a], names[b]);
          return folded != 0 ? folded < 0 : names[a] < names[b];
        });
  }
  result.cumulative.resize(cols);
  double running = 0.0;
  for (std::size_t position = 0; position < cols; ++position) {
    running += result.importance[result.order[position]];
    result.cumulative[position] = running;
  }
  return result;
}

}  // namespace mspc
