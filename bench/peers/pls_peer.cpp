// Times the PLS engine on a table written by pls_vs_sklearn.py: little-endian float64, rows x
// (predictors + dependents), row after row. Fits a fixed number of components with every
// column centred and scaled to unit standard deviation, no cross-validation, and prints the
// best wall time of the repeats in seconds.
//
// Usage: mspc_pls_peer FILE ROWS PREDICTORS DEPENDENTS COMPONENTS REPEATS
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "models/dmatrix.hpp"
#include "pls/pls_engine.hpp"

namespace {

// Column means and standard deviations in two passes (sums, then squared deviations from the
// means), each over fixed chunks of rows that the threads share out; the chunks' sums are added
// in order, so the figures do not depend on the number of threads.
mspc::BlockScaling ScalingOf(const mspc::DMatrix& block) {
  constexpr std::size_t kChunkRows = 512;
  const std::size_t cols = block.cols();
  const std::size_t chunks = (block.rows() + kChunkRows - 1) / kChunkRows;
  std::vector<double> partial(chunks * cols);
  const auto column_sums = [&](const std::vector<double>& centre, bool squared) {
#pragma omp parallel for schedule(static)
    for (std::size_t chunk = 0; chunk < chunks; ++chunk) {
      double* sums = partial.data() + chunk * cols;
      std::fill_n(sums, cols, 0.0);
      for (std::size_t row = chunk * kChunkRows;
           row < std::min(block.rows(), (chunk + 1) * kChunkRows);
           ++row) {
        const std::span<const double> values = block.Row(row);
        for (std::size_t col = 0; col < cols; ++col) {
          const double value = values[col] - centre[col];
          sums[col] += squared ? value * value : value;
        }
      }
    }
    std::vector<double> total(cols, 0.0);
    for (std::size_t chunk = 0; chunk < chunks; ++chunk) {
      for (std::size_t col = 0; col < cols; ++col) total[col] += partial[chunk * cols + col];
    }
    return total;
  };
  const double rows = static_cast<double>(block.rows());
  mspc::BlockScaling scaling{column_sums(std::vector<double>(cols, 0.0), false), {}};
  for (double& mean : scaling.mean) mean /= rows;
  scaling.scale = column_sums(scaling.mean, true);
  for (double& scale : scaling.scale) scale = std::sqrt(scale / (rows - 1.0));
  return scaling;
}

}  // namespace

int main(int argc, char** argv) {
  constexpr int kArguments = 7;
  if (argc != kArguments) {
    std::fprintf(stderr, "usage: %s FILE ROWS PREDICTORS DEPENDENTS COMPONENTS REPEATS\n", argv[0]);
    return 2;
  }
  const std::size_t rows = std::stoul(argv[2]);
  const std::size_t predictors = std::stoul(argv[3]);
  const std::size_t dependents = std::stoul(argv[4]);
  const int components = std::stoi(argv[5]);
  const int repeats = std::stoi(argv[6]);
  const std::size_t width = predictors + dependents;
  std::vector<double> cells(rows * width);
  std::ifstream file(argv[1], std::ios::binary);
  const auto bytes = static_cast<std::streamsize>(cells.size() * sizeof(double));
  if (!file.read(reinterpret_cast<char*>(cells.data()), bytes)) {
    std::fprintf(stderr, "cannot read %zu cells from %s\n", cells.size(), argv[1]);
    return 1;
  }
  mspc::DMatrix x(rows, predictors);
  mspc::DMatrix y(rows, dependents);
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t col = 0; col < predictors; ++col) x(row, col) = cells[row * width + col];
    for (std::size_t col = 0; col < dependents; ++col) {
      y(row, col) = cells[row * width + predictors + col];
    }
  }

  mspc::PLSFitOptions options;
  options.mode = mspc::PLSFitMode::kFixedNumber;
  options.num_components = components;
  options.cross_validation = false;
  double best = 0.0;
  int fitted = 0;
  for (int repeat = 0; repeat < repeats; ++repeat) {
    const auto start = std::chrono::steady_clock::now();
    mspc::PLSEngine engine(options);
    engine.CenterAndScale(x, y, ScalingOf(x), ScalingOf(y));
    fitted = engine.AutoFit();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    best = repeat == 0 ? elapsed.count() : std::min(best, elapsed.count());
  }
  std::printf("%d %.6f\n", fitted, best);
  return fitted == components ? 0 : 1;
}
