// The engine's side of the PCA peer comparison (bench/peers/run.sh drives it).
//
//   mspc_pca_peer generate ROWS COLS MISSING_PERCENT FILE
//       Write generated low-rank data, little-endian float64 row after row, not-a-number in
//       the missing cells (drawn at random, MISSING_PERCENT of them).
//   mspc_pca_peer fit FILE ROWS COLS REPEATS
//       Fit 5 components to a criterion of 1e-10 (best wall time of the repeats, loading the
//       data into the engine included), and measure in the same run the memory-streaming floor:
//       the time to read a matrix of the data's size twice with all threads.
//       Prints "key value" lines.
//   mspc_pca_peer cv FILE ROWS COLS
//       Fit the first component judged by 7-fold cross-validation (rows by fold and every column
//       held out in turn) and print the peak resident memory of the process against the size of
//       the data matrix. The program reads the data into one matrix and hands it to the engine.
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "models/component_mode.hpp"
#include "models/dmatrix.hpp"
#include "pca/pca_engine.hpp"

namespace {

constexpr int kComponents = 5;
constexpr std::size_t kRank = 8;
constexpr std::uint64_t kSeed = 20261121;

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

int Generate(std::size_t rows, std::size_t cols, double missing_percent, const char* path) {
  std::mt19937_64 generator(kSeed);
  std::normal_distribution<double> normal(0.0, 1.0);
  std::uniform_real_distribution<double> uniform(0.0, 100.0);
  std::vector<double> loadings(kRank * cols);
  for (double& value : loadings) value = normal(generator);
  std::vector<double> row_values(cols);
  std::vector<double> scores(kRank);
  std::ofstream file(path, std::ios::binary);
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t rank = 0; rank < kRank; ++rank) {
      scores[rank] = normal(generator) * static_cast<double>(kRank - rank);
    }
    for (std::size_t col = 0; col < cols; ++col) {
      double value = 0.5 * normal(generator);
      for (std::size_t rank = 0; rank < kRank; ++rank) {
        value += scores[rank] * loadings[rank * cols + col];
      }
      row_values[col] =
          uniform(generator) < missing_percent ? std::numeric_limits<double>::quiet_NaN() : value;
    }
    file.write(reinterpret_cast<const char*>(row_values.data()),
               static_cast<std::streamsize>(cols * sizeof(double)));
  }
  return file ? 0 : 1;
}

bool Read(const char* path, mspc::DMatrix& data) {
  std::ifstream file(path, std::ios::binary);
  const auto bytes = static_cast<std::streamsize>(data.rows() * data.cols() * sizeof(double));
  return static_cast<bool>(file.read(reinterpret_cast<char*>(data.data()), bytes));
}

// Read a matrix of the data's size twice with every thread, as one NIPALS iteration of two
// passes would. The copy has 0 in the missing cells, as the engine's working matrix has.
double StreamingFloor(const mspc::DMatrix& data) {
  const auto cells = static_cast<long long>(data.rows() * data.cols());
  std::vector<double> copy(data.data(), data.data() + cells);
  for (double& value : copy) value = std::isnan(value) ? 0.0 : value;
  const double* values = copy.data();
  double best = std::numeric_limits<double>::infinity();
  double sink = 0.0;
  for (int repeat = 0; repeat < 7; ++repeat) {
    const Clock::time_point start = Clock::now();
    for (int pass = 0; pass < 2; ++pass) {
      double sum = 0.0;
#pragma omp parallel for simd reduction(+ : sum) schedule(static)
      for (long long cell = 0; cell < cells; ++cell) sum += values[cell];
      sink += sum;
    }
    best = std::min(best, SecondsSince(start));
  }
  std::printf("floor_checksum %g\n", sink);
  return best;
}

mspc::PCAFitOptions FixedFive() {
  mspc::PCAFitOptions options;
  options.component_mode = mspc::ComponentMode::FixedNumberOfComponents;
  options.max_components = kComponents;
  options.max_iterations = 100000;
  options.convergence = 1e-10;
  options.cross_validation_method = 0;
  return options;
}

int Fit(const mspc::DMatrix& data, int repeats) {
  double best = std::numeric_limits<double>::infinity();
  std::vector<int> iterations;
  bool complete = false;
  for (int repeat = 0; repeat < repeats; ++repeat) {
    const Clock::time_point start = Clock::now();
    mspc::PCAEngine engine(FixedFive());
    engine.LoadScaled(data);
    engine.AutoFit();
    best = std::min(best, SecondsSince(start));
    complete = engine.UsesCrossProducts();
    iterations.clear();
    for (const mspc::CPCANode& node : engine.Nodes()) iterations.push_back(node.iterations);
  }
  int total = 0;
  std::printf("iterations");
  for (int count : iterations) {
    std::printf(" %d", count);
    total += count;
  }
  std::printf("\n");
  std::printf("path %s\n", complete ? "cross-products" : "streamed");
  std::printf("total_iterations %d\n", total);
  std::printf("fit_seconds %.6f\n", best);
  std::printf("iteration_seconds %.9f\n", best / std::max(total, 1));
  std::printf("floor_seconds %.9f\n", StreamingFloor(data));
  return static_cast<int>(iterations.size()) == kComponents ? 0 : 1;
}

int CrossValidate(mspc::DMatrix data) {
  const double data_bytes = static_cast<double>(data.rows() * data.cols() * sizeof(double));
  mspc::PCAFitOptions options;
  options.component_mode = mspc::ComponentMode::AutoFitByCrossValidation;
  options.cross_validation_method = 1;  // V-fold rows, held-out columns
  options.folds = 7;
  options.max_iterations = 100000;
  options.convergence = 1e-10;
  const Clock::time_point start = Clock::now();
  mspc::PCAEngine engine(options);
  engine.LoadScaled(std::move(data));  // the engine keeps the one copy of the data
  engine.FitNextComponent(mspc::ComponentMode::AutoFitByCrossValidation);
  const double seconds = SecondsSince(start);
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const double peak_bytes = static_cast<double>(usage.ru_maxrss) * 1024.0;
  std::printf("cv_components %d\n", engine.ComponentCount());
  std::printf("cv_seconds %.6f\n", seconds);
  std::printf("peak_memory_ratio %.3f\n", peak_bytes / data_bytes);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "generate" && argc == 6) {
    return Generate(std::stoul(argv[2]), std::stoul(argv[3]), std::stod(argv[4]), argv[5]);
  }
  if ((mode == "fit" && argc == 6) || (mode == "cv" && argc == 5)) {
    mspc::DMatrix data(std::stoul(argv[3]), std::stoul(argv[4]));
    if (!Read(argv[2], data)) {
      std::fprintf(stderr, "cannot read %s\n", argv[2]);
      return 1;
    }
    return mode == "fit" ? Fit(data, std::stoi(argv[5])) : CrossValidate(std::move(data));
  }
  std::fprintf(stderr,
               "usage: %s generate ROWS COLS MISSING_PERCENT FILE | fit FILE ROWS COLS REPEATS | "
               "cv FILE ROWS COLS\n",
               argv[0]);
  return 2;
}
