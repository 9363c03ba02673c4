#pragma once

#include <cstddef>
#include <span>

#include "models/dmatrix.hpp"

namespace mspc {

/// Dense kernels behind the complete-data NIPALS paths: cross-products of the data with itself
/// and with another block, and products of row blocks with a small matrix. They are cache
/// blocked and written for the compiler's vector units, and they split the work over threads by
/// output tile or row block so that every sum runs in the same order whatever the number of
/// threads: the results are bit-identical with one thread or many. Called from inside a
/// parallel region they run on the calling thread.
namespace kernels {

/// The rows a kernel reads: all rows of the matrix when `rows` is empty, else the listed ones.
struct RowSelection {
  std::span<const std::size_t> rows;
};

/// gram += X_Sᵀ X_S over the selected rows S of `x` (cols × cols, row-major, both triangles
/// written). Each entry adds its rows in order.
void AddGram(const DMatrix& x, RowSelection selection, std::span<double> gram);

/// gram += [X Y]_Sᵀ [X Y]_S over the selected rows S of the two blocks side by side
/// ((x.cols() + y.cols()) squared, row-major, both triangles written): XᵀX, XᵀY and YᵀY in one
/// pass over the data. Each entry adds its rows in order.
void AddJointGram(const DMatrix& x,
                  const DMatrix& y,
                  RowSelection selection,
                  std::span<double> gram);

/// out = X[first, first + count) · B for a block of rows: `b` is x.cols() × width row-major and
/// `out` count × width row-major. The sum over the columns of x runs in column order.
void MultiplyRows(const DMatrix& x,
                  std::size_t first,
                  std::size_t count,
                  std::span<const double> b,
                  std::size_t width,
                  std::span<double> out);

/// y = G v for a square row-major matrix G (size n × n); every entry sums in column order.
void SymmetricMatrixVector(std::span<const double> gram,
                           std::span<const double> v,
                           std::span<double> out);

/// vᵀ G v, summed row by row in order.
double QuadraticForm(std::span<const double> gram, std::span<const double> v);

}  // namespace kernels
}  // namespace mspc
