#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace mspc {

/// Dense row-major matrix of doubles: rows are observations, columns are variables.
class DMatrix {
 public:
  DMatrix() = default;
  DMatrix(std::size_t rows, std::size_t cols, double fill = 0.0)
      : rows_(rows), cols_(cols), values_(rows * cols, fill) {}

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
  std::vector<double> values_;
};

}  // namespace mspc
