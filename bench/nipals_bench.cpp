// NIPALS PCA fits on generated data: rows x columns, complete and with 5 % of cells missing.
// Reports cells per second of one fitted component (fixed number of components, so the work
// per run is the same whatever the data).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "models/dmatrix.hpp"
#include "models/missing.hpp"
#include "pca/pca_engine.hpp"

namespace {

constexpr int kComponents = 5;
constexpr std::uint32_t kSeed = 20261121;

// Low-rank data plus noise, already centred and scaled closely enough for NIPALS to converge in
// a realistic number of iterations.
mspc::DMatrix GenerateData(std::size_t rows, std::size_t cols, double missing_fraction) {
  std::mt19937_64 generator(kSeed);
  std::normal_distribution<double> normal(0.0, 1.0);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  constexpr std::size_t kRank = 8;
  std::vector<double> loadings(kRank * cols);
  for (double& value : loadings) value = normal(generator);
  mspc::DMatrix data(rows, cols);
  std::vector<double> scores(kRank);
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t rank = 0; rank < kRank; ++rank) {
      scores[rank] = normal(generator) * static_cast<double>(kRank - rank);
    }
    for (std::size_t col = 0; col < cols; ++col) {
      double value = 0.5 * normal(generator);
      for (std::size_t rank = 0; rank < kRank; ++rank) {
        value += scores[rank] * loadings[rank * cols + col];
      }
      data(row, col) = uniform(generator) < missing_fraction ? mspc::kMissingValue : value;
    }
  }
  return data;
}

void BM_NIPALSFit(benchmark::State& state) {
  const auto rows = static_cast<std::size_t>(state.range(0));
  const auto cols = static_cast<std::size_t>(state.range(1));
  const double missing_fraction = static_cast<double>(state.range(2)) / 100.0;
  const mspc::DMatrix data = GenerateData(rows, cols, missing_fraction);
  mspc::PCAFitOptions options;
  options.component_mode = mspc::ComponentMode::FixedNumberOfComponents;
  options.max_components = kComponents;
  options.max_iterations = 1000;
  options.convergence = 1e-10;
  for (auto _ : state) {
    mspc::PCAEngine engine(options);
    engine.LoadScaled(data, {}, {});
    benchmark::DoNotOptimize(engine.AutoFit());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(rows * cols) *
                          kComponents);
  state.counters["missing_pct"] = static_cast<double>(state.range(2));
}
BENCHMARK(BM_NIPALSFit)
    ->Args({2000, 50, 0})
    ->Args({2000, 50, 5})
    ->Args({20000, 200, 0})
    ->Args({20000, 200, 5})
    ->Unit(benchmark::kMillisecond);

}  // namespace
