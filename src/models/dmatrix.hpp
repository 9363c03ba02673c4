#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

namespace mspc {

/// Storage for matrices whose every cell is written before it is read: making a vector of n
/// values leaves them as they are instead of zeroing them, which saves a pass over large blocks
/// (and the first touch of their pages) when a kernel fills them anyway.
template <class T>
struct DefaultInitAllocator : std::allocator<T> {
  template <class U>
  struct rebind {
    using other = DefaultInitAllocator<U>;
  };
  DefaultInitAllocator() = default;
  template <class U>
  explicit DefaultInitAllocator(const DefaultInitAllocator<U>& /*other*/) noexcept {}

  template <class U>
  void construct(U* place) noexcept {
    ::new (static_cast<void*>(place)) U;
  }
  template <class U, class... Args>
  void construct(U* place, Args&&... args) {
    ::new (static_cast<void*>(place)) U(std::forward<Args>(args)...);
  }
};

/// Dense row-major matrix of doubles: rows are observations, columns are variables.
class DMatrix {
 public:
  DMatrix() = default;
  DMatrix(std::size_t rows, std::size_t cols, double fill = 0.0)
      : rows_(rows), cols_(cols), values_(rows * cols, fill) {}
  /// A matrix whose cells hold whatever the memory held: the caller writes every one of them.
  static DMatrix Unfilled(std::size_t rows, std::size_t cols) {
    DMatrix matrix;
    matrix.rows_ = rows;
    matrix.cols_ = cols;
    matrix.values_.resize(rows * cols);
    return matrix;
  }

  std::size_t rows() const { return rows_; }
  std::size_t cols() const { return cols_; }
  bool empty() const { return values_.empty(); }

  double& operator()(std::size_t row, std::size_t col) { return values_[row * cols_ + col]; }
  double operator()(std::size_t row, std::size_t col) const { return values_[row * cols_ + col]; }

  std::span<double> Row(std::size_t row) { return {values_.data() + row * cols_, cols_}; }
  std::span<const double> Row(std::size_t row) const {
    return {values_.data() + row * cols_, cols_};
  }

  double* data() { return values_.data(); }
  const double* data() const { return values_.data(); }

 private:
  std::size_t rows_ = 0;
  std::size_t cols_ = 0;
  std::vector<double, DefaultInitAllocator<double>> values_;
};

}  // namespace mspc
