// A TMPCA run (unfold a batch table, screen, scale, fit) against a plain PCA of the same
// unfolded matrix, both with a fixed number of components: the batch model's own work should
// stay a fraction of the fit. Arguments: batches, times, variables.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "batch/mpca_model.hpp"
#include "frame/analysis_support.hpp"
#include "host/data_table.hpp"
#include "host/host_services.hpp"
#include "models/dmatrix.hpp"
#include "pca/pca_engine.hpp"

namespace {

constexpr int kComponents = 3;
constexpr std::uint32_t kSeed = 20261121;

// Batch trajectories of low rank plus noise: batches × (time, variable), time-major.
mspc::DMatrix GenerateUnfolded(std::size_t batches, std::size_t times, std::size_t variables) {
  std::mt19937_64 generator(kSeed);
  std::normal_distribution<double> normal(0.0, 1.0);
  constexpr std::size_t kRank = 6;
  const std::size_t cols = times * variables;
  std::vector<double> loadings(kRank * cols);
  for (double& value : loadings) value = normal(generator);
  mspc::DMatrix data(batches, cols);
  std::vector<double> scores(kRank);
  for (std::size_t row = 0; row < batches; ++row) {
    for (std::size_t rank = 0; rank < kRank; ++rank) {
      scores[rank] = normal(generator) * static_cast<double>(kRank - rank);
    }
    for (std::size_t col = 0; col < cols; ++col) {
      double value = 0.5 * normal(generator);
      for (std::size_t rank = 0; rank < kRank; ++rank) {
        value += scores[rank] * loadings[rank * cols + col];
      }
      data(row, col) = value;
    }
  }
  return data;
}

// The unfolded matrix written out as a long table: one case per batch and time, batch-major,
// with a batch code, a time code and the variables.
class LongTable : public mspc::DataTable {
 public:
  LongTable(const mspc::DMatrix& unfolded, std::size_t times, std::size_t variables)
      : unfolded_(unfolded), times_(times), variables_(variables) {}

  std::string SourceName() const override { return "generated batches"; }
  std::size_t NumVariables() const override { return variables_ + 2; }
  std::size_t NumCases() const override { return unfolded_.rows() * times_; }
  std::string VariableName(std::size_t variable) const override {
    if (variable == 0) return "batch";
    if (variable == 1) return "time";
    return "x" + std::to_string(variable - 1);
  }
  std::optional<std::size_t> FindVariable(const std::string& name) const override {
    for (std::size_t variable = 0; variable < NumVariables(); ++variable) {
      if (VariableName(variable) == name) return variable;
    }
    return std::nullopt;
  }
  bool IsCategorical(std::size_t /*variable*/) const override { return false; }
  std::vector<mspc::CodeLabel> Categories(std::size_t /*variable*/) const override { return {}; }
  std::string CodeText(std::size_t /*variable*/, double /*code*/) const override { return {}; }
  std::optional<double> MissingDataCode(std::size_t /*variable*/) const override {
    return std::nullopt;
  }
  double Value(std::size_t case_index, std::size_t variable) const override {
    const std::size_t batch = case_index / times_;
    const std::size_t time = case_index % times_;
    if (variable == 0) return static_cast<double>(batch + 1);
    if (variable == 1) return static_cast<double>(time + 1);
    return unfolded_(batch, time * variables_ + (variable - 2));
  }
  std::string CaseName(std::size_t /*case_index*/) const override { return {}; }
  bool IsCaseSelected(std::size_t /*case_index*/) const override { return true; }
  double CaseWeight(std::size_t /*case_index*/) const override { return 1.0; }
  bool HasCaseWeights() const override { return false; }

 private:
  const mspc::DMatrix& unfolded_;
  std::size_t times_;
  std::size_t variables_;
};

struct Shape {
  std::size_t batches;
  std::size_t times;
  std::size_t variables;
};

Shape ShapeOf(const benchmark::State& state) {
  return {static_cast<std::size_t>(state.range(0)),
          static_cast<std::size_t>(state.range(1)),
          static_cast<std::size_t>(state.range(2))};
}

void BM_TMPCAFit(benchmark::State& state) {
  const Shape shape = ShapeOf(state);
  const mspc::DMatrix unfolded = GenerateUnfolded(shape.batches, shape.times, shape.variables);
  LongTable table(unfolded, shape.times, shape.variables);
  mspc::StartupOptions options;
  options.batch_variable = "batch";
  options.time_variable = "time";
  for (std::size_t variable = 1; variable <= shape.variables; ++variable) {
    options.variables.push_back("x" + std::to_string(variable));
  }
  options.component_mode = mspc::ComponentMode::FixedNumberOfComponents;
  options.num_components = kComponents;
  options.cross_validation = mspc::CrossValidationMethod::CrossValidationOff;
  options.apply_memory_limit = false;
  for (auto _ : state) {
    mspc::HostServices services;
    services.table = &table;
    services.automation = true;
    mspc::CAnalysisSupport analysis;
    analysis.InitCommons(services);
    mspc::CMPCAModel model(&analysis);
    model.ApplyOptions(options);
    model.Run(options);
    benchmark::DoNotOptimize(model.engine().ComponentCount());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(unfolded.rows()) *
                          static_cast<std::int64_t>(unfolded.cols()));
}

void BM_PCAOfUnfoldedMatrix(benchmark::State& state) {
  const Shape shape = ShapeOf(state);
  const mspc::DMatrix unfolded = GenerateUnfolded(shape.batches, shape.times, shape.variables);
  mspc::PCAFitOptions options;
  options.component_mode = mspc::ComponentMode::FixedNumberOfComponents;
  options.max_components = kComponents;
  options.cross_validation_method = 0;
  // The same centring and scaling as the batch model's, computed outside the timing.
  std::vector<double> mean(unfolded.cols(), 0.0);
  std::vector<double> scale(unfolded.cols(), 0.0);
  const double rows = static_cast<double>(unfolded.rows());
  for (std::size_t row = 0; row < unfolded.rows(); ++row) {
    for (std::size_t col = 0; col < unfolded.cols(); ++col) mean[col] += unfolded(row, col) / rows;
  }
  for (std::size_t row = 0; row < unfolded.rows(); ++row) {
    for (std::size_t col = 0; col < unfolded.cols(); ++col) {
      const double deviation = unfolded(row, col) - mean[col];
      scale[col] += deviation * deviation / (rows - 1.0);
    }
  }
  for (double& value : scale) value = std::sqrt(value);
  for (auto _ : state) {
    mspc::PCAEngine engine(options);
    engine.CenterAndScale(unfolded, mean, scale);
    benchmark::DoNotOptimize(engine.AutoFit());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(unfolded.rows()) *
                          static_cast<std::int64_t>(unfolded.cols()));
}

BENCHMARK(BM_TMPCAFit)->Args({100, 50, 20})->Args({1000, 200, 50})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PCAOfUnfoldedMatrix)
    ->Args({100, 50, 20})
    ->Args({1000, 200, 50})
    ->Unit(benchmark::kMillisecond);

}  // namespace
