#pragma once

// Data makers and fakes shared by the PCA tests.

#include <cmath>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "host/progress.hpp"
#include "host/random_source.hpp"
#include "models/dmatrix.hpp"
#include "models/missing.hpp"
#include "pca/pca_engine.hpp"

namespace mspc::testing {

/// X = T P' + noise: `component_sd.size()` latent components with the given score deviations,
/// loadings drawn at random and made orthonormal, and Gaussian noise of deviation `noise`.
inline DMatrix ManufacturedData(std::size_t rows,
                                std::size_t cols,
                                const std::vector<double>& component_sd,
                                double noise,
                                std::uint64_t seed) {
  std::mt19937_64 engine(seed);
  std::normal_distribution<double> normal(0.0, 1.0);
  const std::size_t rank = component_sd.size();
  // Gram-Schmidt on random vectors gives orthonormal loadings.
  std::vector<std::vector<double>> loadings(rank, std::vector<double>(cols));
  for (std::size_t a = 0; a < rank; ++a) {
    for (double& value : loadings[a]) value = normal(engine);
    for (std::size_t b = 0; b < a; ++b) {
      double dot = 0.0;
      for (std::size_t j = 0; j < cols; ++j) dot += loadings[a][j] * loadings[b][j];
      for (std::size_t j = 0; j < cols; ++j) loadings[a][j] -= dot * loadings[b][j];
    }
    double norm = 0.0;
    for (double value : loadings[a]) norm += value * value;
    for (double& value : loadings[a]) value /= std::sqrt(norm);
  }
  DMatrix x(rows, cols);
  for (std::size_t i = 0; i < rows; ++i) {
    std::vector<double> scores(rank);
    for (std::size_t a = 0; a < rank; ++a) scores[a] = component_sd[a] * normal(engine);
    for (std::size_t j = 0; j < cols; ++j) {
      double value = noise * normal(engine);
      for (std::size_t a = 0; a < rank; ++a) value += scores[a] * loadings[a][j];
      x(i, j) = value;
    }
  }
  return x;
}

/// Column means and standard deviations over the present cells, by the two-pass formula.
struct ColumnStatistics {
  std::vector<double> mean;
  std::vector<double> sd;
};

inline ColumnStatistics ComputeColumnStatistics(const DMatrix& x) {
  ColumnStatistics stats{std::vector<double>(x.cols(), 0.0), std::vector<double>(x.cols(), 0.0)};
  for (std::size_t j = 0; j < x.cols(); ++j) {
    double sum = 0.0;
    int count = 0;
    for (std::size_t i = 0; i < x.rows(); ++i) {
      if (IsMissing(x(i, j))) continue;
      sum += x(i, j);
      ++count;
    }
    stats.mean[j] = count > 0 ? sum / count : 0.0;
    double squares = 0.0;
    for (std::size_t i = 0; i < x.rows(); ++i) {
      if (IsMissing(x(i, j))) continue;
      squares += (x(i, j) - stats.mean[j]) * (x(i, j) - stats.mean[j]);
    }
    stats.sd[j] = count > 1 ? std::sqrt(squares / (count - 1)) : 0.0;
  }
  return stats;
}

/// An engine holding `raw` centred and scaled to unit standard deviations.
inline PCAEngine StandardisedEngine(const DMatrix& raw,
                                    const PCAFitOptions& options,
                                    std::vector<bool> excluded_rows = {},
                                    std::vector<bool> excluded_variables = {}) {
  PCAEngine engine(options);
  const ColumnStatistics stats = ComputeColumnStatistics(raw);
  engine.CenterAndScale(
      raw, stats.mean, stats.sd, std::move(excluded_rows), std::move(excluded_variables));
  return engine;
}

/// Progress that records what it is shown and cancels once it has been polled `cancel_after`
/// times (never when negative), or from the first poll after a caption that starts with
/// `cancel_after_caption` (never when empty).
class RecordingProgress : public ProgressMonitor {
 public:
  explicit RecordingProgress(int cancel_after = -1, std::string cancel_after_caption = {})
      : cancel_after_(cancel_after), cancel_after_caption_(std::move(cancel_after_caption)) {}
  void Start(const std::string& caption, int steps) override {
    starts.push_back(caption);
    last_steps = steps;
    running = true;
  }
  void SetCaption(const std::string& caption) override {
    captions.push_back(caption);
    if (!cancel_after_caption_.empty() && caption.starts_with(cancel_after_caption_)) armed_ = true;
  }
  void SetPosition(int) override {}
  void Stop() override { running = false; }
  bool CancelRequested() override {
    ++polls;
    return armed_ || (cancel_after_ >= 0 && polls > cancel_after_);
  }

  std::vector<std::string> starts;
  std::vector<std::string> captions;
  int last_steps = 0;
  int polls = 0;
  bool running = false;

 private:
  int cancel_after_;
  std::string cancel_after_caption_;
  bool armed_ = false;
};

/// A seeded uniform generator whose state is saved as text.
class SeededRandom : public RandomSource {
 public:
  void Seed(std::uint64_t seed) override { engine_.seed(seed); }
  double Uniform() override { return std::uniform_real_distribution<double>(0.0, 1.0)(engine_); }
  std::string SaveState() const override {
    std::ostringstream out;
    out << engine_;
    return out.str();
  }
  bool RestoreState(const std::string& state) override {
    std::istringstream in(state);
    in >> engine_;
    return !in.fail();
  }

 private:
  std::mt19937_64 engine_{12345};
};

}  // namespace mspc::testing
