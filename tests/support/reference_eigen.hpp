#pragma once

#include <cstddef>
#include <vector>

namespace mspc::testing {

/// Eigen-decomposition of a symmetric matrix by LAPACK's dsyev, an implementation independent
/// of the code under test.
struct SymmetricEigen {
  std::vector<double> values;                // descending
  std::vector<std::vector<double>> vectors;  // vectors[a] belongs to values[a], unit length
};

/// Decompose the symmetric n × n matrix `matrix` (row-major).
SymmetricEigen DecomposeSymmetric(const std::vector<double>& matrix, std::size_t n);

}  // namespace mspc::testing
