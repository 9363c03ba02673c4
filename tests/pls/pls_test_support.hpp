#pragma once

// Data makers and references shared by the PLS tests.

#include <cstdint>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

#include "models/dmatrix.hpp"
#include "pca/pca_test_support.hpp"
#include "pls/pls_engine.hpp"

extern "C" void dgels_(const char* trans,
                       const int* m,
                       const int* n,
                       const int* nrhs,
                       double* a,
                       const int* lda,
                       double* b,
                       const int* ldb,
                       double* work,
                       const int* lwork,
                       int* info);

namespace mspc::testing {

/// A matrix of independent standard normal draws.
inline DMatrix NormalMatrix(std::size_t rows, std::size_t cols, std::uint64_t seed) {
  std::mt19937_64 engine(seed);
  std::normal_distribution<double> normal(0.0, 1.0);
  DMatrix m(rows, cols);
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < cols; ++j) m(i, j) = normal(engine);
  }
  return m;
}

/// Y = offset + X β + noise·N(0, 1), with β given as P rows of M values.
inline DMatrix LinearResponse(const DMatrix& x,
                              const std::vector<std::vector<double>>& beta,
                              const std::vector<double>& offset,
                              double noise,
                              std::uint64_t seed) {
  std::mt19937_64 engine(seed);
  std::normal_distribution<double> normal(0.0, 1.0);
  const std::size_t m = offset.size();
  DMatrix y(x.rows(), m);
  for (std::size_t i = 0; i < x.rows(); ++i) {
    for (std::size_t k = 0; k < m; ++k) {
      double value = offset[k] + noise * normal(engine);
      for (std::size_t j = 0; j < x.cols(); ++j) value += x(i, j) * beta[j][k];
      y(i, k) = value;
    }
  }
  return y;
}

/// Y = X β + noise·N(0, 1) with `m` columns and β drawn from N(0, 1).
inline DMatrix RandomResponse(const DMatrix& x, std::size_t m, double noise, std::uint64_t seed) {
  const DMatrix drawn = NormalMatrix(x.cols(), m, seed);
  std::vector<std::vector<double>> beta(x.cols());
  for (std::size_t j = 0; j < x.cols(); ++j)
    beta[j].assign(drawn.Row(j).begin(), drawn.Row(j).end());
  return LinearResponse(x, beta, std::vector<double>(m, 0.0), noise, seed + 1);
}

/// An engine holding both blocks centred and scaled to unit standard deviations.
inline PLSEngine StandardisedPLS(const DMatrix& x,
                                 const DMatrix& y,
                                 const PLSFitOptions& options,
                                 PLSExclusions exclusions = {}) {
  PLSEngine engine(options);
  const ColumnStatistics x_stats = ComputeColumnStatistics(x);
  const ColumnStatistics y_stats = ComputeColumnStatistics(y);
  engine.CenterAndScale(
      x, y, {x_stats.mean, x_stats.sd}, {y_stats.mean, y_stats.sd}, std::move(exclusions));
  return engine;
}

/// Fit and store `count` components one by one, with no test and no stop rule.
inline void StoreComponents(PLSEngine& engine, int count) {
  for (int k = 0; k < count; ++k) {
    CPLSNode node = engine.NewNode();
    engine.FitOnAllCases(node);
    engine.StoreComponent(std::move(node));
  }
}

/// Options for tight convergence without cross-validation.
inline PLSFitOptions TightOptions(PLSFitMode mode = PLSFitMode::kFixedNumber,
                                  bool cross_validation = false) {
  PLSFitOptions options;
  options.mode = mode;
  options.cross_validation = cross_validation;
  options.max_iterations = 1000;
  options.convergence = 1e-13;
  return options;
}

/// Least squares by LAPACK's dgels, independent of the code under test: the P × M coefficients
/// minimising |Y - X B| for a full-rank X (N × P), both row-major.
inline DMatrix LeastSquares(const DMatrix& x, const DMatrix& y) {
  const int rows = static_cast<int>(x.rows());
  const int cols = static_cast<int>(x.cols());
  const int rhs = static_cast<int>(y.cols());
  std::vector<double> a(x.rows() * x.cols());
  std::vector<double> b(y.rows() * y.cols());
  for (std::size_t i = 0; i < x.rows(); ++i) {
    for (std::size_t j = 0; j < x.cols(); ++j) a[j * x.rows() + i] = x(i, j);
    for (std::size_t k = 0; k < y.cols(); ++k) b[k * y.rows() + i] = y(i, k);
  }
  int info = 0;
  int lwork = -1;
  double optimal = 0.0;
  dgels_("N", &rows, &cols, &rhs, a.data(), &rows, b.data(), &rows, &optimal, &lwork, &info);
  lwork = static_cast<int>(optimal);
  std::vector<double> work(static_cast<std::size_t>(lwork));
  dgels_("N", &rows, &cols, &rhs, a.data(), &rows, b.data(), &rows, work.data(), &lwork, &info);
  if (info != 0) throw std::runtime_error("dgels failed");
  DMatrix coefficients(x.cols(), y.cols());
  for (std::size_t j = 0; j < x.cols(); ++j) {
    for (std::size_t k = 0; k < y.cols(); ++k) coefficients(j, k) = b[k * y.rows() + j];
  }
  return coefficients;
}

/// Least squares with an intercept: row 0 of the result is the intercept, row j + 1 the
/// coefficient of column j.
inline DMatrix LeastSquaresWithIntercept(const DMatrix& x, const DMatrix& y) {
  DMatrix with_ones(x.rows(), x.cols() + 1, 1.0);
  for (std::size_t i = 0; i < x.rows(); ++i) {
    for (std::size_t j = 0; j < x.cols(); ++j) with_ones(i, j + 1) = x(i, j);
  }
  return LeastSquares(with_ones, y);
}

}  // namespace mspc::testing
