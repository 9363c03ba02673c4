#include "models/cross_product.hpp"

#include <algorithm>
#include <cassert>
#include <cstring>

// The kernels add products into accumulators; letting the compiler fuse each multiply and add
// into one instruction doubles their speed. Fused or not, the order of every sum is fixed.
#pragma GCC optimize("fp-contract=fast")
// The vector helpers below are file-local, so how a wide vector is passed between them (which
// differs with the target's vector units) concerns no other code.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace mspc::kernels {
namespace {

// Eight doubles: one 512-bit register where the target has them, split into narrower ones
// elsewhere by the compiler.
using Vec = double __attribute__((vector_size(64)));
constexpr std::size_t kLanes = 8;

Vec Load(const double* source) {
  Vec value;
  std::memcpy(&value, source, sizeof value);
  return value;
}

void Store(double* target, Vec value) { std::memcpy(target, &value, sizeof value); }

// A Gram tile is 8 rows of the result by 16 columns: 16 accumulators in registers.
constexpr std::size_t kTileRows = 8;
constexpr std::size_t kTileCols = 2 * kLanes;
// Rows per block: about 1 MiB of data, so that a block stays in the core's cache while every
// tile of the result passes over it.
constexpr std::size_t kBlockBytes = std::size_t{1} << 20;
// Below this many multiply-adds a kernel runs on the calling thread.
constexpr double kParallelWork = 4.0e6;

// The row pointers of one block of the selection.
class RowBlock {
 public:
  RowBlock(const DMatrix& x, RowSelection selection, std::size_t first, std::size_t count)
      : base_(x.data()), cols_(x.cols()), selection_(selection), first_(first), count_(count) {}
  std::size_t size() const { return count_; }
  const double* operator[](std::size_t index) const {
    const std::size_t position = first_ + index;
    const std::size_t row = selection_.rows.empty() ? position : selection_.rows[position];
    return base_ + row * cols_;
  }

 private:
  const double* base_;
  std::size_t cols_;
  RowSelection selection_;
  std::size_t first_;
  std::size_t count_;
};

// A full tile: rows a0..a0+7 and columns b0..b0 + 8·kVecs - 1 of the result, in registers.
template <std::size_t kVecs>
void GramTileFull(
    const RowBlock& block, std::size_t a0, std::size_t b0, double* gram, std::size_t k) {
  Vec sums[kTileRows][kVecs];
  for (std::size_t r = 0; r < kTileRows; ++r) {
    for (std::size_t v = 0; v < kVecs; ++v)
      sums[r][v] = Load(gram + (a0 + r) * k + b0 + v * kLanes);
  }
  for (std::size_t index = 0; index < block.size(); ++index) {
    const double* row = block[index];
    Vec values[kVecs];
    for (std::size_t v = 0; v < kVecs; ++v) values[v] = Load(row + b0 + v * kLanes);
    for (std::size_t r = 0; r < kTileRows; ++r) {
      const double scale = row[a0 + r];
      for (std::size_t v = 0; v < kVecs; ++v) sums[r][v] += scale * values[v];
    }
  }
  for (std::size_t r = 0; r < kTileRows; ++r) {
    for (std::size_t v = 0; v < kVecs; ++v)
      Store(gram + (a0 + r) * k + b0 + v * kLanes, sums[r][v]);
  }
}

// A tile at the edge of the result, cell by cell.
void GramTileEdge(const RowBlock& block,
                  std::size_t a0,
                  std::size_t a_end,
                  std::size_t b0,
                  std::size_t b_end,
                  double* gram,
                  std::size_t k) {
  for (std::size_t index = 0; index < block.size(); ++index) {
    const double* row = block[index];
    for (std::size_t a = a0; a < a_end; ++a) {
      const double scale = row[a];
      double* target = gram + a * k;
      for (std::size_t b = b0; b < b_end; ++b) target[b] += scale * row[b];
    }
  }
}

}  // namespace

void AddGram(const DMatrix& x, RowSelection selection, std::span<double> gram) {
  const std::size_t k = x.cols();
  const std::size_t rows = selection.rows.empty() ? x.rows() : selection.rows.size();
  assert(gram.size() == k * k);
  if (k == 0 || rows == 0) return;

  // A strip is 8 rows of the result; it covers the tiles that hold a cell on or above the
  // diagonal, and the lower triangle is mirrored last.
  const auto strip_count = static_cast<long long>((k + kTileRows - 1) / kTileRows);
  const std::size_t block_rows = std::max<std::size_t>(16, kBlockBytes / (k * sizeof(double)));
  const bool parallel = static_cast<double>(rows) * static_cast<double>(k * k) > 2 * kParallelWork;
  double* target = gram.data();

  // Every cell belongs to one strip, and each strip adds the blocks in order and the rows of a
  // block in order, so the sums do not depend on which thread runs which strip.
#pragma omp parallel if (parallel)
  for (std::size_t first = 0; first < rows; first += block_rows) {
    const RowBlock block(x, selection, first, std::min(block_rows, rows - first));
#pragma omp for schedule(dynamic, 1)
    for (long long strip = 0; strip < strip_count; ++strip) {
      const std::size_t a0 = static_cast<std::size_t>(strip) * kTileRows;
      const std::size_t a_end = std::min(a0 + kTileRows, k);
      for (std::size_t b0 = (a0 / kTileCols) * kTileCols; b0 < k; b0 += kTileCols) {
        const std::size_t b_end = std::min(b0 + kTileCols, k);
        if (a_end - a0 == kTileRows && b_end - b0 == kTileCols) {
          GramTileFull<2>(block, a0, b0, target, k);
        } else if (a_end - a0 == kTileRows && b_end - b0 == kLanes) {
          GramTileFull<1>(block, a0, b0, target, k);
        } else {
          GramTileEdge(block, a0, a_end, b0, b_end, target, k);
        }
      }
    }
  }
  for (std::size_t a = 1; a < k; ++a) {
    for (std::size_t b = 0; b < a; ++b) target[a * k + b] = target[b * k + a];
  }
}

void AddCrossProduct(const DMatrix& x,
                     const DMatrix& y,
                     RowSelection selection,
                     std::span<double> product) {
  const std::size_t k = x.cols();
  const std::size_t m = y.cols();
  assert(product.size() == k * m && x.rows() == y.rows());
  const std::size_t rows = selection.rows.empty() ? x.rows() : selection.rows.size();
  // One contiguous run of the result per column of y, so that the inner loop vectorises.
  for (std::size_t index = 0; index < rows; ++index) {
    const std::size_t row = selection.rows.empty() ? index : selection.rows[index];
    const double* x_row = x.data() + row * k;
    const double* y_row = y.data() + row * m;
    for (std::size_t col = 0; col < m; ++col) {
      const double scale = y_row[col];
      double* target = product.data() + col * k;
#pragma omp simd
      for (std::size_t a = 0; a < k; ++a) target[a] += scale * x_row[a];
    }
  }
}

void MultiplyRows(const DMatrix& x,
                  std::size_t first,
                  std::size_t count,
                  std::span<const double> b,
                  std::size_t width,
                  std::span<double> out) {
  const std::size_t k = x.cols();
  assert(first + count <= x.rows() && b.size() == k * width && out.size() >= count * width);
  std::size_t row = 0;
  // Eight rows by sixteen columns of the result at a time, in registers.
  for (; row + kTileRows <= count; row += kTileRows) {
    const double* rows[kTileRows];
    for (std::size_t r = 0; r < kTileRows; ++r) rows[r] = x.data() + (first + row + r) * k;
    std::size_t col = 0;
    for (; col + kTileCols <= width; col += kTileCols) {
      Vec low[kTileRows] = {};
      Vec high[kTileRows] = {};
      for (std::size_t c = 0; c < k; ++c) {
        const Vec b_low = Load(b.data() + c * width + col);
        const Vec b_high = Load(b.data() + c * width + col + kLanes);
        for (std::size_t r = 0; r < kTileRows; ++r) {
          const double scale = rows[r][c];
          low[r] += scale * b_low;
          high[r] += scale * b_high;
        }
      }
      for (std::size_t r = 0; r < kTileRows; ++r) {
        Store(out.data() + (row + r) * width + col, low[r]);
        Store(out.data() + (row + r) * width + col + kLanes, high[r]);
      }
    }
    for (; col < width; ++col) {
      for (std::size_t r = 0; r < kTileRows; ++r) {
        double sum = 0.0;
        for (std::size_t c = 0; c < k; ++c) sum += rows[r][c] * b[c * width + col];
        out[(row + r) * width + col] = sum;
      }
    }
  }
  for (; row < count; ++row) {
    const double* values = x.data() + (first + row) * k;
    double* target = out.data() + row * width;
    std::fill_n(target, width, 0.0);
    for (std::size_t c = 0; c < k; ++c) {
      const double scale = values[c];
      const double* b_row = b.data() + c * width;
#pragma omp simd
      for (std::size_t col = 0; col < width; ++col) target[col] += scale * b_row[col];
    }
  }
}

void SymmetricMatrixVector(std::span<const double> gram,
                           std::span<const double> v,
                           std::span<double> out) {
  const std::size_t n = v.size();
  assert(gram.size() == n * n && out.size() == n);
  for (std::size_t a = 0; a < n; ++a) {
    const double* row = gram.data() + a * n;
    double sum = 0.0;
#pragma omp simd reduction(+ : sum)
    for (std::size_t b = 0; b < n; ++b) sum += row[b] * v[b];
    out[a] = sum;
  }
}

double QuadraticForm(std::span<const double> gram, std::span<const double> v) {
  const std::size_t n = v.size();
  assert(gram.size() == n * n);
  double total = 0.0;
  for (std::size_t a = 0; a < n; ++a) {
    const double* row = gram.data() + a * n;
    double sum = 0.0;
#pragma omp simd reduction(+ : sum)
    for (std::size_t b = 0; b < n; ++b) sum += row[b] * v[b];
    total += v[a] * sum;
  }
  return total;
}

}  // namespace mspc::kernels
