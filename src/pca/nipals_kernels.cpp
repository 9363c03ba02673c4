// The NIPALS passes over the masked working matrix (declared in pca_engine.hpp).
//
// Every inner loop reads contiguous runs of a row: eight doubles of the data and eight bytes of
// the mask at a time, the bytes widened to doubles in registers. A row's score is summed in two
// interleaved lanes of eight columns each (fixed order); the loading sums of a row chunk stay in
// that chunk's own buffer, four rows are added into it per sweep, and the chunks are added in
// order at the end. The number of chunks depends on the size of the matrix alone, so the results
// do not depend on the number of threads.

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "models/tolerant.hpp"
#include "models/vector_lanes.hpp"
#include "pca/pca_engine.hpp"

// Letting the compiler fuse each multiply and add into one instruction doubles the speed of
// these loops; fused or not, the order of every sum is fixed.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("fp-contract=fast")
#endif
// The wide vectors are passed between file-local helpers only.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace mspc {
namespace {

using kernels::kLanes;
using kernels::Load;
using kernels::LoadFlags;
using kernels::Store;
using kernels::SumLanes;
using kernels::Vec;

// Below this many cells a pass runs on the calling thread.
constexpr std::size_t kParallelCells = 1 << 16;
// A large matrix is summed in this many row chunks, which the threads take one at a time.
constexpr std::size_t kSumChunks = 16;
// Rows added into a chunk's loading sums per sweep over its buffer.
constexpr std::size_t kRowGroup = 4;

struct RowSums {
  double projection = 0.0;  // sum_j x_j p_j
  double loading_ss = 0.0;  // sum_j p_j^2 over the cells present
};

RowSums SumRow(const double* values,
               const std::uint8_t* present,
               const double* p,
               const double* squared_loadings,
               std::size_t cols) {
  Vec projection[2] = {};
  Vec loading_ss[2] = {};
  std::size_t col = 0;
  for (; col + 2 * kLanes <= cols; col += 2 * kLanes) {
    for (std::size_t lane = 0; lane < 2; ++lane) {
      const std::size_t at = col + lane * kLanes;
      projection[lane] += Load(values + at) * Load(p + at);
      loading_ss[lane] += LoadFlags(present + at) * Load(squared_loadings + at);
    }
  }
  if (col + kLanes <= cols) {
    projection[0] += Load(values + col) * Load(p + col);
    loading_ss[0] += LoadFlags(present + col) * Load(squared_loadings + col);
    col += kLanes;
  }
  RowSums sums{SumLanes(projection[0] + projection[1]), SumLanes(loading_ss[0] + loading_ss[1])};
  for (; col < cols; ++col) {
    sums.projection += values[col] * p[col];
    sums.loading_ss += static_cast<double>(present[col]) * squared_loadings[col];
  }
  return sums;
}

// A row left out, or with no present cell, has nothing to fit; its score is 0.
double RowScore(const RowSums& sums, double row_weight) {
  return IsTolerantZero(sums.loading_ss) ? 0.0 : row_weight * (sums.projection / sums.loading_ss);
}

// numerator_j += x_ij t_i and denominator_j += m_ij t_i^2 for `Count` consecutive rows starting
// at `values`/`present`, added row after row. Meanwhile the next `prefetch_rows` rows (at most
// Count) are fetched towards the cache, so that memory keeps streaming while this runs on rows
// already there.
template <std::size_t Count>
void AddRowShares(const double* values,
                  const std::uint8_t* present,
                  const double* scores,
                  std::size_t cols,
                  std::size_t prefetch_rows,
                  double* numerator,
                  double* denominator) {
  // The scores are copied out first: the sums are written through pointers the compiler cannot
  // tell apart from them.
  double weights[Count];
  double squares[Count];
  for (std::size_t r = 0; r < Count; ++r) {
    weights[r] = scores[r];
    squares[r] = scores[r] * scores[r];
  }
  std::size_t col = 0;
  for (; col + kLanes <= cols; col += kLanes) {
    for (std::size_t r = Count; r < Count + prefetch_rows; ++r) {
      __builtin_prefetch(values + r * cols + col);
      if (col % (8 * kLanes) == 0) __builtin_prefetch(present + r * cols + col);
    }
    Vec sum = Load(numerator + col);
    Vec count = Load(denominator + col);
    for (std::size_t r = 0; r < Count; ++r) {
      sum += Load(values + r * cols + col) * weights[r];
      count += LoadFlags(present + r * cols + col) * squares[r];
    }
    Store(numerator + col, sum);
    Store(denominator + col, count);
  }
  for (; col < cols; ++col) {
    for (std::size_t r = 0; r < Count; ++r) {
      numerator[col] += values[r * cols + col] * weights[r];
      denominator[col] += static_cast<double>(present[r * cols + col]) * squares[r];
    }
  }
}

// Run `pass(first_row, end_row, numerator, denominator)` over the fixed row chunks, each chunk
// summing from zero into its own buffers, then add the chunks in order into scratch.numerator
// and scratch.denominator.
template <class Pass>
void SumInChunks(std::size_t rows, std::size_t cols, NIPALSScratch& scratch, const Pass& pass) {
  const std::size_t chunks = rows * cols > kParallelCells ? std::min(kSumChunks, rows) : 1;
  assert(scratch.chunk_sums.size() >= 2 * chunks * cols);
  const auto signed_chunks = static_cast<long long>(chunks);
#pragma omp parallel for schedule(dynamic, 1) if (chunks > 1)
  for (long long signed_chunk = 0; signed_chunk < signed_chunks; ++signed_chunk) {
    const auto chunk = static_cast<std::size_t>(signed_chunk);
    double* numerator = scratch.chunk_sums.data() + 2 * chunk * cols;
    double* denominator = numerator + cols;
    std::fill_n(numerator, 2 * cols, 0.0);
    pass(chunk * rows / chunks, (chunk + 1) * rows / chunks, numerator, denominator);
  }
  double* numerator = scratch.numerator.data();
  double* denominator = scratch.denominator.data();
  std::copy_n(scratch.chunk_sums.data(), cols, numerator);
  std::copy_n(scratch.chunk_sums.data() + cols, cols, denominator);
  for (std::size_t chunk = 1; chunk < chunks; ++chunk) {
    const double* sums = scratch.chunk_sums.data() + 2 * chunk * cols;
    for (std::size_t col = 0; col < cols; ++col) {
      numerator[col] += sums[col];
      denominator[col] += sums[cols + col];
    }
  }
}

// The loading sums of the rows [first, end) from the scores `t`, four rows per sweep.
void AddLoadingSums(const DMatrix& x,
                    std::span<const std::uint8_t> mask,
                    const double* t,
                    std::size_t first,
                    std::size_t end,
                    double* numerator,
                    double* denominator) {
  const std::size_t cols = x.cols();
  for (std::size_t row = first; row < end;) {
    const double* values = x.data() + row * cols;
    const std::uint8_t* present = mask.data() + row * cols;
    if (row + kRowGroup <= end) {
      const std::size_t prefetch_rows = std::min(kRowGroup, x.rows() - (row + kRowGroup));
      AddRowShares<kRowGroup>(
          values, present, t + row, cols, prefetch_rows, numerator, denominator);
      row += kRowGroup;
    } else {
      AddRowShares<1>(values, present, t + row, cols, 0, numerator, denominator);
      ++row;
    }
  }
}

void SquareLoadings(std::span<const double> p, NIPALSScratch& scratch) {
  for (std::size_t col = 0; col < p.size(); ++col) scratch.squared_loadings[col] = p[col] * p[col];
}

}  // namespace

void NIPALSScratch::Resize(std::size_t rows, std::size_t cols) {
  numerator.resize(cols);
  denominator.resize(cols);
  squared_loadings.resize(cols);
  row_weight.resize(rows);
  chunk_sums.resize(2 * kSumChunks * cols);
}

namespace nipals {

void LoadingStep(const DMatrix& x,
                 std::span<const std::uint8_t> mask,
                 std::span<const double> t,
                 int held_out_column,
                 std::span<double> p,
                 NIPALSScratch& scratch) {
  // Cells that take no part hold 0 in x and in the mask, and rows left out have t_i = 0, so no
  // test is needed.
  SumInChunks(x.rows(),
              x.cols(),
              scratch,
              [&](std::size_t first, std::size_t end, double* numerator, double* denominator) {
                AddLoadingSums(x, mask, t.data(), first, end, numerator, denominator);
              });
  FinishLoadingStep(held_out_column, p, scratch);
}

void FinishLoadingStep(int held_out_column, std::span<double> p, const NIPALSScratch& scratch) {
  for (std::size_t col = 0; col < p.size(); ++col) {
    // A column with no scored cell (all missing, excluded or held out) keeps a zero loading.
    const double denominator = scratch.denominator[col];
    p[col] = IsTolerantZero(denominator) ? 0.0 : scratch.numerator[col] / denominator;
  }
  if (held_out_column >= 0) p[static_cast<std::size_t>(held_out_column)] = 0.0;
}

void ScoreAndLoadingSums(const DMatrix& x,
                         std::span<const std::uint8_t> mask,
                         std::span<const double> p,
                         std::span<const double> row_weight,
                         std::span<double> t,
                         NIPALSScratch& scratch) {
  const std::size_t cols = x.cols();
  SquareLoadings(p, scratch);
  const double* squared_loadings = scratch.squared_loadings.data();
  // A group of rows is read from memory once: first their scores, then, while the rows sit in
  // the nearest cache, their shares of the next loadings' sums.
  SumInChunks(
      x.rows(),
      cols,
      scratch,
      [&](std::size_t first, std::size_t end, double* numerator, double* denominator) {
        for (std::size_t row = first; row < end; row += kRowGroup) {
          const std::size_t count = std::min(kRowGroup, end - row);
          for (std::size_t r = row; r < row + count; ++r) {
            const RowSums sums = SumRow(
                x.data() + r * cols, mask.data() + r * cols, p.data(), squared_loadings, cols);
            t[r] = RowScore(sums, row_weight[r]);
          }
          AddLoadingSums(x, mask, t.data(), row, row + count, numerator, denominator);
        }
      });
}

void ColumnSumsOfSquares(const DMatrix& x,
                         std::span<const double> row_weight,
                         NIPALSScratch& scratch) {
  const std::size_t cols = x.cols();
  SumInChunks(x.rows(),
              cols,
              scratch,
              [&](std::size_t first, std::size_t end, double* sums, double* /*unused*/) {
                for (std::size_t row = first; row < end; ++row) {
                  const double weight = row_weight[row];
                  const double* values = x.data() + row * cols;
                  std::size_t col = 0;
                  for (; col + kLanes <= cols; col += kLanes) {
                    const Vec value = Load(values + col);
                    Store(sums + col, Load(sums + col) + weight * value * value);
                  }
                  for (; col < cols; ++col) sums[col] += weight * values[col] * values[col];
                }
              });
}

void ScoreStep(const DMatrix& x,
               std::span<const std::uint8_t> mask,
               std::span<const double> p,
               std::span<const double> row_weight,
               std::span<double> t,
               NIPALSScratch& scratch) {
  const std::size_t cols = x.cols();
  SquareLoadings(p, scratch);
  const double* squared_loadings = scratch.squared_loadings.data();
  const auto rows = static_cast<long long>(x.rows());
  // Every score is one row's own sum, whichever thread forms it.
#pragma omp parallel for schedule(static) if (x.rows() * cols > kParallelCells)
  for (long long signed_row = 0; signed_row < rows; ++signed_row) {
    const auto row = static_cast<std::size_t>(signed_row);
    const RowSums sums =
        SumRow(x.data() + row * cols, mask.data() + row * cols, p.data(), squared_loadings, cols);
    t[row] = RowScore(sums, row_weight[row]);
  }
}

}  // namespace nipals
}  // namespace mspc
