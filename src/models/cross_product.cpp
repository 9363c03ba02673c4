#include "models/cross_product.hpp"

#include <algorithm>
#include <cassert>
#include <vector>

#include "models/vector_lanes.hpp"

// The kernels add products into accumulators; letting the compiler fuse each multiply and add
// into one instruction doubles their speed. Fused or not, the order of every sum is fixed.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("fp-contract=fast")
#endif
// The vector helpers below are file-local, so how a wide vector is passed between them (which
// differs with the target's vector units) concerns no other code.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace mspc::kernels {
namespace {

// A Gram tile is 8 rows of the result by 16 columns: 16 accumulators in registers.
constexpr std::size_t kTileRows = 8;
constexpr std::size_t kTileCols = 2 * kLanes;
// Below this many multiply-adds a kernel runs on the calling thread.
constexpr double kParallelWork = 4.0e6;

// The row pointers of one block of the selection, in one matrix or in two side by side.
class RowBlock {
 public:
  RowBlock(const DMatrix& x,
           const DMatrix* y,
           RowSelection selection,
           std::size_t first,
           std::size_t count)
      : x_(x), y_(y), selection_(selection), first_(first), count_(count) {}
  std::size_t size() const { return count_; }
  std::size_t x_cols() const { return x_.cols(); }
  const double* XRow(std::size_t index) const { return x_.data() + Row(index) * x_.cols(); }
  const double* YRow(std::size_t index) const { return y_->data() + Row(index) * y_->cols(); }

 private:
  std::size_t Row(std::size_t index) const {
    const std::size_t position = first_ + index;
    return selection_.rows.empty() ? position : selection_.rows[position];
  }
  const DMatrix& x_;
  const DMatrix* y_;
  RowSelection selection_;
  std::size_t first_;
  std::size_t count_;
};

// The rows of a block are packed in panels of 16 columns (zero past the last column): panel q
// holds, row after row, the 16 values of columns 16q..16q+15. A tile then reads two panels
// front to back instead of three short runs of every row.
constexpr std::size_t kPanel = kTileCols;
constexpr std::size_t kPackRows = 128;
// Row segments of a large cross-product, summed apart and then added in order.
constexpr std::size_t kSegments = 4;

void PackBlock(const RowBlock& block, std::size_t k, std::size_t panel, double* packed) {
  const std::size_t first_col = panel * kPanel;
  const std::size_t end_col = std::min(first_col + kPanel, k);
  // Columns up to x_cols come from x, the others from y.
  const std::size_t x_end = std::min(end_col, std::max(first_col, block.x_cols()));
  double* target = packed + panel * kPackRows * kPanel;
  for (std::size_t index = 0; index < block.size(); ++index) {
    double* out = target + index * kPanel;
    out = std::copy(block.XRow(index) + first_col, block.XRow(index) + x_end, out);
    if (x_end < end_col) {
      const double* y_row = block.YRow(index) - block.x_cols();
      out = std::copy(y_row + x_end, y_row + end_col, out);
    }
    std::fill(out, target + (index + 1) * kPanel, 0.0);
  }
}

// Tile rows a0..a0+7 by columns of panel b: the block's products summed from zero in row
// order, then added to the result (only the cells inside it).
void GramTile(const double* packed,
              std::size_t count,
              std::size_t a0,
              std::size_t b_panel,
              double* gram,
              std::size_t k) {
  const double* a_values = packed + (a0 / kPanel) * kPackRows * kPanel + a0 % kPanel;
  const double* b_values = packed + b_panel * kPackRows * kPanel;
  Vec low[kTileRows] = {};
  Vec high[kTileRows] = {};
  for (std::size_t index = 0; index < count; ++index) {
    const Vec b_low = Load(b_values + index * kPanel);
    const Vec b_high = Load(b_values + index * kPanel + kLanes);
    const double* scales = a_values + index * kPanel;
    for (std::size_t r = 0; r < kTileRows; ++r) {
      low[r] += scales[r] * b_low;
      high[r] += scales[r] * b_high;
    }
  }
  const std::size_t b0 = b_panel * kPanel;
  const std::size_t rows = std::min(kTileRows, k - a0);
  const std::size_t cols = std::min(kTileCols, k - b0);
  for (std::size_t r = 0; r < rows; ++r) {
    double sums[kTileCols];
    Store(sums, low[r]);
    Store(sums + kLanes, high[r]);
    double* target = gram + (a0 + r) * k + b0;
    for (std::size_t c = 0; c < cols; ++c) target[c] += sums[c];
  }
}

// gram += [X Y]_Sᵀ [X Y]_S, with Y left out when `y` is null.
void AddGramOf(const DMatrix& x, const DMatrix* y, RowSelection selection, std::span<double> gram) {
  const std::size_t k = x.cols() + (y == nullptr ? 0 : y->cols());
  const std::size_t rows = selection.rows.empty() ? x.rows() : selection.rows.size();
  assert(gram.size() == k * k);
  if (k == 0 || rows == 0) return;

  // The rows are cut into a number of segments that depends on the size of the work alone; each
  // segment sums its blocks in order into its own partial matrix, and the partial matrices are
  // added in order. The threads share out whole segments, so they never wait on one another
  // within a segment, and the sums do not depend on the number of threads.
  const std::size_t blocks = (rows + kPackRows - 1) / kPackRows;
  const bool parallel = static_cast<double>(rows) * static_cast<double>(k * k) > 2 * kParallelWork;
  const std::size_t segments = parallel ? std::min(kSegments, blocks) : 1;
  const std::size_t panels = (k + kPanel - 1) / kPanel;
  const std::size_t strips = (k + kTileRows - 1) / kTileRows;

  // Sum the blocks of one segment into `target` (k × k, upper triangle).
  const auto sum_segment = [&](std::size_t segment, double* target) {
    thread_local std::vector<double> packed;
    packed.resize(panels * kPackRows * kPanel);
    const std::size_t first_block = segment * blocks / segments;
    const std::size_t end_block = (segment + 1) * blocks / segments;
    for (std::size_t block_index = first_block; block_index < end_block; ++block_index) {
      const std::size_t first = block_index * kPackRows;
      const RowBlock block(x, y, selection, first, std::min(kPackRows, rows - first));
      for (std::size_t panel = 0; panel < panels; ++panel)
        PackBlock(block, k, panel, packed.data());
      for (std::size_t strip = 0; strip < strips; ++strip) {
        const std::size_t a0 = strip * kTileRows;
        for (std::size_t b_panel = a0 / kPanel; b_panel < panels; ++b_panel) {
          GramTile(packed.data(), block.size(), a0, b_panel, target, k);
        }
      }
    }
  };

  double* result = gram.data();
  if (segments == 1) {
    sum_segment(0, result);
  } else {
    std::vector<double> partial(segments * k * k, 0.0);
    const auto signed_segments = static_cast<long long>(segments);
#pragma omp parallel for schedule(dynamic, 1)
    for (long long segment = 0; segment < signed_segments; ++segment) {
      const auto index = static_cast<std::size_t>(segment);
      sum_segment(index, partial.data() + index * k * k);
    }
    for (std::size_t segment = 0; segment < segments; ++segment) {
      const double* part = partial.data() + segment * k * k;
      for (std::size_t a = 0; a < k; ++a) {
        for (std::size_t b = a; b < k; ++b) result[a * k + b] += part[a * k + b];
      }
    }
  }
  for (std::size_t a = 1; a < k; ++a) {
    for (std::size_t b = 0; b < a; ++b) result[a * k + b] = result[b * k + a];
  }
}

}  // namespace

void AddGram(const DMatrix& x, RowSelection selection, std::span<double> gram) {
  AddGramOf(x, nullptr, selection, gram);
}

void AddJointGram(const DMatrix& x,
                  const DMatrix& y,
                  RowSelection selection,
                  std::span<double> gram) {
  assert(x.rows() == y.rows());
  AddGramOf(x, &y, selection, gram);
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
