#include "pca/pca_engine.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <numeric>
#include <string>
#include <utility>

#include "host/errors.hpp"
#include "host/progress.hpp"
#include "models/cross_product.hpp"
#include "models/fit_support_internal.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"
#include "pca/cross_validation.hpp"

namespace mspc {
namespace {

// The progress bar spans six times the iteration limit: room for the full fit and the
// hold-out fits of one component.
constexpr int kProgressStepsPerIteration = 6;

// Below this many cells a pass over the rows runs on the calling thread.
constexpr std::size_t kParallelCells = 1 << 16;

// The passes that sum over rows do so in fixed chunks of rows: each chunk adds its rows in
// order and the chunks are added in order, whatever the number of threads.
constexpr std::size_t kChunkRows = 256;

// sum_j x_j p_j of one row, the same loop wherever a score is formed.
double RowProjection(const double* values, std::span<const double> p) {
  double projection = 0.0;
#pragma omp simd reduction(+ : projection)
  for (std::size_t col = 0; col < p.size(); ++col) projection += values[col] * p[col];
  return projection;
}

// A cell that cannot take part in a sum (not-a-number or infinite) is stored as missing.
double MissingIfNotFinite(double value) { return std::isfinite(value) ? value : kMissingValue; }

}  // namespace

std::optional<MessageId> PCAFitOptions::Validate() const {
  if (max_iterations < kMinIterations || max_iterations > kMaxIterations) {
    return MessageId::kMaxIterationsOutOfRange;
  }
  if (!TolerantAtLeast(convergence, 0.0) || !TolerantAtMost(convergence, 1.0)) {
    return MessageId::kConvergenceCriterionOutOfRange;
  }
  const bool uses_folds =
      component_mode != ComponentMode::FixedNumberOfComponents &&
      SelectCrossValidationPass(cross_validation_method, grouped) != CrossValidationPass::kNone;
  if (uses_folds && folds < 2) return MessageId::kFoldsBelowTwo;
  return std::nullopt;
}

void PCAEngine::SetOptions(const PCAFitOptions& options) {
  // The cross-product matrix depends on the data alone; it is dropped only when the option
  // that uses it changes, so that a copy refitted under other options continues bit for bit.
  if (options.cross_products != options_.cross_products) gram_.clear();
  // A component fitted ahead stands while the iteration's own options stay as they were.
  if (options.cross_products != options_.cross_products ||
      options.max_iterations != options_.max_iterations ||
      OrderedBits(options.convergence) != OrderedBits(options_.convergence)) {
    fit_ahead_.reset();
  }
  options_ = options;
  folds_.reset();
}

void PCAEngine::CenterAndScale(const DMatrix& raw,
                               std::span<const double> mean,
                               std::span<const double> scale,
                               std::vector<bool> excluded_rows,
                               std::vector<bool> excluded_variables) {
  assert(mean.size() == raw.cols() && scale.size() == raw.cols());
  DMatrix scaled(raw.rows(), raw.cols());
  for (std::size_t row = 0; row < raw.rows(); ++row) {
    for (std::size_t col = 0; col < raw.cols(); ++col) {
      const double value = raw(row, col);
      if (!std::isfinite(value)) {
        scaled(row, col) = kMissingValue;
        continue;
      }
      const double centred = value - mean[col];
      // A zero scale cannot divide; the cell is left centred.
      scaled(row, col) =
          MissingIfNotFinite(IsTolerantZero(scale[col]) ? centred : centred / scale[col]);
    }
  }
  scaled_ = std::move(scaled);
  BuildWorkingSet(std::move(excluded_rows), std::move(excluded_variables));
}

void PCAEngine::LoadScaled(DMatrix scaled,
                           std::vector<bool> excluded_rows,
                           std::vector<bool> excluded_variables) {
  // BuildWorkingSet marks every cell that is not finite as missing.
  scaled_ = std::move(scaled);
  BuildWorkingSet(std::move(excluded_rows), std::move(excluded_variables));
}

void PCAEngine::BuildWorkingSet(std::vector<bool> excluded_rows,
                                std::vector<bool> excluded_variables) {
  const std::size_t rows = Rows();
  const std::size_t cols = Cols();
  excluded_rows_ = ExclusionOrNone(std::move(excluded_rows), rows);
  excluded_variables_ = ExclusionOrNone(std::move(excluded_variables), cols);
  active_rows_ = static_cast<int>(std::count(excluded_rows_.begin(), excluded_rows_.end(), false));
  active_variables_ =
      static_cast<int>(std::count(excluded_variables_.begin(), excluded_variables_.end(), false));

  base_row_weight_.assign(rows, 0.0);
  for (std::size_t row = 0; row < rows; ++row) {
    if (!excluded_rows_[row]) base_row_weight_[row] = 1.0;
  }
  std::vector<std::uint8_t> included(cols);
  for (std::size_t col = 0; col < cols; ++col) included[col] = excluded_variables_[col] ? 0 : 1;
  mask_.assign(rows * cols, 0);
  const std::size_t chunks = (rows + kChunkRows - 1) / kChunkRows;
  std::vector<double> chunk_column_ss(chunks * cols, 0.0);
  std::vector<double> chunk_ss(chunks, 0.0);
  const auto signed_chunks = static_cast<long long>(chunks);
#pragma omp parallel for schedule(static) if (rows * cols > kParallelCells)
  for (long long signed_chunk = 0; signed_chunk < signed_chunks; ++signed_chunk) {
    const auto chunk = static_cast<std::size_t>(signed_chunk);
    double* column_ss = chunk_column_ss.data() + chunk * cols;
    double total = 0.0;
    for (std::size_t row = chunk * kChunkRows; row < std::min(rows, (chunk + 1) * kChunkRows);
         ++row) {
      double* values = scaled_.data() + row * cols;
      for (std::size_t col = 0; col < cols; ++col) values[col] = MissingIfNotFinite(values[col]);
      if (excluded_rows_[row]) continue;
      std::uint8_t* present = mask_.data() + row * cols;
      double row_ss = 0.0;
      for (std::size_t col = 0; col < cols; ++col) {
        const bool valid = included[col] != 0 && !IsMissing(values[col]);
        const double value = valid ? values[col] : 0.0;
        present[col] = valid ? 1 : 0;
        column_ss[col] += value * value;
        row_ss += value * value;
      }
      total += row_ss;
    }
    chunk_ss[chunk] = total;
  }
  variable_total_ss_.assign(cols, 0.0);
  total_ss_ = 0.0;
  for (std::size_t chunk = 0; chunk < chunks; ++chunk) {
    for (std::size_t col = 0; col < cols; ++col) {
      variable_total_ss_[col] += chunk_column_ss[chunk * cols + col];
    }
    total_ss_ += chunk_ss[chunk];
  }
  initial_dof_ = static_cast<std::int64_t>(active_rows_) * active_variables_;
  const auto present = static_cast<std::int64_t>(std::count(mask_.begin(), mask_.end(), 1));
  complete_ = present == initial_dof_;
  folds_.reset();
  RemoveAllComponents();
}

void PCAEngine::RebuildFromScaled() {
  gram_.clear();
  fit_ahead_.reset();
  const std::size_t cols = Cols();
  x_ = DMatrix(Rows(), cols);
  const auto rows = static_cast<long long>(Rows());
#pragma omp parallel for schedule(static) if (Rows() * cols > kParallelCells)
  for (long long signed_row = 0; signed_row < rows; ++signed_row) {
    const auto row = static_cast<std::size_t>(signed_row);
    const double* scaled = scaled_.data() + row * cols;
    const std::uint8_t* present = mask_.data() + row * cols;
    double* values = x_.data() + row * cols;
    for (std::size_t col = 0; col < cols; ++col)
      values[col] = present[col] != 0 ? scaled[col] : 0.0;
  }
}

bool PCAEngine::IsMissingCell(std::size_t row, std::size_t col) const {
  return IsMissing(scaled_(row, col));
}

DMatrix PCAEngine::Residuals() const {
  DMatrix residuals(Rows(), Cols(), kMissingValue);
  for (std::size_t row = 0; row < Rows(); ++row) {
    for (std::size_t col = 0; col < Cols(); ++col) {
      if (IsValidCell(row, col)) residuals(row, col) = x_(row, col);
    }
  }
  return residuals;
}

int PCAEngine::MaxComponentsAllowed() const {
  return std::max(0, std::min(active_rows_ - 1, active_variables_));
}

std::int64_t PCAEngine::ComponentCost(int component) const {
  return static_cast<std::int64_t>(active_rows_) + active_variables_ - 2 * std::int64_t{component};
}

const FoldPlan& PCAEngine::Folds() const {
  if (!folds_) {
    folds_ = PlanFolds(Rows(), options_.folds, options_.random_folds, options_.seed, random_);
  }
  return *folds_;
}

void PCAEngine::FillRowWeight(HoldOutKind kind, int group, std::span<double> row_weight) const {
  std::copy(base_row_weight_.begin(), base_row_weight_.end(), row_weight.begin());
  const bool by_fold =
      kind == HoldOutKind::kVFold || (kind == HoldOutKind::kKrzanowski && options_.grouped);
  if (by_fold) {
    const FoldPlan& plan = Folds();
    for (std::size_t row = 0; row < Rows(); ++row) {
      if (plan.fold[row] == group) row_weight[row] = 0.0;
    }
  } else if (kind == HoldOutKind::kKrzanowski && group >= 0 &&
             static_cast<std::size_t>(group) < Rows()) {
    row_weight[static_cast<std::size_t>(group)] = 0.0;
  }
}

NIPALSOutcome PCAEngine::RunNIPALS(std::span<const double> row_weight,
                                   int held_out_column,
                                   std::span<double> t,
                                   std::span<double> p,
                                   NIPALSScratch& scratch,
                                   const std::function<bool(int)>& poll) const {
  const std::size_t rows = Rows();
  const std::size_t cols = Cols();
  assert(t.size() == rows && p.size() == cols && row_weight.size() == rows);
  assert(scratch.numerator.size() == cols);
  NIPALSOutcome outcome;
  std::fill(t.begin(), t.end(), 0.0);
  std::fill(p.begin(), p.end(), 0.0);

  // Start vector: the column with the largest sum of squares over its valid cells. A later
  // column must exceed the best so far by the slack to replace it, so ties keep the earlier.
  nipals::ColumnSumsOfSquares(x_, row_weight, scratch);
  const std::vector<double>& column_ss = scratch.numerator;
  std::optional<std::size_t> start_column;
  for (std::size_t col = 0; col < cols; ++col) {
    if (excluded_variables_[col] || static_cast<int>(col) == held_out_column) continue;
    if (!start_column || TolerantGreater(column_ss[col], column_ss[*start_column])) {
      start_column = col;
    }
  }
  // With no column left to fit every score stays 0 and so does the component.
  if (start_column) {
    for (std::size_t row = 0; row < rows; ++row) t[row] = row_weight[row] * x_(row, *start_column);
  }

  const int divisor = active_rows_ - 1;  // N - 1
  double previous_eigenvalue = -1.0;
  // The first loadings come from the start vector; after that every pass over the rows gives
  // the scores of the current loadings and the sums of the next ones.
  nipals::LoadingStep(x_, mask_, t, held_out_column, p, scratch);
  while (true) {
    double loading_ss = 0.0;
#pragma omp simd reduction(+ : loading_ss)
    for (std::size_t col = 0; col < cols; ++col) loading_ss += p[col] * p[col];
    const double norm = std::sqrt(loading_ss);
    if (!IsTolerantZero(norm)) {
      for (double& loading : p) loading /= norm;
    }

    nipals::ScoreAndLoadingSums(x_, mask_, p, row_weight, t, scratch);
    ++outcome.iterations;

    double score_ss = 0.0;  // t't; rows left out have t_i = 0
#pragma omp simd reduction(+ : score_ss)
    for (std::size_t row = 0; row < rows; ++row) score_ss += t[row] * t[row];
    outcome.eigenvalue = divisor > 0 ? score_ss / divisor : score_ss;

    if (poll && poll(outcome.iterations)) {
      outcome.cancelled = true;
      break;
    }
    if (outcome.iterations >= options_.max_iterations) break;
    if (TolerantAtMost(std::fabs(outcome.eigenvalue - previous_eigenvalue),
                       options_.convergence * outcome.eigenvalue)) {
      break;
    }
    previous_eigenvalue = outcome.eigenvalue;
    nipals::FinishLoadingStep(held_out_column, p, scratch);
  }
  return outcome;
}

std::span<const double> PCAEngine::Gram() const {
  if (gram_.empty() && Cols() > 0) {
    std::vector<double> gram(Cols() * Cols(), 0.0);
    kernels::AddGram(x_, {}, gram);
    gram_ = std::move(gram);
  }
  return gram_;
}

NIPALSOutcome PCAEngine::RunNIPALSOnGram(std::span<const double> gram,
                                         int held_out_column,
                                         std::span<double> p,
                                         double& score_divisor,
                                         NIPALSScratch& scratch,
                                         const std::function<bool(int)>& poll) const {
  const std::size_t cols = Cols();
  assert(gram.size() == cols * cols && p.size() == cols && scratch.numerator.size() == cols);
  NIPALSOutcome outcome;
  std::fill(p.begin(), p.end(), 0.0);
  // cross = Xᵀt and score_ss = t't of the current scores t, which are never formed: first the
  // start column (the largest sum of squares, ties to the earlier), then X p / p'p.
  std::span<double> cross = scratch.numerator;
  std::fill(cross.begin(), cross.end(), 0.0);
  double score_ss = 0.0;
  std::optional<std::size_t> start_column;
  for (std::size_t col = 0; col < cols; ++col) {
    if (excluded_variables_[col] || static_cast<int>(col) == held_out_column) continue;
    if (!start_column ||
        TolerantGreater(gram[col * cols + col], gram[*start_column * cols + *start_column])) {
      start_column = col;
    }
  }
  if (start_column) {
    std::copy_n(
        gram.begin() + static_cast<std::ptrdiff_t>(*start_column * cols), cols, cross.begin());
    score_ss = gram[*start_column * cols + *start_column];
  }

  const int divisor = active_rows_ - 1;  // N - 1
  double previous_eigenvalue = -1.0;
  double loading_ss = 0.0;  // p'p, the denominator of every score
  while (true) {
    // p_j = (Xᵀt)_j / t't, then unit length.
    for (std::size_t col = 0; col < cols; ++col) {
      p[col] = IsTolerantZero(score_ss) ? 0.0 : cross[col] / score_ss;
    }
    if (held_out_column >= 0) p[static_cast<std::size_t>(held_out_column)] = 0.0;
    double norm_ss = 0.0;
    for (std::size_t col = 0; col < cols; ++col) norm_ss += p[col] * p[col];
    const double norm = std::sqrt(norm_ss);
    if (!IsTolerantZero(norm)) {
      for (double& loading : p) loading /= norm;
    }

    // t = X p / p'p: Xᵀt = XᵀX p / p'p and t't = pᵀXᵀXp / (p'p)².
    loading_ss = 0.0;
    for (std::size_t col = 0; col < cols; ++col) loading_ss += p[col] * p[col];
    if (IsTolerantZero(loading_ss)) {
      std::fill(cross.begin(), cross.end(), 0.0);
      score_ss = 0.0;
    } else {
      kernels::SymmetricMatrixVector(gram, p, cross);
      double quadratic = 0.0;
      for (std::size_t col = 0; col < cols; ++col) quadratic += p[col] * cross[col];
      for (double& value : cross) value /= loading_ss;
      score_ss = quadratic / (loading_ss * loading_ss);
    }
    ++outcome.iterations;
    outcome.eigenvalue = divisor > 0 ? score_ss / divisor : score_ss;

    if (poll && poll(outcome.iterations)) {
      outcome.cancelled = true;
      break;
    }
    if (outcome.iterations >= options_.max_iterations) break;
    if (TolerantAtMost(std::fabs(outcome.eigenvalue - previous_eigenvalue),
                       options_.convergence * outcome.eigenvalue)) {
      break;
    }
    previous_eigenvalue = outcome.eigenvalue;
  }
  score_divisor = IsTolerantZero(loading_ss) ? 0.0 : loading_ss;
  return outcome;
}

void PCAEngine::ComputeScores(std::span<const double> p,
                              double divisor,
                              std::span<const double> row_weight,
                              std::span<double> t) const {
  const std::size_t cols = Cols();
  const auto rows = static_cast<long long>(Rows());
  // Each score is one row's sum in column order, whichever thread forms it.
#pragma omp parallel for schedule(static) if (Rows() * cols > kParallelCells)
  for (long long signed_row = 0; signed_row < rows; ++signed_row) {
    const auto row = static_cast<std::size_t>(signed_row);
    const double* values = x_.data() + row * cols;
    t[row] = IsTolerantZero(divisor) ? 0.0 : row_weight[row] * (RowProjection(values, p) / divisor);
  }
}

CPCANode PCAEngine::NewNode() const {
  CPCANode node;
  node.component = ComponentCount() + 1;
  node.dof_cost = ComponentCost(node.component);
  node.previous_residual_ss = nodes_.empty() ? total_ss_ : nodes_.back().residual_ss;
  node.t.assign(Rows(), 0.0);
  node.p.assign(Cols(), 0.0);
  node.explained_ss_per_variable.assign(Cols(), 0.0);
  node.press_per_variable.assign(Cols(), CPCANode::kNotComputed);
  node.q2_per_variable.assign(Cols(), CPCANode::kNotComputed);
  return node;
}

void PCAEngine::FitComponent(CPCANode& node,
                             HoldOutKind kind,
                             int group,
                             int held_out_column) const {
  if (node.fitted) return;
  std::vector<double> row_weight(Rows());
  FillRowWeight(kind, group, row_weight);
  NIPALSScratch scratch;
  scratch.Resize(Rows(), Cols());
  node.t.assign(Rows(), 0.0);
  node.p.assign(Cols(), 0.0);

  const bool full_fit = kind == HoldOutKind::kNone && held_out_column < 0;
  std::function<bool(int)> poll;
  if (progress_ != nullptr) {
    poll = [this, &node, full_fit](int iteration) {
      if (full_fit) {
        progress_->SetCaption(
            FormatMessage(MessageId::kPCAModelingIteration, node.component, iteration));
      }
      progress_->SetPosition(iteration);
      return progress_->CancelRequested();
    };
  }
  NIPALSOutcome outcome;
  if (full_fit && UsesCrossProducts() && fit_ahead_) {
    node.t = fit_ahead_->t;
    node.p = fit_ahead_->p;
    outcome = fit_ahead_->outcome;
    // Fitted ahead: shown and polled once, with the iterations it took.
    outcome.cancelled = poll && poll(outcome.iterations);
  } else if (full_fit && UsesCrossProducts()) {
    double score_divisor = 0.0;
    outcome = RunNIPALSOnGram(Gram(), -1, node.p, score_divisor, scratch, poll);
    if (!outcome.cancelled) ComputeScores(node.p, score_divisor, row_weight, node.t);
  } else {
    outcome = RunNIPALS(row_weight, held_out_column, node.t, node.p, scratch, poll);
  }
  if (outcome.cancelled) throw UserAbort();
  node.iterations = outcome.iterations;
  node.eigenvalue = outcome.eigenvalue;

  // Welford's running mean and variance of the scores of the non-excluded rows.
  std::size_t count = 0;
  double mean = 0.0;
  double m2 = 0.0;  // sum of squared deviations from the running mean
  for (std::size_t row = 0; row < Rows(); ++row) {
    if (excluded_rows_[row]) continue;
    ++count;
    const double delta = node.t[row] - mean;
    mean += delta / static_cast<double>(count);
    m2 += delta * (node.t[row] - mean);
  }
  node.score_mean = mean;
  node.score_variance = count > 1 ? m2 / static_cast<double>(count - 1) : 0.0;
}

void PCAEngine::UpdateGram(const CPCANode& node) {
  if (gram_.empty()) return;
  // X - t pᵀ has the cross-product XᵀX - p aᵀ - a pᵀ + (t't) p pᵀ with a = Xᵀt, and the
  // scores t = X p / p'p give a = XᵀX p / p'p.
  const std::size_t cols = Cols();
  const std::vector<double>& p = node.p;
  const double loading_ss = std::inner_product(p.begin(), p.end(), p.begin(), 0.0);
  const double score_ss = std::inner_product(node.t.begin(), node.t.end(), node.t.begin(), 0.0);
  if (IsTolerantZero(loading_ss)) return;
  std::vector<double> cross(cols);  // a = Xᵀt
  kernels::SymmetricMatrixVector(gram_, p, cross);
  for (double& value : cross) value /= loading_ss;
  for (std::size_t a = 0; a < cols; ++a) {
    double* row = gram_.data() + a * cols;
    for (std::size_t b = 0; b < cols; ++b) {
      row[b] += score_ss * p[a] * p[b] - p[a] * cross[b] - cross[a] * p[b];
    }
  }
}

void PCAEngine::AcceptComponent(CPCANode node) {
  const std::size_t rows = Rows();
  const std::size_t cols = Cols();
  node.component = ComponentCount() + 1;
  node.dof_cost = ComponentCost(node.component);
  node.previous_residual_ss = nodes_.empty() ? total_ss_ : nodes_.back().residual_ss;
  node.explained_ss_per_variable.assign(cols, 0.0);
  double* explained = node.explained_ss_per_variable.data();
  const double* loadings = node.p.data();
  double residual_ss = 0.0;
  if (complete_) {
    UpdateGram(node);
    // The next component is fitted ahead when it is likely to be asked for (a fixed number of
    // components stops at its count), and its scores are formed below in the same pass.
    fit_ahead_.reset();
    const int next_component = ComponentCount() + 2;
    const bool fit_ahead = UsesCrossProducts() && !gram_.empty() &&
                           next_component <= MaxComponentsAllowed() &&
                           (options_.component_mode != ComponentMode::FixedNumberOfComponents ||
                            next_component <= options_.max_components);
    FitAhead ahead;
    double ahead_divisor = 0.0;
    if (fit_ahead) {
      NIPALSScratch scratch;
      scratch.Resize(0, cols);
      ahead.p.assign(cols, 0.0);
      ahead.t.assign(rows, 0.0);
      ahead.outcome = RunNIPALSOnGram(gram_, -1, ahead.p, ahead_divisor, scratch, {});
    }
    // Every cell of a row taking part is present, so column j loses p_j² t't and the rows are
    // independent: they are deflated in parallel, and their sums of squares are added in row
    // order afterwards.
    const double score_ss = std::inner_product(node.t.begin(), node.t.end(), node.t.begin(), 0.0);
    for (std::size_t col = 0; col < cols; ++col) {
      explained[col] =
          static_cast<double>(!excluded_variables_[col]) * loadings[col] * loadings[col] * score_ss;
    }
    std::vector<double> row_residual_ss(rows);
    const auto signed_rows = static_cast<long long>(rows);
#pragma omp parallel for schedule(static) if (rows * cols > kParallelCells)
    for (long long signed_row = 0; signed_row < signed_rows; ++signed_row) {
      const auto row = static_cast<std::size_t>(signed_row);
      const double score = node.t[row];
      double* values = x_.data() + row * cols;
      const std::uint8_t* present = mask_.data() + row * cols;
      double row_ss = 0.0;
#pragma omp simd reduction(+ : row_ss)
      for (std::size_t col = 0; col < cols; ++col) {
        values[col] -= static_cast<double>(present[col]) * score * loadings[col];  // t_i p_j
        row_ss += values[col] * values[col];
      }
      row_residual_ss[row] = row_ss;
      if (fit_ahead && !IsTolerantZero(ahead_divisor)) {
        ahead.t[row] = base_row_weight_[row] * (RowProjection(values, ahead.p) / ahead_divisor);
      }
    }
    if (fit_ahead) fit_ahead_ = std::move(ahead);
    for (double row_ss : row_residual_ss) residual_ss += row_ss;
  } else {
    // The rows are deflated in fixed chunks of rows that the threads share out; each chunk sums
    // its explained SS per column apart, and the chunks and the rows' residual SS are added in
    // order afterwards.
    const std::size_t chunks = (rows + kChunkRows - 1) / kChunkRows;
    std::vector<double> chunk_explained(chunks * cols, 0.0);
    std::vector<double> row_residual_ss(rows);
    const auto signed_chunks = static_cast<long long>(chunks);
#pragma omp parallel for schedule(static) if (rows * cols > kParallelCells)
    for (long long signed_chunk = 0; signed_chunk < signed_chunks; ++signed_chunk) {
      const auto chunk = static_cast<std::size_t>(signed_chunk);
      double* chunk_ss = chunk_explained.data() + chunk * cols;
      for (std::size_t row = chunk * kChunkRows; row < std::min(rows, (chunk + 1) * kChunkRows);
           ++row) {
        const double score = node.t[row];
        double* values = x_.data() + row * cols;
        const std::uint8_t* present = mask_.data() + row * cols;
        double row_ss = 0.0;
#pragma omp simd reduction(+ : row_ss)
        for (std::size_t col = 0; col < cols; ++col) {
          const double fitted = static_cast<double>(present[col]) * score * loadings[col];
          values[col] -= fitted;
          chunk_ss[col] += fitted * fitted;
          row_ss += values[col] * values[col];
        }
        row_residual_ss[row] = row_ss;
      }
    }
    for (std::size_t chunk = 0; chunk < chunks; ++chunk) {
      for (std::size_t col = 0; col < cols; ++col) {
        explained[col] += chunk_explained[chunk * cols + col];
      }
    }
    for (double row_ss : row_residual_ss) residual_ss += row_ss;
  }
  node.residual_ss = residual_ss;
  node.cumulative_ss_explained = total_ss_ - residual_ss;
  node.ss_explained = nodes_.empty()
                          ? node.cumulative_ss_explained
                          : node.cumulative_ss_explained - nodes_.back().cumulative_ss_explained;
  if (!IsAccepted(node.state)) node.state = NodeState::kAccepted;
  node.fitted = false;
  residual_dof_ -= node.dof_cost;
  nodes_.push_back(std::move(node));
}

void PCAEngine::RemoveLastComponent() {
  if (nodes_.empty()) return;
  const CPCANode& node = nodes_.back();
  const std::size_t cols = Cols();
  for (std::size_t row = 0; row < Rows(); ++row) {
    const double score = node.t[row];
    double* values = x_.data() + row * cols;
    const std::uint8_t* present = mask_.data() + row * cols;
#pragma omp simd
    for (std::size_t col = 0; col < cols; ++col) {
      values[col] += static_cast<double>(present[col]) * score * node.p[col];
    }
  }
  residual_dof_ += node.dof_cost;
  nodes_.pop_back();
  gram_.clear();  // formed again from the restored matrix when next needed
  fit_ahead_.reset();
}

void PCAEngine::RemoveAllComponents() {
  nodes_.clear();
  candidate_ = CPCANode{};
  refusal_.reset();
  residual_dof_ = initial_dof_;
  RebuildFromScaled();
}

ComponentMode PCAEngine::EffectiveMode(ComponentMode mode) const {
  // With no cross-validation pass nothing can judge a component, so the count decides.
  const bool no_pass = SelectCrossValidationPass(options_.cross_validation_method,
                                                 options_.grouped) == CrossValidationPass::kNone;
  return mode == ComponentMode::AutoFitByCrossValidation && no_pass
             ? ComponentMode::FixedNumberOfComponents
             : mode;
}

NodeState PCAEngine::FitNextComponent(ComponentMode mode) {
  mode = EffectiveMode(mode);
  refusal_.reset();
  CPCANode node = NewNode();

  if (node.component > MaxComponentsAllowed()) {
    node.state = NodeState::kTooManyComponents;
    refusal_ = MessageId::kDegreesOfFreedomNotEnough;
  } else if (mode == ComponentMode::FixedNumberOfComponents &&
             node.component > options_.max_components) {
    node.state = NodeState::kTooManyComponents;
    refusal_ = MessageId::kNoAdditionalModel;
  } else {
    const ProgressScope progress_scope(progress_,
                                       kProgressStepsPerIteration * options_.max_iterations);
    FitComponent(node, HoldOutKind::kNone, -1, -1);
    const CrossValidationPass pass =
        SelectCrossValidationPass(options_.cross_validation_method, options_.grouped);
    switch (mode) {
      case ComponentMode::FixedNumberOfComponents:
        node.state = NodeState::kAccepted;
        break;
      case ComponentMode::EigenvalueLimit:
        if (TolerantAtLeast(options_.eigenvalue_limit, node.eigenvalue)) {
          node.state = NodeState::kEigenvalueBelowLimit;
          break;
        }
        // With the grouped option the hold-out fits of the cross-validation reuse this full fit;
        // the cross-validation then only fills the table and the eigenvalue decides.
        node.fitted = options_.grouped;
        if (pass != CrossValidationPass::kNone) {
          ComputePRESS(*this, node, pass);
          JudgeComponent(*this, node);
        }
        node.fitted = false;
        node.state = NodeState::kAccepted;
        break;
      case ComponentMode::AutoFitByCrossValidation:
        ComputePRESS(*this, node, pass);
        node.state = JudgeComponent(*this, node);
        break;
    }
    if (!IsAccepted(node.state)) refusal_ = MessageId::kNoAdditionalModel;
  }

  const NodeState state = node.state;
  if (IsAccepted(state)) {
    AcceptComponent(std::move(node));
    candidate_ = nodes_.back();
  } else {
    candidate_ = std::move(node);
  }
  return state;
}

int PCAEngine::AutoFit() {
  const ComponentMode mode = EffectiveMode(options_.component_mode);
  int added = 0;
  while (ComponentCount() < MaxComponentsAllowed()) {
    if (mode == ComponentMode::FixedNumberOfComponents &&
        ComponentCount() >= options_.max_components)
      break;
    if (!IsAccepted(FitNextComponent(mode))) break;
    ++added;
  }
  return added;
}

std::optional<MessageId> PCAEngine::RefusalMessage() const { return refusal_; }

double PCAEngine::R2X(const CPCANode& node) const {
  return IsTolerantZero(total_ss_) ? 0.0 : node.ss_explained / total_ss_;
}

double PCAEngine::R2XCumulative(const CPCANode& node) const {
  return IsTolerantZero(total_ss_) ? 0.0 : node.cumulative_ss_explained / total_ss_;
}

DMatrix PCAEngine::Scores() const {
  DMatrix scores(Rows(), nodes_.size(), kMissingValue);
  for (std::size_t row = 0; row < Rows(); ++row) {
    if (excluded_rows_[row]) continue;
    for (std::size_t a = 0; a < nodes_.size(); ++a) scores(row, a) = nodes_[a].t[row];
  }
  return scores;
}

DMatrix PCAEngine::Loadings() const {
  DMatrix loadings(nodes_.size(), Cols());
  for (std::size_t a = 0; a < nodes_.size(); ++a) {
    std::copy(nodes_[a].p.begin(), nodes_[a].p.end(), loadings.Row(a).begin());
  }
  return loadings;
}

std::vector<double> PCAEngine::ScoreStandardDeviations() const {
  std::vector<double> deviations;
  deviations.reserve(nodes_.size());
  for (const CPCANode& node : nodes_) deviations.push_back(std::sqrt(node.score_variance));
  return deviations;
}

}  // namespace mspc
