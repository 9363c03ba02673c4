#pragma once

// Analyses of each model kind taken to their Results dialog as a host takes them, over tables
// whose reports have values known by hand.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "pca/pca_test_support.hpp"
#include "support/dialog_analysis.hpp"

namespace mspc::testing {

using fake::Put;

// PCA on a rank-2 table of 30 cases and 5 variables x1..x5.
class PCAAnalysis : public DialogAnalysis {
 public:
  static constexpr int kRows = 30;
  static constexpr int kVariables = 5;

  explicit PCAAnalysis(ProgressMonitor* progress = nullptr) {
    AddColumns(ManufacturedData(kRows, kVariables, {3.0, 2.0}, 0.2, 17));
    Start(false, progress);
  }

  // Fit with a fixed number of components and open PCA Results.
  void Fit(int components) {
    AutomationObject& startup = OpenStartup(1, kStepPCAStartup);
    Put(startup, "Variables", std::vector<std::string>{"x1", "x2", "x3", "x4", "x5"});
    Put(startup, "FixedNumberOfComponents", true);
    Put(startup, "NumberOfComponents", std::int64_t{components});
    OpenResults(kStepPCAResults, "PCAResults");
  }
};

// PLS of y = 2 + 1.5 x1 - 0.5 x2 + 0.25 x3 exactly on six predictors of rank 3 (x4 = x1 + x2,
// x5 = x2 - x3, x6 = x1 + x3).
class PLSAnalysis : public DialogAnalysis {
 public:
  static constexpr int kRows = 24;
  static constexpr double kIntercept = 2.0;
  static constexpr std::array<double, 3> kBeta = {1.5, -0.5, 0.25};

  PLSAnalysis() {
    auto& [x1, x2, x3, x4, x5, x6] = predictors_;
    for (int row = 0; row < kRows; ++row) {
      x1.push_back(std::sin(0.7 * row) * 3.0 + row * 0.1);
      x2.push_back(std::cos(1.3 * row) * 2.0 - 1.0);
      x3.push_back(static_cast<double>((row * 7) % 11) - 4.0);
      x4.push_back(x1.back() + x2.back());
      x5.push_back(x2.back() - x3.back());
      x6.push_back(x1.back() + x3.back());
      observed_.push_back(kIntercept + kBeta[0] * x1.back() + kBeta[1] * x2.back() +
                          kBeta[2] * x3.back());
    }
    for (std::size_t j = 0; j < 6; ++j) {
      table().AddVariable("x" + std::to_string(j + 1), predictors_[j]);
    }
    table().AddVariable("y", observed_);
    Start();
  }

  void Fit(int components) {
    AutomationObject& startup = OpenStartup(2, kStepPLSStartup);
    Put(startup, "DependentVariables", std::vector<std::string>{"y"});
    Put(startup,
        "PredictorVariables",
        std::vector<std::string>{"x1", "x2", "x3", "x4", "x5", "x6"});
    Put(startup, "FixedNumberOfComponents", true);
    Put(startup, "NumberOfComponents", std::int64_t{components});
    OpenResults(kStepPLSResults, "PLSResults");
  }

  const std::vector<double>& observed() const { return observed_; }

 private:
  std::array<std::vector<double>, 6> predictors_;
  std::vector<double> observed_;
};

// A batch kind: its row of the MSPC Startup list, its steps and its twins.
struct BatchKind {
  const char* name;
  std::int64_t row;
  int startup_step;
  int results_step;
  const char* results;
};

inline void PrintTo(const BatchKind& kind, std::ostream* out) { *out << kind.name; }

inline const BatchKind kTMPCA{"TMPCA", 4, kStepTMPCAStartup, kStepTMPCAResults, "TMPCAResults"};
inline const BatchKind kTMPLS{"TMPLS", 5, kStepTMPLSStartup, kStepTMPLSResults, "TMPLSResults"};
inline const BatchKind kBMPLS{"BMPLS", 3, kStepBMPLSStartup, kStepBMPLSResults, "BMPLSResults"};

// Five batches of four times with codes 10, 20, 30, 40. At time 20 variable x1 holds 1, 2, 3,
// 4, 5 over the batches; the other cells follow smooth curves that differ between batches.
// The quality of a batch is marked at its last time.
class BatchAnalysis : public DialogAnalysis {
 public:
  static constexpr int kBatches = 5;
  static constexpr int kTimes = 4;

  BatchAnalysis() {
    std::vector<double> batch, time, x2, x3, mark, quality;
    for (int i = 0; i < kBatches; ++i) {
      for (int k = 0; k < kTimes; ++k) {
        batch.push_back(i + 1);
        time.push_back(10.0 * (k + 1));
        x1_.push_back(k == 1 ? i + 1.0 : 2.0 * k + std::sin(1.7 * i + k));
        x2.push_back(5.0 + k * k * 0.5 + std::cos(0.9 * i * (k + 1)));
        x3.push_back(std::sin(0.4 * (i + 1) * (k + 2)) + 0.3 * k);
        mark.push_back(k + 1 == kTimes ? 1.0 : 0.0);
        quality.push_back(10.0 + i * 1.5 + std::sin(3.1 * i));
      }
    }
    table().AddVariable("batch", batch);
    table().AddVariable("time", time);
    table().AddVariable("x1", x1_);
    table().AddVariable("x2", x2);
    table().AddVariable("x3", x3);
    table().AddVariable("mark", mark);
    table().AddVariable("quality", quality);
    Start();
  }

  // Fill the kind's Startup (x1..x3, fixed components) and go to its Results.
  void Fit(const BatchKind& kind, int components = 2) {
    AutomationObject& startup = OpenStartup(kind.row, kind.startup_step);
    Put(startup, "BatchVariable", std::string("batch"));
    Put(startup, "TimeVariable", std::string("time"));
    const std::vector<std::string> variables = {"x1", "x2", "x3"};
    if (kind.row == kTMPLS.row) {
      Put(startup, "PredictorVariables", variables);
      Put(startup, "DependentVariables", std::vector<std::string>{"quality"});
      Put(startup, "DependentIdentifier", std::string("mark"));
    } else {
      Put(startup, "Variables", variables);
    }
    Put(startup, "FixedNumberOfComponents", true);
    Put(startup, "NumberOfComponents", std::int64_t{components});
    Put(startup, "CrossValidationOff", true);
    OpenResults(kind.results_step, kind.results);
  }

  const std::vector<double>& x1() const { return x1_; }

 private:
  std::vector<double> x1_;
};

}  // namespace mspc::testing
