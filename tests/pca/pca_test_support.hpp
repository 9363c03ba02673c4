#pragma once

// Data makers and fakes shared by the PCA tests.

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <span>
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

/// A rows × cols matrix of the given values, row by row.
inline DMatrix MatrixOf(std::size_t rows, std::size_t cols, std::initializer_list<double> values) {
  DMatrix m(rows, cols);
  std::copy(values.begin(), values.end(), m.data());
  return m;
}

inline double Dot(std::span<const double> a, std::span<const double> b) {
  double sum = 0.0;
  for (std::size_t k = 0; k < a.size(); ++k) sum += a[k] * b[k];
  return sum;
}

inline double Cosine(std::span<const double> a, std::span<const double> b) {
  return Dot(a, b) / std::sqrt(Dot(a, a) * Dot(b, b));
}

/// Largest difference between a and b.
inline double MaxDifference(std::span<const double> a, std::span<const double> b) {
  double largest = 0.0;
  for (std::size_t k = 0; k < a.size(); ++k) largest = std::max(largest, std::fabs(a[k] - b[k]));
  return largest;
}

/// Largest difference between a and ±b, with the sign that fits best.
inline double SignFreeDistance(std::span<const double> a, std::span<const double> b) {
  const double sign = Dot(a, b) < 0.0 ? -1.0 : 1.0;
  double largest = 0.0;
  for (std::size_t k = 0; k < a.size(); ++k)
    largest = std::max(largest, std::fabs(a[k] - sign * b[k]));
  return largest;
}

/// X'X / (N - 1) of a complete matrix, row-major: the correlation matrix of standardised columns.
inline std::vector<double> CrossProduct(const DMatrix& x) {
  const std::size_t k = x.cols();
  std::vector<double> product(k * k, 0.0);
  for (std::size_t i = 0; i < x.rows(); ++i) {
    for (std::size_t a = 0; a < k; ++a) {
      for (std::size_t b = 0; b < k; ++b) product[a * k + b] += x(i, a) * x(i, b);
    }
  }
  for (double& value : product) value /= static_cast<double>(x.rows() - 1);
  return product;
}

/// The sum of squares of the present cells.
inline double SumOfSquares(const DMatrix& x) {
  double sum = 0.0;
  for (std::size_t i = 0; i < x.rows(); ++i) {
    for (double value : x.Row(i)) {
      if (!IsMissing(value)) sum += value * value;
    }
  }
  return sum;
}

/// Whether two matrices hold the same cells, a missing cell matching a missing one.
inline bool SameCells(const DMatrix& a, const DMatrix& b) {
  if (a.rows() != b.rows() || a.cols() != b.cols()) return false;
  for (std::size_t k = 0; k < a.rows() * a.cols(); ++k) {
    const double x = a.data()[k];
    const double y = b.data()[k];
    if (x != y && !(IsMissing(x) && IsMissing(y))) return false;
  }
  return true;
}

/// Restores the thread count a test changed.
class ThreadCount {
 public:
  explicit ThreadCount(int threads) : saved_(omp_get_max_threads()) {
    omp_set_num_threads(threads);
  }
  ~ThreadCount() { omp_set_num_threads(saved_); }
  ThreadCount(const ThreadCount&) = delete;
  ThreadCount& operator=(const ThreadCount&) = delete;

 private:
  int saved_;
};

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
