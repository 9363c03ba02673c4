#pragma once

// Batch tables written from an unfolded matrix (batches × (time, variable)), one case per batch
// and time, and the options that fit them.

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "frame/startup_options.hpp"
#include "models/dmatrix.hpp"
#include "support/fake_data_table.hpp"

namespace mspc::testing {

struct LongTableLayout {
  explicit LongTableLayout(double first = 100.0,
                           double step = 10.0,
                           bool shuffle = true,
                           bool time = true,
                           std::vector<std::string> variable_names = {})
      : first_batch(first),
        time_step(step),
        shuffled(shuffle),
        with_time(time),
        names(std::move(variable_names)) {}

  double first_batch;  // batch i has the code first_batch + i
  double time_step;    // time k has the code time_step (k + 1)
  // Cases run time-major with the batches backwards, so neither order of the table is the order
  // of the matrix; otherwise batch-major in matrix order.
  bool shuffled;
  bool with_time;
  std::vector<std::string> names;  // of the variables; x1, x2, ... when empty
};

// Call `visit(i, k)` for each case in the table order of `layout`.
template <typename Visit>
void ForEachCase(std::size_t batches,
                 std::size_t times,
                 const LongTableLayout& layout,
                 Visit visit) {
  if (layout.shuffled) {
    for (std::size_t k = 0; k < times; ++k) {
      for (std::size_t i = batches; i-- > 0;) visit(i, k);
    }
  } else {
    for (std::size_t i = 0; i < batches; ++i) {
      for (std::size_t k = 0; k < times; ++k) visit(i, k);
    }
  }
}

// Add batch, time and the process variables of `unfolded` to `table`.
inline void WriteLongTable(const DMatrix& unfolded,
                           std::size_t variables,
                           FakeDataTable& table,
                           const LongTableLayout& layout = LongTableLayout()) {
  const std::size_t times = unfolded.cols() / variables;
  std::vector<double> batch, time;
  std::vector<std::vector<double>> values(variables);
  ForEachCase(unfolded.rows(), times, layout, [&](std::size_t i, std::size_t k) {
    batch.push_back(layout.first_batch + static_cast<double>(i));
    time.push_back(layout.time_step * static_cast<double>(k + 1));
    for (std::size_t j = 0; j < variables; ++j) values[j].push_back(unfolded(i, k * variables + j));
  });
  table.AddVariable("batch", batch);
  if (layout.with_time) table.AddVariable("time", time);
  for (std::size_t j = 0; j < variables; ++j) {
    table.AddVariable(layout.names.empty() ? "x" + std::to_string(j + 1) : layout.names[j],
                      values[j]);
  }
}

// Add "quality", a linear function of each batch's course recorded in every case but marked
// ("mark" = 1) only at the last time (elsewhere it reads -1); returns the batches' qualities.
inline std::vector<double> AddMarkedQuality(const DMatrix& unfolded,
                                            std::size_t times,
                                            FakeDataTable& table,
                                            const LongTableLayout& layout = LongTableLayout()) {
  std::vector<double> quality(unfolded.rows(), 0.0);
  for (std::size_t i = 0; i < unfolded.rows(); ++i) {
    for (std::size_t c = 0; c < unfolded.cols(); ++c) {
      quality[i] += unfolded(i, c) * (c % 2 == 0 ? 0.5 : -0.25);
    }
  }
  std::vector<double> mark, y;
  ForEachCase(unfolded.rows(), times, layout, [&](std::size_t i, std::size_t k) {
    mark.push_back(k + 1 == times ? 1.0 : 0.0);
    y.push_back(k + 1 == times ? quality[i] : -1.0);
  });
  table.AddVariable("mark", mark);
  table.AddVariable("quality", y);
  return quality;
}

// Batch and time named, two components fitted tightly, no cross-validation.
inline StartupOptions BatchOptions() {
  StartupOptions options;
  options.batch_variable = "batch";
  options.time_variable = "time";
  options.component_mode = ComponentMode::FixedNumberOfComponents;
  options.num_components = 2;
  options.cross_validation = CrossValidationMethod::CrossValidationOff;
  options.convergence_criterion = 1e-14;
  options.max_iterations = 1000;
  return options;
}

}  // namespace mspc::testing
