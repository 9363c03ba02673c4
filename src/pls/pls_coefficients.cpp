#include "pls/pls_coefficients.hpp"

#include <cassert>
#include <cmath>
#include <optional>
#include <utility>

#include "host/messages.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"
#include "pls/pls_engine.hpp"

namespace mspc {
namespace {

double SumOfSquares(const std::vector<double>& values) {
  double sum = 0.0;
  for (double value : values) sum += value * value;
  return sum;
}

}  // namespace

std::string_view ModelTypeText(PLSModelType type) {
  return MessageText(type == PLSModelType::kClassification ? MessageId::kPLSClassification
                                                           : MessageId::kPLSRegression);
}

void SolveLinearSystem(DMatrix a, DMatrix& rhs) {
  const std::size_t n = a.rows();
  const std::size_t m = rhs.cols();
  assert(a.cols() == n && rhs.rows() == n);
  std::vector<bool> singular(n, false);
  for (std::size_t col = 0; col < n; ++col) {
    // Partial pivoting: the largest magnitude at or below the diagonal; ties keep the upper row.
    std::size_t pivot = col;
    for (std::size_t row = col + 1; row < n; ++row) {
      if (TolerantGreater(std::fabs(a(row, col)), std::fabs(a(pivot, col)))) pivot = row;
    }
    if (pivot != col) {
      for (std::size_t k = 0; k < n; ++k) std::swap(a(pivot, k), a(col, k));
      for (std::size_t k = 0; k < m; ++k) std::swap(rhs(pivot, k), rhs(col, k));
    }
    if (IsTolerantZero(a(col, col))) {
      singular[col] = true;
      continue;
    }
    for (std::size_t row = col + 1; row < n; ++row) {
      const double factor = a(row, col) / a(col, col);
      for (std::size_t k = col; k < n; ++k) a(row, k) -= factor * a(col, k);
      for (std::size_t k = 0; k < m; ++k) rhs(row, k) -= factor * rhs(col, k);
    }
  }
  // Back substitution; the unknowns of a zero pivot stay 0.
  for (std::size_t col = n; col-- > 0;) {
    for (std::size_t k = 0; k < m; ++k) {
      if (singular[col]) {
        rhs(col, k) = 0.0;
        continue;
      }
      double value = rhs(col, k);
      for (std::size_t later = col + 1; later < n; ++later) value -= a(col, later) * rhs(later, k);
      rhs(col, k) = value / a(col, col);
    }
  }
}

PLSCoefficients ComputePLSCoefficients(const PLSEngine& engine) {
  const std::size_t x_cols = engine.XCols();
  const std::size_t y_cols = engine.YCols();
  PLSCoefficients result{DMatrix(x_cols, y_cols), DMatrix(x_cols, y_cols), {}};

  // A component with vanishing weights or loadings has t = 0 and predicts nothing; leaving it
  // out keeps PᵀW regular.
  std::vector<const CPLSNode*> components;
  for (const CPLSNode& node : engine.Nodes()) {
    if (!IsTolerantZero(SumOfSquares(node.w)) && !IsTolerantZero(SumOfSquares(node.p))) {
      components.push_back(&node);
    }
  }
  const std::size_t count = components.size();
  if (count > 0) {
    // R = W (PᵀW)⁻¹ is the transpose of Z in (PᵀW)ᵀ Z = Wᵀ, that is (WᵀP) Z = Wᵀ.
    DMatrix system(count, count);
    for (std::size_t a = 0; a < count; ++a) {
      for (std::size_t c = 0; c < count; ++c) {
        double sum = 0.0;  // w_a' p_c
        for (std::size_t j = 0; j < x_cols; ++j) sum += components[a]->w[j] * components[c]->p[j];
        system(a, c) = sum;
      }
    }
    DMatrix rotation(count, x_cols);  // Z = Rᵀ
    for (std::size_t a = 0; a < count; ++a) {
      for (std::size_t j = 0; j < x_cols; ++j) rotation(a, j) = components[a]->w[j];
    }
    SolveLinearSystem(std::move(system), rotation);
    // B_jk = sum_a R_ja b_a q_ka.
    for (std::size_t j = 0; j < x_cols; ++j) {
      for (std::size_t k = 0; k < y_cols; ++k) {
        double sum = 0.0;
        for (std::size_t a = 0; a < count; ++a) {
          sum += rotation(a, j) * components[a]->b * components[a]->q[k];
        }
        result.scaled(j, k) = sum;
      }
    }
  }

  const BlockScaling& x_scaling = engine.XScaling();
  const BlockScaling& y_scaling = engine.YScaling();
  result.intercept.assign(y_cols, 0.0);
  for (std::size_t k = 0; k < y_cols; ++k) {
    double intercept = y_scaling.mean[k];
    for (std::size_t j = 0; j < x_cols; ++j) {
      // The engine's scales are never zero: a zero scale is kept as 1.
      const double coefficient = result.scaled(j, k) * y_scaling.scale[k] / x_scaling.scale[j];
      result.data(j, k) = coefficient;
      if (!engine.IsXColumnExcluded(j)) intercept -= coefficient * x_scaling.mean[j];
    }
    result.intercept[k] = intercept;
  }
  return result;
}

PLSPredictions ComputePLSPredictions(const PLSEngine& engine) {
  const std::size_t rows = engine.Rows();
  const std::size_t x_cols = engine.XCols();
  const std::size_t y_cols = engine.YCols();
  const BlockScaling& x_scaling = engine.XScaling();
  const BlockScaling& y_scaling = engine.YScaling();
  const std::vector<CPLSNode>& nodes = engine.Nodes();
  PLSPredictions result{DMatrix(rows, y_cols, kMissingValue),
                        engine.YResiduals(),
                        DMatrix(rows, x_cols, kMissingValue),
                        engine.XResiduals()};

  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t k = 0; k < y_cols; ++k) {
      if (!IsMissing(result.y_residual(row, k))) result.y_residual(row, k) *= y_scaling.scale[k];
    }
    for (std::size_t j = 0; j < x_cols; ++j) {
      if (!IsMissing(result.x_residual(row, j))) result.x_residual(row, j) *= x_scaling.scale[j];
    }
    if (engine.IsRowExcluded(row)) continue;
    for (std::size_t k = 0; k < y_cols; ++k) {
      double fitted = 0.0;  // sum_a b_a t_ia q_ka
      for (const CPLSNode& node : nodes) fitted += node.b * node.t[row] * node.q[k];
      result.y_predicted(row, k) = fitted * y_scaling.scale[k] + y_scaling.mean[k];
    }
    for (std::size_t j = 0; j < x_cols; ++j) {
      double fitted = 0.0;  // sum_a t_ia p_ja
      for (const CPLSNode& node : nodes) fitted += node.t[row] * node.p[j];
      result.x_predicted(row, j) = fitted * x_scaling.scale[j] + x_scaling.mean[j];
    }
  }
  return result;
}

std::vector<double> PredictClasses(const DMatrix& y_predicted,
                                   std::span<const std::size_t> dummy_columns,
                                   std::span<const double> codes) {
  assert(dummy_columns.size() == codes.size());
  std::vector<double> classes(y_predicted.rows(), kMissingValue);
  for (std::size_t row = 0; row < y_predicted.rows(); ++row) {
    std::optional<std::size_t> best;
    for (std::size_t index = 0; index < dummy_columns.size(); ++index) {
      const double value = y_predicted(row, dummy_columns[index]);
      if (IsMissing(value)) continue;
      if (!best || TolerantGreater(value, y_predicted(row, dummy_columns[*best]))) best = index;
    }
    if (best) classes[row] = codes[*best];
  }
  return classes;
}

}  // namespace mspc
