#include "pca/cross_validation.hpp"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "host/errors.hpp"
#include "host/messages.hpp"
#include "host/progress.hpp"
#include "models/cross_product.hpp"
#include "models/dmatrix.hpp"
#include "models/tolerant.hpp"
#include "pca/pca_engine.hpp"

namespace mspc {
namespace {

// A variable's Q² counts as substantial from this size on, and a component's Q² as negligible
// below kNegligibleQ2.
constexpr double kSubstantialVariableQ2 = 0.02;
constexpr double kNegligibleQ2 = 0.01;

// What one pass leaves out: the row groups (folds or single rows) whose loadings are fitted
// without them, and the columns whose scores are fitted without them.
struct HoldOutPlan {
  std::vector<std::vector<std::size_t>> group_rows;  // non-excluded rows of each group
  std::vector<std::string> captions;                 // progress line of each group
  std::vector<std::size_t> columns;                  // non-excluded columns held out one by one
};

HoldOutPlan PlanHoldOuts(const PCAEngine& engine, const CPCANode& node, CrossValidationPass pass) {
  HoldOutPlan plan;
  if (pass == CrossValidationPass::kKrzanowski) {
    for (std::size_t row = 0; row < engine.Rows(); ++row) {
      if (engine.IsRowExcluded(row)) continue;
      plan.group_rows.push_back({row});
      plan.captions.push_back(
          FormatMessage(MessageId::kKrzanowskiTrainingRow, node.component, row + 1));
    }
  } else {
    const FoldPlan& folds = engine.Folds();
    plan.group_rows.resize(static_cast<std::size_t>(folds.folds));
    for (std::size_t row = 0; row < engine.Rows(); ++row) {
      if (!engine.IsRowExcluded(row)) plan.group_rows[folds.fold[row] - 1u].push_back(row);
    }
    for (int fold = 1; fold <= folds.folds; ++fold) {
      plan.captions.push_back(FormatMessage(MessageId::kCrossValidationFold, node.component, fold));
    }
  }
  if (pass != CrossValidationPass::kQuickVFold) {
    for (std::size_t col = 0; col < engine.Cols(); ++col) {
      if (!engine.IsVariableExcluded(col)) plan.columns.push_back(col);
    }
  }
  return plan;
}

// Work space of one thread: the NIPALS scratch and the output it does not keep.
struct ThreadBuffers {
  NIPALSScratch scratch;
  std::vector<double> scores;
  std::vector<double> loadings;
  std::vector<double> gram;  // complete data: the cross-products a group fit works on
};

// The hold-out fits of one pass: loadings without each row group, scores without each column.
// The fits are independent, so they run in parallel; each is sequential and writes only its own
// row of the results, which therefore do not depend on the number of threads.
//
// On complete data every fit runs on the cross-product matrix: a group's fit on XᵀX less the
// cross-products of its rows, a held-out column's on XᵀX with that column left out. The held-out
// columns' scores are then not kept (they would take as much room as the data): their loadings
// are, scaled so that X times them gives the scores, and the predictions are formed block by
// block of rows afterwards.
//
// The streamed fits keep no held-out column's scores either: the fits of the groups run first,
// and then each held-out column's fit sums its own PRESS at once from its scores and the
// groups' loadings.
struct HoldOutFits {
  DMatrix group_loadings;               // groups × K
  std::vector<double> column_press;     // per held-out column (streamed fits)
  std::vector<double> column_loadings;  // K × K: column j holds p / p'p of the fit without j
};

// The group of every row (-1 for the rows in none).
std::vector<std::ptrdiff_t> GroupOfRow(const PCAEngine& engine, const HoldOutPlan& plan) {
  std::vector<std::ptrdiff_t> group_of_row(engine.Rows(), -1);
  for (std::size_t group = 0; group < plan.group_rows.size(); ++group) {
    for (std::size_t row : plan.group_rows[group]) {
      group_of_row[row] = static_cast<std::ptrdiff_t>(group);
    }
  }
  return group_of_row;
}

// NIPALS may return a component with either sign, and a prediction combines the loadings of one
// hold-out fit with the scores of another. The reference of cell (i, j) is the full-data fit's
// t_i p_j: a prediction of the opposite sign is flipped to agree with it.
double AlignSign(double prediction, double reference) {
  const bool opposite = (TolerantLess(prediction, 0.0) && TolerantGreater(reference, 0.0)) ||
                        (TolerantGreater(prediction, 0.0) && TolerantLess(reference, 0.0));
  return opposite ? -prediction : prediction;
}

// Squared prediction error of cell (row, col) from the held-out column's score of the row and
// the loading of the row's group; 0 for a cell that takes no part.
double HeldOutCellError(const PCAEngine& engine,
                        const CPCANode& node,
                        const DMatrix& group_loadings,
                        std::ptrdiff_t group,
                        std::size_t row,
                        std::size_t col,
                        double score) {
  if (group < 0 || !engine.IsValidCell(row, col)) return 0.0;
  const double loading = group_loadings(static_cast<std::size_t>(group), col);
  const double prediction = AlignSign(score * loading, node.t[row] * node.p[col]);
  const double error = engine.Residual(row, col) - prediction;
  return error * error;
}

HoldOutFits RunHoldOutFits(const PCAEngine& engine, const HoldOutPlan& plan, const CPCANode& node) {
  const std::size_t rows = engine.Rows();
  const std::size_t cols = engine.Cols();
  const std::size_t group_count = plan.group_rows.size();
  const bool products = engine.UsesCrossProducts();
  HoldOutFits fits;
  fits.group_loadings = DMatrix(group_count, cols);
  if (products) {
    fits.column_loadings.assign(cols * cols, 0.0);
  } else {
    fits.column_press.assign(plan.columns.size(), 0.0);
  }
  const std::span<const double> gram = products ? engine.Gram() : std::span<const double>();
  const std::vector<std::ptrdiff_t> group_of_row = GroupOfRow(engine, plan);

  // Every buffer is allocated before the parallel regions, which must not throw.
  std::vector<ThreadBuffers> buffers(static_cast<std::size_t>(std::max(1, omp_get_max_threads())));
  for (ThreadBuffers& buffer : buffers) {
    buffer.scratch.Resize(rows, cols);
    buffer.scores.resize(rows);
    buffer.loadings.resize(cols);
    if (products) buffer.gram.resize(cols * cols);
  }

  // The host's progress bar belongs to the calling thread (thread 0 of the region): only it
  // shows captions and polls; a cancel stops the other fits through the shared flag. The first
  // group's caption and poll come before the region, so a cancel pending when the pass starts
  // is seen however the fits are shared out.
  ProgressMonitor* progress = engine.Progress();
  if (progress != nullptr && group_count > 0) {
    progress->SetCaption(plan.captions.front());
    if (progress->CancelRequested()) throw UserAbort();
  }
  std::atomic<bool> cancelled{false};
  const std::function<bool(int)> poll = [progress, &cancelled](int iteration) {
    if (progress != nullptr && omp_get_thread_num() == 0) {
      progress->SetPosition(iteration);
      if (progress->CancelRequested()) cancelled.store(true, std::memory_order_relaxed);
    }
    return cancelled.load(std::memory_order_relaxed);
  };

  // The groups' fits: loadings without the group's rows.
  const auto signed_group_count = static_cast<long long>(group_count);
#pragma omp parallel for schedule(dynamic, 1)
  for (long long task = 0; task < signed_group_count; ++task) {
    if (cancelled.load(std::memory_order_relaxed)) continue;
    const auto thread = static_cast<std::size_t>(omp_get_thread_num());
    assert(thread < buffers.size());
    ThreadBuffers& buffer = buffers[thread];
    const auto group = static_cast<std::size_t>(task);
    if (progress != nullptr && thread == 0 && group > 0) {
      progress->SetCaption(plan.captions[group]);
    }
    if (products) {
      // XᵀX less the cross-products of the group's rows: those of the rows the fit keeps.
      std::fill(buffer.gram.begin(), buffer.gram.end(), 0.0);
      kernels::AddGram(engine.MaskedResidual(), {plan.group_rows[group]}, buffer.gram);
      for (std::size_t k = 0; k < gram.size(); ++k) buffer.gram[k] = gram[k] - buffer.gram[k];
      double divisor = 0.0;
      engine.RunNIPALSOnGram(
          buffer.gram, -1, fits.group_loadings.Row(group), divisor, buffer.scratch, poll);
      continue;
    }
    std::span<double> row_weight = buffer.scratch.row_weight;
    const std::span<const double> base = engine.BaseRowWeight();
    std::copy(base.begin(), base.end(), row_weight.begin());
    for (std::size_t row : plan.group_rows[group]) row_weight[row] = 0.0;
    engine.RunNIPALS(
        row_weight, -1, buffer.scores, fits.group_loadings.Row(group), buffer.scratch, poll);
  }
  if (cancelled.load()) throw UserAbort();

  // The held-out columns' fits: scores without the column. Each task writes only its column.
  const auto signed_column_count = static_cast<long long>(plan.columns.size());
#pragma omp parallel for schedule(dynamic, 1)
  for (long long task = 0; task < signed_column_count; ++task) {
    if (cancelled.load(std::memory_order_relaxed)) continue;
    const auto thread = static_cast<std::size_t>(omp_get_thread_num());
    ThreadBuffers& buffer = buffers[thread];
    const auto column_index = static_cast<std::size_t>(task);
    const std::size_t held_out = plan.columns[column_index];
    if (products) {
      double divisor = 0.0;
      engine.RunNIPALSOnGram(
          gram, static_cast<int>(held_out), buffer.loadings, divisor, buffer.scratch, poll);
      for (std::size_t col = 0; col < cols; ++col) {
        fits.column_loadings[col * cols + held_out] =
            IsTolerantZero(divisor) ? 0.0 : buffer.loadings[col] / divisor;
      }
      continue;
    }
    engine.RunNIPALS(engine.BaseRowWeight(),
                     static_cast<int>(held_out),
                     buffer.scores,
                     buffer.loadings,
                     buffer.scratch,
                     poll);
    double press = 0.0;
    for (std::size_t row = 0; row < rows; ++row) {
      press += HeldOutCellError(
          engine, node, fits.group_loadings, group_of_row[row], row, held_out, buffer.scores[row]);
    }
    fits.column_press[column_index] = press;
  }
  if (cancelled.load()) throw UserAbort();
  return fits;
}

// Squared error of one prediction, added to the column's and the total PRESS.
void AddError(double actual, double prediction, std::size_t col, CPCANode& node) {
  const double error = actual - prediction;
  node.press_per_variable[col] += error * error;
  node.press += error * error;
}

// A node that arrives fitted stands for every hold-out fit: each present cell of a group is
// predicted by the full-data fit itself.
void SumFittedPress(const PCAEngine& engine, const HoldOutPlan& plan, CPCANode& node) {
  for (const std::vector<std::size_t>& group_rows : plan.group_rows) {
    for (std::size_t col : plan.columns) {
      for (std::size_t row : group_rows) {
        if (!engine.IsValidCell(row, col)) continue;
        AddError(engine.Residual(row, col), node.t[row] * node.p[col], col, node);
      }
    }
  }
}

// The same sums from the complete-data fits: the held-out columns' scores of a block of rows
// are that block times the columns' scaled loadings. Blocks run in parallel, each into its own
// row of partial sums, which are then added in block order, column by column.
void SumHeldOutColumnPressFromLoadings(const PCAEngine& engine,
                                       const HoldOutPlan& plan,
                                       const HoldOutFits& fits,
                                       CPCANode& node) {
  constexpr std::size_t kBlockRows = 64;
  const std::size_t rows = engine.Rows();
  const std::size_t cols = engine.Cols();
  const DMatrix& x = engine.MaskedResidual();
  const std::vector<std::ptrdiff_t> group_of_row = GroupOfRow(engine, plan);
  const std::size_t block_count = (rows + kBlockRows - 1) / kBlockRows;
  DMatrix partial(block_count, cols);
  std::vector<std::vector<double>> scores(
      static_cast<std::size_t>(std::max(1, omp_get_max_threads())),
      std::vector<double>(kBlockRows * cols));
  const auto signed_block_count = static_cast<long long>(block_count);
#pragma omp parallel for schedule(dynamic, 4)
  for (long long signed_block = 0; signed_block < signed_block_count; ++signed_block) {
    const auto block = static_cast<std::size_t>(signed_block);
    const std::size_t first = block * kBlockRows;
    const std::size_t count = std::min(kBlockRows, rows - first);
    std::vector<double>& block_scores = scores[static_cast<std::size_t>(omp_get_thread_num())];
    kernels::MultiplyRows(x, first, count, fits.column_loadings, cols, block_scores);
    const std::span<double> sums = partial.Row(block);
    for (std::size_t offset = 0; offset < count; ++offset) {
      const std::size_t row = first + offset;
      for (std::size_t col : plan.columns) {
        sums[col] += HeldOutCellError(engine,
                                      node,
                                      fits.group_loadings,
                                      group_of_row[row],
                                      row,
                                      col,
                                      block_scores[offset * cols + col]);
      }
    }
  }
  for (std::size_t block = 0; block < block_count; ++block) {
    for (std::size_t col = 0; col < cols; ++col)
      node.press_per_variable[col] += partial(block, col);
  }
  for (std::size_t col = 0; col < cols; ++col) node.press += node.press_per_variable[col];
}

// Quick pass: each cell of a held-out row is predicted from the fold's loadings and the score
// that the row's other present cells give, t = sum_{k != j} x_ik p_k / sum_{k != j} p_k^2. The
// score and the loading come from one fit, so the prediction has no sign ambiguity. Prefix and
// suffix sums give every leave-one-out sum without cancellation.
void SumQuickPress(const PCAEngine& engine,
                   const HoldOutPlan& plan,
                   const HoldOutFits& fits,
                   CPCANode& node) {
  const std::size_t cols = engine.Cols();
  std::vector<double> projection_before(cols + 1);
  std::vector<double> projection_after(cols + 1);
  std::vector<double> loading_ss_before(cols + 1);
  std::vector<double> loading_ss_after(cols + 1);
  for (std::size_t group = 0; group < plan.group_rows.size(); ++group) {
    const std::span<const double> loadings =
        node.fitted ? std::span<const double>(node.p) : fits.group_loadings.Row(group);
    for (std::size_t row : plan.group_rows[group]) {
      projection_before[0] = 0.0;
      loading_ss_before[0] = 0.0;
      for (std::size_t col = 0; col < cols; ++col) {
        const double present = engine.IsValidCell(row, col) ? 1.0 : 0.0;
        projection_before[col + 1] =
            projection_before[col] + engine.Residual(row, col) * loadings[col];
        loading_ss_before[col + 1] =
            loading_ss_before[col] + present * loadings[col] * loadings[col];
      }
      projection_after[cols] = 0.0;
      loading_ss_after[cols] = 0.0;
      for (std::size_t col = cols; col-- > 0;) {
        const double present = engine.IsValidCell(row, col) ? 1.0 : 0.0;
        projection_after[col] =
            projection_after[col + 1] + engine.Residual(row, col) * loadings[col];
        loading_ss_after[col] = loading_ss_after[col + 1] + present * loadings[col] * loadings[col];
      }
      for (std::size_t col = 0; col < cols; ++col) {
        if (!engine.IsValidCell(row, col)) continue;
        const double projection = projection_before[col] + projection_after[col + 1];
        const double loading_ss = loading_ss_before[col] + loading_ss_after[col + 1];
        // A row with no other present cell has no score to predict from.
        const double score = IsTolerantZero(loading_ss) ? 0.0 : projection / loading_ss;
        AddError(engine.Residual(row, col), score * loadings[col], col, node);
      }
    }
  }
}

}  // namespace

CrossValidationPass SelectCrossValidationPass(int method, bool grouped) {
  if (grouped) {
    if (method == 2) return CrossValidationPass::kVFold;
    if (method == 1) return CrossValidationPass::kGroupedKrzanowski;
    return CrossValidationPass::kNone;
  }
  switch (method) {
    case 1:
      return CrossValidationPass::kVFold;
    case 2:
      return CrossValidationPass::kKrzanowski;
    case 3:
      return CrossValidationPass::kQuickVFold;
    default:
      return CrossValidationPass::kNone;
  }
}

void ComputePRESS(const PCAEngine& engine, CPCANode& node, CrossValidationPass pass) {
  if (pass == CrossValidationPass::kNone) {
    node.fitted = false;
    return;
  }
  const HoldOutPlan plan = PlanHoldOuts(engine, node, pass);
  // A node that arrives fitted makes every hold-out fit return its full-data fit unchanged.
  const HoldOutFits fits = node.fitted ? HoldOutFits{} : RunHoldOutFits(engine, plan, node);

  node.press = 0.0;
  node.press_per_variable.assign(engine.Cols(), 0.0);
  if (pass == CrossValidationPass::kQuickVFold) {
    SumQuickPress(engine, plan, fits, node);
  } else if (node.fitted) {
    SumFittedPress(engine, plan, node);
  } else if (engine.UsesCrossProducts()) {
    SumHeldOutColumnPressFromLoadings(engine, plan, fits, node);
  } else {
    // Each held-out column's fit summed its own PRESS; the total adds them in column order.
    for (std::size_t k = 0; k < plan.columns.size(); ++k) {
      node.press_per_variable[plan.columns[k]] = fits.column_press[k];
      node.press += fits.column_press[k];
    }
  }
  node.fitted = false;
}

NodeState JudgeComponent(const PCAEngine& engine, CPCANode& node) {
  const int component = node.component;
  const std::vector<CPCANode>& nodes = engine.Nodes();
  const CPCANode* previous =
      component >= 2 && static_cast<std::size_t>(component - 2) < nodes.size()
          ? &nodes[static_cast<std::size_t>(component - 2)]
          : nullptr;

  // With nothing left to predict (no residual SS) a component cannot improve prediction: the
  // ratio is taken as 1, so Q² is 0.
  const double press_ratio =
      IsTolerantZero(node.previous_residual_ss) ? 1.0 : node.press / node.previous_residual_ss;
  node.q2 = 1.0 - press_ratio;
  node.q2_cumulative =
      previous == nullptr ? node.q2 : 1.0 - (1.0 - previous->q2_cumulative) * press_ratio;

  // The residual degrees of freedom before this component are positive for every component the
  // model allows (see PCAEngine); the guard keeps a direct call from dividing by zero.
  const auto dof = static_cast<double>(engine.ResidualDegreesOfFreedom());
  const auto cost = static_cast<double>(engine.ComponentCost(component));
  node.limit = IsTolerantZero(dof) ? cost : cost / dof;

  // Per variable the divisor is the previous component's explained SS of the column (the
  // column's total SS for the first component), not its residual SS.
  int at_limit = 0;
  int substantial = 0;
  node.q2_per_variable.assign(engine.Cols(), kExcludedVariableQ2);
  for (std::size_t col = 0; col < engine.Cols(); ++col) {
    if (engine.IsVariableExcluded(col)) continue;
    const double column_ss = previous == nullptr ? engine.VariableTotalSS()[col]
                                                 : previous->explained_ss_per_variable[col];
    const double q2 =
        IsTolerantZero(column_ss) ? 1.0 : 1.0 - node.press_per_variable[col] / column_ss;
    node.q2_per_variable[col] = q2;
    if (TolerantAtLeast(q2, node.limit)) ++at_limit;
    if (TolerantAtLeast(std::fabs(q2), kSubstantialVariableQ2)) ++substantial;
  }

  const bool significant =
      TolerantGreater(node.q2, node.limit) ||
      TolerantAtLeast(static_cast<double>(at_limit), std::sqrt(engine.ActiveVariables()));
  node.significance = significant ? Significance::kSignificant : Significance::kNotSignificant;
  if (significant) return NodeState::kAccepted;
  if (component >= engine.MaxComponentsAllowed()) return NodeState::kNotAccepted;
  if (component == 1) return NodeState::kAccepted;
  if (TolerantLess(std::fabs(node.q2), kNegligibleQ2) && substantial == 0) {
    return NodeState::kNotSignificant;
  }
  return NodeState::kNotAccepted;
}

std::string_view SignificanceText(Significance significance) {
  switch (significance) {
    case Significance::kSignificant:
      return MessageText(MessageId::kSignificant);
    case Significance::kNotSignificant:
      return MessageText(MessageId::kNotSignificant);
    case Significance::kUnknown:
      break;
  }
  return MessageText(MessageId::kSignificanceUnknown);
}

}  // namespace mspc
