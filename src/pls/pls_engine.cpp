#include "pls/pls_engine.hpp"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cmath>
#include <string>
#include <utility>

#include "host/errors.hpp"
#include "host/progress.hpp"
#include "models/cross_product.hpp"
#include "models/fit_support_internal.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"
#include "pca/pca_engine.hpp"
#include "pls/pls_validation.hpp"

namespace mspc {

// Work vectors of the masked kernels for one fit: one set sized for X and one for Y.
struct PLSScratch {
  NIPALSScratch x;
  NIPALSScratch y;

  PLSScratch(std::size_t rows, std::size_t x_cols, std::size_t y_cols) {
    x.Resize(rows, x_cols);
    y.Resize(rows, y_cols);
  }
};

namespace {

// The constants of the cross-validated test: a dependent column predicts when |Q²_k| reaches
// kColumnQ2Threshold, and a component's Q² is negligible below kNegligibleQ2.
constexpr double kColumnQ2Threshold = 0.03;
constexpr double kNegligibleQ2 = 0.01;

int CountIncluded(const std::vector<bool>& excluded) {
  return static_cast<int>(std::count(excluded.begin(), excluded.end(), false));
}

// Below this many cells a pass over the rows runs on the calling thread.
constexpr std::size_t kParallelCells = 1 << 16;
// The passes that sum over rows do so in fixed chunks of rows: each chunk adds its rows in
// order and the chunks are added in order, whatever the number of threads.
constexpr std::size_t kChunkRows = 256;

// Scales of zero (within the tolerance) leave the centred cells as they are: they become 1, so
// that scaling back is the same operation.
BlockScaling EffectiveScaling(BlockScaling scaling) {
  for (double& scale : scaling.scale) {
    if (IsTolerantZero(scale) || !std::isfinite(scale)) scale = 1.0;
  }
  return scaling;
}

BlockScaling IdentityScaling(std::size_t cols) {
  return {std::vector<double>(cols, 0.0), std::vector<double>(cols, 1.0)};
}

void NormaliseLength(std::span<double> values) {
  double ss = 0.0;
#pragma omp simd reduction(+ : ss)
  for (std::size_t index = 0; index < values.size(); ++index) ss += values[index] * values[index];
  const double norm = std::sqrt(ss);
  // A zero vector has no direction to keep; it stays zero.
  if (IsTolerantZero(norm)) return;
  for (double& value : values) value /= norm;
}

// sum_i a_i b_i over every row; rows that take no part hold 0 in one of the vectors.
double Dot(std::span<const double> a, std::span<const double> b) {
  double sum = 0.0;
#pragma omp simd reduction(+ : sum)
  for (std::size_t index = 0; index < a.size(); ++index) sum += a[index] * b[index];
  return sum;
}

// Divide unless the divisor is zero within the tolerance; then the numerator stands.
double DivideOrKeep(double numerator, double denominator) {
  return IsTolerantZero(denominator) ? numerator : numerator / denominator;
}

// x · direction along one row of `cols` values. Long rows are summed in 32 interleaved partial
// sums (a single running sum would wait on every addition), which are then added pairwise; the
// order is fixed by the length alone.
double RowProjection(const double* values, const double* direction, std::size_t cols) {
  constexpr std::size_t kWidth = 32;
  double sum = 0.0;
  std::size_t col = 0;
  if (cols >= kWidth) {
    double partial[kWidth] = {};
    for (; col + kWidth <= cols; col += kWidth) {
#pragma omp simd
      for (std::size_t lane = 0; lane < kWidth; ++lane) {
        partial[lane] += values[col + lane] * direction[col + lane];
      }
    }
    for (std::size_t half = kWidth / 2; half > 0; half /= 2) {
#pragma omp simd
      for (std::size_t lane = 0; lane < half; ++lane) partial[lane] += partial[lane + half];
    }
    sum = partial[0];
  }
  for (; col < cols; ++col) sum += values[col] * direction[col];
  return sum;
}

// values_j -= score · loadings_j along one row: one case deflated by one component. On complete
// data every cell of a row taking part is present, and the cells that take no part hold 0 with
// a score or loading of exactly 0, so no mask is needed.
void DeflateRow(double* values, std::size_t cols, double score, const double* loadings) {
#pragma omp simd
  for (std::size_t col = 0; col < cols; ++col) values[col] -= score * loadings[col];
}

// What a complete-data deflation by (factor · scores) loadingsᵀ removes: column j loses
// (factor · loading_j)² t't.
void ExplainedByScores(std::span<const double> scores,
                       double factor,
                       std::span<const double> loadings,
                       std::vector<double>& column_ss,
                       double& total_ss) {
  const double score_ss = factor * factor * Dot(scores, scores);
  column_ss.assign(loadings.size(), 0.0);
  double total = 0.0;
  for (std::size_t col = 0; col < loadings.size(); ++col) {
    column_ss[col] = loadings[col] * loadings[col] * score_ss;
    total += column_ss[col];
  }
  total_ss = total;
}

// Whether every cell of the non-excluded rows and columns takes part.
bool IsComplete(const std::vector<std::uint8_t>& mask, int active_rows, int active_columns) {
  const auto present = static_cast<std::int64_t>(std::count(mask.begin(), mask.end(), 1));
  return present == static_cast<std::int64_t>(active_rows) * active_columns;
}

// Fill with the cross-products of the selected rows (sized to the blocks' widths; a product
// already of that size is reused without allocating), all three from one pass over the data.
void FormProducts(const DMatrix& x,
                  const DMatrix& y,
                  kernels::RowSelection selection,
                  PLSCrossProducts& products) {
  const std::size_t x_cols = x.cols();
  const std::size_t y_cols = y.cols();
  const std::size_t width = x_cols + y_cols;
  std::vector<double> joint(width * width, 0.0);
  kernels::AddJointGram(x, y, selection, joint);
  products.xx.resize(x_cols * x_cols);
  products.yx.resize(y_cols * x_cols);
  products.yy.resize(y_cols * y_cols);
  for (std::size_t a = 0; a < x_cols; ++a) {
    std::copy_n(joint.data() + a * width, x_cols, products.xx.data() + a * x_cols);
  }
  for (std::size_t col = 0; col < y_cols; ++col) {
    const double* joint_row = joint.data() + (x_cols + col) * width;
    std::copy_n(joint_row, x_cols, products.yx.data() + col * x_cols);
    std::copy_n(joint_row + x_cols, y_cols, products.yy.data() + col * y_cols);
  }
}

// whole - part, entry by entry, into `out` (all three already sized alike).
void SubtractProducts(const PLSCrossProducts& whole,
                      const PLSCrossProducts& part,
                      PLSCrossProducts& out) {
  const auto subtract =
      [](const std::vector<double>& a, const std::vector<double>& b, std::vector<double>& result) {
        for (std::size_t index = 0; index < a.size(); ++index) result[index] = a[index] - b[index];
      };
  subtract(whole.xx, part.xx, out.xx);
  subtract(whole.yx, part.yx, out.yx);
  subtract(whole.yy, part.yy, out.yy);
}

}  // namespace

std::optional<MessageId> PLSFitOptions::Validate() const {
  if (max_iterations < kMinIterations || max_iterations > kMaxIterations) {
    return MessageId::kMaxIterationsOutOfRange;
  }
  if (!TolerantAtLeast(convergence, 0.0) || !TolerantAtMost(convergence, 1.0)) {
    return MessageId::kConvergenceCriterionOutOfRange;
  }
  if (cross_validation && folds < 2) return MessageId::kFoldsBelowTwo;
  return std::nullopt;
}

int MaxPLSComponents(int rows, int x_columns, std::int64_t initial_dof) {
  const int count_bound = std::max(0, std::min(rows, x_columns));
  std::int64_t budget = initial_dof;
  int affordable = 0;  // J
  // Past min(N, P) the answer no longer depends on J, so the count stops there.
  for (int component = 1; component <= count_bound; ++component) {
    if (budget < 0) break;
    budget -= static_cast<std::int64_t>(rows) + x_columns - 2 * std::int64_t{component};
    affordable = component;
  }
  return std::min(count_bound, affordable);
}

bool TestPLSComponent(CPLSNode& node,
                      const CPLSNode* previous,
                      std::span<const double> y_column_ss,
                      const std::vector<bool>& excluded_y_columns,
                      int auto_fit_limit) {
  const double press_ratio = DivideOrKeep(node.press_y, node.remaining_ss_y);
  node.q2 = 1.0 - press_ratio;
  node.q2_cumulative =
      previous == nullptr ? node.q2 : 1.0 - (1.0 - previous->q2_cumulative) * press_ratio;
  node.q2_limit = 0.0;

  const bool beyond_auto_limit = node.component > auto_fit_limit;
  if (beyond_auto_limit) node.status = PLSStatus::kBeyondAutoFitLimit;
  if (TolerantGreater(node.q2, 0.0)) {
    if (!beyond_auto_limit) node.status = PLSStatus::kAccepted;
    return true;
  }

  // Q² does not speak for the component: look at the dependent columns one by one. Their
  // reference is what the previous component explained in each, not the remaining SS.
  int substantial = 0;  // c1: |Q²_k| >= 0.03
  int predicting = 0;   // c2: Q²_k >= 0
  const std::vector<double> column_q2 = ColumnQ2(node, previous, y_column_ss, excluded_y_columns);
  for (std::size_t col = 0; col < column_q2.size(); ++col) {
    if (!excluded_y_columns.empty() && excluded_y_columns[col]) continue;
    if (TolerantAtLeast(std::fabs(column_q2[col]), kColumnQ2Threshold)) ++substantial;
    if (TolerantAtLeast(column_q2[col], 0.0)) ++predicting;
  }
  // A component above Kauto is rejected whatever its columns say. (It is marked -6 above, so
  // the rule's last case, -3 for a component above Kauto, has nothing left to mark.)
  if (beyond_auto_limit) return false;
  if (predicting >= 1) {
    node.status = PLSStatus::kAcceptedBySingleDependent;
    return true;
  }
  if (TolerantLess(std::fabs(node.q2), kNegligibleQ2) && substantial == 0) {
    node.status = PLSStatus::kNotSignificant;
    return false;
  }
  // Rejected, the status stays undecided.
  return false;
}

void PLSEngine::SetOptions(const PLSFitOptions& options) {
  // The cross-products depend on the data alone; they are dropped only when the option that
  // uses them changes (they are not kept up to date while it is off).
  if (options.cross_products != options_.cross_products) products_.reset();
  options_ = options;
  folds_.reset();
}

void PLSEngine::CenterAndScale(const DMatrix& raw_x,
                               const DMatrix& raw_y,
                               BlockScaling x_scaling,
                               BlockScaling y_scaling,
                               PLSExclusions exclusions) {
  assert(raw_x.rows() == raw_y.rows());
  x_scaling_ = EffectiveScaling(std::move(x_scaling));
  y_scaling_ = EffectiveScaling(std::move(y_scaling));
  Load(raw_x, raw_y, std::move(exclusions));
}

void PLSEngine::LoadScaled(DMatrix x, DMatrix y, PLSExclusions exclusions) {
  assert(x.rows() == y.rows());
  x_scaling_ = IdentityScaling(x.cols());
  y_scaling_ = IdentityScaling(y.cols());
  Load(x, y, std::move(exclusions));
}

void PLSEngine::Load(const DMatrix& raw_x, const DMatrix& raw_y, PLSExclusions exclusions) {
  const std::size_t rows = raw_x.rows();
  excluded_rows_ = ExclusionOrNone(std::move(exclusions.rows), rows);
  excluded_x_columns_ = ExclusionOrNone(std::move(exclusions.x_columns), raw_x.cols());
  excluded_y_columns_ = ExclusionOrNone(std::move(exclusions.y_columns), raw_y.cols());
  active_rows_ = CountIncluded(excluded_rows_);
  active_x_columns_ = CountIncluded(excluded_x_columns_);
  active_y_columns_ = CountIncluded(excluded_y_columns_);

  base_row_weight_.assign(rows, 0.0);
  for (std::size_t row = 0; row < rows; ++row) {
    if (!excluded_rows_[row]) base_row_weight_[row] = 1.0;
  }

  // One pass over a block makes its scaled copy, (raw - mean) / scale with not-a-number for the
  // cells that are missing, not finite or scale to a value that is not finite; its working
  // matrix and mask; and its column sums of squares.
  const auto load_block = [this, rows](const DMatrix& raw,
                                       const BlockScaling& scaling,
                                       const std::vector<bool>& excluded_columns,
                                       DMatrix& scaled,
                                       DMatrix& working,
                                       std::vector<std::uint8_t>& mask,
                                       std::vector<double>& column_ss,
                                       double& total_ss) {
    assert(scaling.mean.size() == raw.cols() && scaling.scale.size() == raw.cols());
    const std::size_t cols = raw.cols();
    std::vector<std::uint8_t> included(cols);
    for (std::size_t col = 0; col < cols; ++col) included[col] = excluded_columns[col] ? 0 : 1;
    scaled = DMatrix::Unfilled(rows, cols);
    working = DMatrix::Unfilled(rows, cols);
    mask.resize(rows * cols);
    const double* mean = scaling.mean.data();
    const double* scale = scaling.scale.data();
    const std::size_t chunks = (rows + kChunkRows - 1) / kChunkRows;
    std::vector<double> chunk_column_ss(chunks * cols, 0.0);
    const auto signed_chunks = static_cast<long long>(chunks);
#pragma omp parallel for schedule(static) if (rows * cols > kParallelCells)
    for (long long signed_chunk = 0; signed_chunk < signed_chunks; ++signed_chunk) {
      const auto chunk = static_cast<std::size_t>(signed_chunk);
      double* sums = chunk_column_ss.data() + chunk * cols;
      for (std::size_t row = chunk * kChunkRows; row < std::min(rows, (chunk + 1) * kChunkRows);
           ++row) {
        const double* values = raw.data() + row * cols;
        double* scaled_values = scaled.data() + row * cols;
        std::uint8_t* present = mask.data() + row * cols;
        double* target = working.data() + row * cols;
        const std::uint8_t row_included = excluded_rows_[row] ? 0 : 1;
        for (std::size_t col = 0; col < cols; ++col) {
          // Without branches, so that the pass vectorises: v - v is 0 exactly when v is finite.
          const double centred = (values[col] - mean[col]) / scale[col];
          const bool finite = centred - centred == 0.0;
          const bool valid = (included[col] & row_included) != 0 && finite;
          scaled_values[col] = finite ? centred : kMissingValue;
          present[col] = static_cast<std::uint8_t>(valid);
          const double value = valid ? centred : 0.0;
          target[col] = value;
          sums[col] += value * value;
        }
      }
    }
    // The total is the sum of the column totals (a running sum along each row would keep the
    // pass from using the vector units).
    column_ss.assign(cols, 0.0);
    for (std::size_t chunk = 0; chunk < chunks; ++chunk) {
      for (std::size_t col = 0; col < cols; ++col)
        column_ss[col] += chunk_column_ss[chunk * cols + col];
    }
    total_ss = 0.0;
    for (double ss : column_ss) total_ss += ss;
  };
  load_block(
      raw_x, x_scaling_, excluded_x_columns_, scaled_x_, x_, x_mask_, x_column_ss_, total_ss_x_);
  load_block(
      raw_y, y_scaling_, excluded_y_columns_, scaled_y_, y_, y_mask_, y_column_ss_, total_ss_y_);

  complete_ = IsComplete(x_mask_, active_rows_, active_x_columns_) &&
              IsComplete(y_mask_, active_rows_, active_y_columns_);
  initial_dof_ = static_cast<std::int64_t>(active_rows_) * active_x_columns_;
  max_components_ = MaxPLSComponents(active_rows_, active_x_columns_, initial_dof_);
  auto_fit_limit_ = std::min(active_rows_ / 2, active_x_columns_ / 2);
  folds_.reset();
  ClearComponents();  // the working matrices are the ones just built
}

void PLSEngine::RestoreWorkingMatrices() {
  const auto restore = [](const DMatrix& scaled, const std::vector<std::uint8_t>& mask) {
    const std::size_t cols = scaled.cols();
    DMatrix working(scaled.rows(), cols);
    const auto rows = static_cast<long long>(scaled.rows());
#pragma omp parallel for schedule(static) if (scaled.rows() * cols > kParallelCells)
    for (long long signed_row = 0; signed_row < rows; ++signed_row) {
      const auto row = static_cast<std::size_t>(signed_row);
      const double* values = scaled.data() + row * cols;
      const std::uint8_t* present = mask.data() + row * cols;
      double* target = working.data() + row * cols;
      for (std::size_t col = 0; col < cols; ++col)
        target[col] = present[col] != 0 ? values[col] : 0.0;
    }
    return working;
  };
  x_ = restore(scaled_x_, x_mask_);
  y_ = restore(scaled_y_, y_mask_);
}

bool PLSEngine::IsYMissing(std::size_t row, std::size_t col) const {
  return IsMissing(scaled_y_(row, col));
}

std::int64_t PLSEngine::ComponentCost(int component) const {
  return static_cast<std::int64_t>(active_rows_) + active_x_columns_ - 2 * std::int64_t{component};
}

const FoldPlan& PLSEngine::Folds() const {
  if (!folds_) {
    folds_ = PlanFolds(Rows(), options_.folds, options_.random_folds, options_.seed, random_);
  }
  return *folds_;
}

CPLSNode PLSEngine::NewNode() const {
  CPLSNode node;
  node.component = ComponentCount() + 1;
  node.dof_at_creation = dof_;
  node.dof_cost = ComponentCost(node.component);
  if (nodes_.empty()) {
    node.remaining_ss_x = total_ss_x_;
    node.remaining_ss_y = total_ss_y_;
  } else {
    const CPLSNode& previous = nodes_.back();
    node.remaining_ss_x = previous.remaining_ss_x - previous.explained_ss_x;
    node.remaining_ss_y = previous.remaining_ss_y - previous.explained_ss_y;
  }
  node.t.assign(Rows(), 0.0);
  node.u.assign(Rows(), 0.0);
  node.p.assign(XCols(), 0.0);
  node.w.assign(XCols(), 0.0);
  node.q.assign(YCols(), 0.0);
  node.press_x_per_column.assign(XCols(), CPLSNode::kNotComputed);
  node.press_y_per_column.assign(YCols(), CPLSNode::kNotComputed);
  node.explained_ss_x_per_column.assign(XCols(), 0.0);
  node.explained_ss_y_per_column.assign(YCols(), 0.0);
  return node;
}

void PLSEngine::StartVector(std::span<const double> row_weight,
                            CPLSNode& node,
                            PLSScratch& scratch) const {
  const std::size_t rows = Rows();
  const std::size_t cols = YCols();
  // Sum of squares of every Y column over the valid rows: cells that take no part hold 0.
  std::vector<double>& column_ss = scratch.y.numerator;
  std::fill(column_ss.begin(), column_ss.end(), 0.0);
  for (std::size_t row = 0; row < rows; ++row) {
    const double weight = row_weight[row];
    const double* values = y_.data() + row * cols;
    for (std::size_t col = 0; col < cols; ++col) {
      column_ss[col] += weight * values[col] * values[col];
    }
  }
  // The largest sum starts; a later column must exceed the best by the slack to replace it,
  // so ties (all zero included) keep the earlier column.
  std::optional<std::size_t> start;
  for (std::size_t col = 0; col < cols; ++col) {
    if (excluded_y_columns_[col]) continue;
    if (!start || TolerantGreater(column_ss[col], column_ss[*start])) start = col;
  }
  std::fill(node.u.begin(), node.u.end(), 0.0);
  if (start) {
    for (std::size_t row = 0; row < rows; ++row) node.u[row] = row_weight[row] * y_(row, *start);
  }
  node.iterations = 1;
  node.lambda = -1.0;
}

bool PLSEngine::RunNIPALS(std::span<const double> row_weight,
                          CPLSNode& node,
                          const PassPoll& poll) const {
  PLSScratch scratch(Rows(), XCols(), YCols());
  return RunNIPALS(row_weight, node, scratch, poll);
}

bool PLSEngine::RunNIPALS(std::span<const double> row_weight,
                          CPLSNode& node,
                          PLSScratch& scratch,
                          const PassPoll& poll) const {
  assert(row_weight.size() == Rows() && node.t.size() == Rows() && node.u.size() == Rows());
  assert(node.w.size() == XCols() && node.p.size() == XCols() && node.q.size() == YCols());
  StartVector(row_weight, node, scratch);
  std::fill(node.t.begin(), node.t.end(), 0.0);
  std::fill(node.w.begin(), node.w.end(), 0.0);
  std::fill(node.p.begin(), node.p.end(), 0.0);
  std::fill(node.q.begin(), node.q.end(), 0.0);
  node.b = 0.0;

  const bool single_dependent = active_y_columns_ == 1;
  const int divisor = active_rows_ - 1;  // N - 1
  while (true) {
    // w_j = sum_i x_ij u_i / sum_i u_i^2 over the rows where x_ij takes part, then unit length.
    nipals::LoadingStep(x_, x_mask_, node.u, -1, node.w, scratch.x);
    NormaliseLength(node.w);
    // t_i = sum_j x_ij w_j / sum_j w_j^2 over the cells of row i that take part.
    nipals::ScoreStep(x_, x_mask_, node.w, row_weight, node.t, scratch.x);

    const double score_ss = Dot(node.t, node.t);  // t't; rows left out have t_i = 0
    const double lambda = divisor > 0 ? score_ss / divisor : score_ss;
    bool converged = TolerantLess(std::fabs(lambda - node.lambda), lambda * options_.convergence);
    node.lambda = lambda;

    if (single_dependent) {
      // With one dependent column q is 1 and u stays that column: one pass is the answer.
      for (std::size_t col = 0; col < YCols(); ++col) {
        node.q[col] = excluded_y_columns_[col] ? 0.0 : 1.0;
      }
      converged = true;
    } else {
      // q_k = sum_i y_ik t_i / sum_i t_i^2 over the rows where y_ik takes part, unit length;
      // u_i = sum_k y_ik q_k / sum_k q_k^2 over the cells of row i that take part.
      nipals::LoadingStep(y_, y_mask_, node.t, -1, node.q, scratch.y);
      NormaliseLength(node.q);
      nipals::ScoreStep(y_, y_mask_, node.q, row_weight, node.u, scratch.y);
    }

    if (poll && poll(node.iterations)) return false;
    if (converged || node.iterations >= options_.max_iterations) break;
    ++node.iterations;
  }

  // p_j = sum_i x_ij t_i / sum_i t_i^2 over the rows where x_ij takes part; b = u't / t't.
  nipals::LoadingStep(x_, x_mask_, node.t, -1, node.p, scratch.x);
  node.b = DivideOrKeep(Dot(node.u, node.t), Dot(node.t, node.t));
  return true;
}

const PLSCrossProducts& PLSEngine::CurrentProducts() const {
  if (!products_) {
    PLSCrossProducts products;
    FormProducts(x_, y_, {}, products);
    products_ = std::move(products);
  }
  return *products_;
}

bool PLSEngine::RunNIPALSOnProducts(const PLSCrossProducts& products,
                                    std::span<const double> row_weight,
                                    CPLSNode& node,
                                    bool fill_scores,
                                    std::vector<double>& y_coefficients,
                                    const PassPoll& poll) const {
  const std::size_t x_cols = XCols();
  const std::size_t y_cols = YCols();
  std::fill(node.t.begin(), node.t.end(), 0.0);
  std::fill(node.u.begin(), node.u.end(), 0.0);
  std::fill(node.w.begin(), node.w.end(), 0.0);
  std::fill(node.p.begin(), node.p.end(), 0.0);
  std::fill(node.q.begin(), node.q.end(), 0.0);
  node.b = 0.0;
  node.iterations = 1;
  node.lambda = -1.0;

  // u = Y v throughout: first the start column (the largest sum of squares, ties to the
  // earlier), then Y q / q'q.
  std::vector<double>& v = y_coefficients;
  v.assign(y_cols, 0.0);
  std::optional<std::size_t> start;
  for (std::size_t col = 0; col < y_cols; ++col) {
    if (excluded_y_columns_[col]) continue;
    if (!start ||
        TolerantGreater(products.yy[col * y_cols + col], products.yy[*start * y_cols + *start])) {
      start = col;
    }
  }
  if (start) v[*start] = 1.0;

  std::vector<double> y_scores_product(y_cols);  // Yᵀt · (w'w) = YᵀX w
  const bool single_dependent = active_y_columns_ == 1;
  const int divisor = active_rows_ - 1;  // N - 1
  double weight_ss = 0.0;                // w'w
  double score_ss = 0.0;                 // t't = wᵀXᵀXw / (w'w)²
  while (true) {
    // w_j = (Xᵀu)_j / u'u with Xᵀu = XᵀY v, then unit length.
    const double u_ss = kernels::QuadraticForm(products.yy, v);
    if (IsTolerantZero(u_ss)) {
      std::fill(node.w.begin(), node.w.end(), 0.0);
    } else {
      // w = (YᵀX)ᵀ v / u'u, one row of YᵀX at a time.
      std::fill(node.w.begin(), node.w.end(), 0.0);
      for (std::size_t col = 0; col < y_cols; ++col) {
        const double* yx = products.yx.data() + col * x_cols;
        const double scale = v[col];
        for (std::size_t row = 0; row < x_cols; ++row) node.w[row] += yx[row] * scale;
      }
      for (double& weight : node.w) weight /= u_ss;
      NormaliseLength(node.w);
    }
    // t = X w / w'w, so t't = wᵀXᵀXw / (w'w)².
    weight_ss = Dot(node.w, node.w);
    score_ss = IsTolerantZero(weight_ss)
                   ? 0.0
                   : kernels::QuadraticForm(products.xx, node.w) / (weight_ss * weight_ss);
    const double lambda = divisor > 0 ? score_ss / divisor : score_ss;
    bool converged = TolerantLess(std::fabs(lambda - node.lambda), lambda * options_.convergence);
    node.lambda = lambda;

    for (std::size_t col = 0; col < y_cols; ++col) {
      y_scores_product[col] = Dot({products.yx.data() + col * x_cols, x_cols}, node.w);
    }
    if (single_dependent) {
      for (std::size_t col = 0; col < y_cols; ++col) {
        node.q[col] = excluded_y_columns_[col] ? 0.0 : 1.0;
      }
      converged = true;
    } else {
      // q_k = (Yᵀt)_k / t't, unit length; then u = Y q / q'q.
      for (std::size_t col = 0; col < y_cols; ++col) {
        node.q[col] = IsTolerantZero(score_ss) ? 0.0 : y_scores_product[col] / weight_ss / score_ss;
      }
      NormaliseLength(node.q);
      const double q_ss = Dot(node.q, node.q);
      for (std::size_t col = 0; col < y_cols; ++col) {
        v[col] = IsTolerantZero(q_ss) ? 0.0 : node.q[col] / q_ss;
      }
    }

    if (poll && poll(node.iterations)) return false;
    if (converged || node.iterations >= options_.max_iterations) break;
    ++node.iterations;
  }

  // p = Xᵀt / t't = XᵀX w / (w'w · t't); b = u't / t't with u't = vᵀYᵀX w / w'w.
  if (!IsTolerantZero(score_ss)) {
    kernels::SymmetricMatrixVector(products.xx, node.w, node.p);
    for (double& loading : node.p) loading /= weight_ss * score_ss;
  }
  double cross = 0.0;  // u't
  if (!IsTolerantZero(weight_ss)) {
    for (std::size_t col = 0; col < y_cols; ++col) cross += v[col] * y_scores_product[col];
    cross /= weight_ss;
  }
  node.b = DivideOrKeep(cross, score_ss);
  if (!fill_scores) return true;

  // The scores of every case taking part, row by row (each row's sums in column order).
  const auto rows = static_cast<long long>(Rows());
  const bool parallel = Rows() * x_cols > kParallelCells;
  const double t_divisor = IsTolerantZero(weight_ss) ? 0.0 : 1.0 / weight_ss;
#pragma omp parallel for schedule(static) if (parallel)
  for (long long signed_row = 0; signed_row < rows; ++signed_row) {
    const auto row = static_cast<std::size_t>(signed_row);
    node.t[row] = row_weight[row] *
                  (RowProjection(x_.data() + row * x_cols, node.w.data(), x_cols) * t_divisor);
    node.u[row] =
        row_weight[row] * RowProjection(y_.data() + row * y_cols, y_coefficients.data(), y_cols);
  }
  return true;
}

void PLSEngine::UpdateProducts(const CPLSNode& node) {
  if (!products_) return;
  // Deflation takes t pᵀ out of X and b t qᵀ out of Y. With p = Xᵀt / t't the cross-products
  // follow by rank-one terms: XᵀX - (t't) p pᵀ, YᵀX - (Yᵀt) pᵀ and
  // YᵀY - b q (Yᵀt)ᵀ - b (Yᵀt) qᵀ + b² (t't) q qᵀ, with Yᵀt of Y before the deflation. The node
  // was fitted on these very products, so t = X w / w'w gives t't = wᵀXᵀXw / (w'w)² and
  // Yᵀt = YᵀX w / w'w without a pass over the data (the same figures the iteration formed).
  PLSCrossProducts& products = *products_;
  const std::size_t x_cols = XCols();
  const std::size_t y_cols = YCols();
  const double weight_ss = Dot(node.w, node.w);
  if (IsTolerantZero(weight_ss)) return;  // t = 0 deflates nothing
  const double score_ss = kernels::QuadraticForm(products.xx, node.w) / (weight_ss * weight_ss);
  std::vector<double> y_scores(y_cols, 0.0);  // Yᵀt
  for (std::size_t col = 0; col < y_cols; ++col) {
    y_scores[col] = Dot({products.yx.data() + col * x_cols, x_cols}, node.w) / weight_ss;
  }
  for (std::size_t a = 0; a < x_cols; ++a) {
    for (std::size_t b = 0; b < x_cols; ++b) {
      products.xx[a * x_cols + b] -= score_ss * node.p[a] * node.p[b];
    }
    for (std::size_t col = 0; col < y_cols; ++col) {
      products.yx[col * x_cols + a] -= node.p[a] * y_scores[col];
    }
  }
  for (std::size_t a = 0; a < y_cols; ++a) {
    for (std::size_t b = 0; b < y_cols; ++b) {
      products.yy[a * y_cols + b] += -node.b * node.q[a] * y_scores[b] -
                                     node.b * y_scores[a] * node.q[b] +
                                     node.b * node.b * score_ss * node.q[a] * node.q[b];
    }
  }
}

PLSEngine::PassPoll PLSEngine::AllCasesPoll() const {
  if (progress_ == nullptr) return {};
  return [this](int pass) {
    progress_->SetPosition(pass);
    return progress_->CancelRequested();
  };
}

void PLSEngine::FitOnAllCases(CPLSNode& node) const {
  const PassPoll poll = AllCasesPoll();
  std::vector<double> y_coefficients;
  const bool finished =
      UsesCrossProducts()
          ? RunNIPALSOnProducts(
                CurrentProducts(), base_row_weight_, node, true, y_coefficients, poll)
          : RunNIPALS(base_row_weight_, node, poll);
  if (!finished) throw UserAbort();
  node.fitted = true;
}

void PLSEngine::CrossValidate(CPLSNode& node) const {
  const std::size_t rows = Rows();
  const std::size_t x_cols = XCols();
  const std::size_t y_cols = YCols();
  const FoldPlan& plan = Folds();
  const auto fold_count = static_cast<std::size_t>(plan.folds);

  // The non-excluded rows of every fold, and the progress line of each.
  std::vector<std::vector<std::size_t>> fold_rows(fold_count);
  for (std::size_t row = 0; row < rows; ++row) {
    if (!excluded_rows_[row]) fold_rows[plan.fold[row] - 1u].push_back(row);
  }
  std::vector<std::string> captions;
  captions.reserve(fold_count);
  for (int fold = 1; fold <= plan.folds; ++fold) {
    captions.push_back(FormatMessage(MessageId::kCrossValidationFold, node.component, fold));
  }

  // Each fold writes only its own sums; they are added in fold order afterwards.
  DMatrix press_x(fold_count, x_cols);
  DMatrix press_y(fold_count, y_cols);
  std::vector<double> fold_press_x(fold_count, 0.0);
  std::vector<double> fold_press_y(fold_count, 0.0);

  // Every buffer is allocated before the parallel region, which must not throw.
  struct FoldBuffers {
    CPLSNode node;
    std::vector<double> row_weight;
    PLSScratch scratch;
    PLSCrossProducts held_out;  // complete data: the products of the fold's rows
    PLSCrossProducts kept;      // and those of the rows the fold fits on
    std::vector<double> y_coefficients;
  };
  // On complete data each fold fits on the whole data's cross-products less its own.
  const PLSCrossProducts* whole = UsesCrossProducts() ? &CurrentProducts() : nullptr;
  std::vector<FoldBuffers> buffers;
  const auto thread_count = static_cast<std::size_t>(std::max(1, omp_get_max_threads()));
  buffers.reserve(thread_count);
  for (std::size_t thread = 0; thread < thread_count; ++thread) {
    buffers.push_back({NewNode(),
                       std::vector<double>(rows),
                       PLSScratch(rows, x_cols, y_cols),
                       {},
                       {},
                       std::vector<double>(y_cols)});
    if (whole != nullptr) {
      buffers.back().held_out = *whole;
      buffers.back().kept = *whole;
    }
  }

  // The host's progress bar belongs to the calling thread (thread 0 of the region): only it
  // shows captions and polls; a cancel stops the other folds through the shared flag. The
  // first fold's caption and poll come before the region, so a pending cancel is always seen.
  if (progress_ != nullptr && fold_count > 0) {
    progress_->SetCaption(captions.front());
    if (progress_->CancelRequested()) throw UserAbort();
  }
  std::atomic<bool> cancelled{false};
  const PassPoll poll = [this, &cancelled](int pass) {
    if (progress_ != nullptr && omp_get_thread_num() == 0) {
      progress_->SetPosition(pass);
      if (progress_->CancelRequested()) cancelled.store(true, std::memory_order_relaxed);
    }
    return cancelled.load(std::memory_order_relaxed);
  };

  const auto signed_fold_count = static_cast<long long>(fold_count);
#pragma omp parallel for schedule(dynamic, 1)
  for (long long fold_index = 0; fold_index < signed_fold_count; ++fold_index) {
    if (cancelled.load(std::memory_order_relaxed)) continue;
    const auto fold = static_cast<std::size_t>(fold_index);
    // An empty fold predicts nothing and adds nothing.
    if (fold_rows[fold].empty()) continue;
    const auto thread = static_cast<std::size_t>(omp_get_thread_num());
    assert(thread < buffers.size());
    FoldBuffers& buffer = buffers[thread];
    if (progress_ != nullptr && thread == 0 && fold > 0) {
      progress_->SetCaption(captions[fold]);
      if (progress_->CancelRequested()) cancelled.store(true, std::memory_order_relaxed);
    }

    std::copy(base_row_weight_.begin(), base_row_weight_.end(), buffer.row_weight.begin());
    for (std::size_t row : fold_rows[fold]) buffer.row_weight[row] = 0.0;
    bool finished = false;
    if (whole != nullptr) {
      // The buffers are sized already: refilling them allocates nothing.
      FormProducts(x_, y_, {fold_rows[fold]}, buffer.held_out);
      SubtractProducts(*whole, buffer.held_out, buffer.kept);
      finished = RunNIPALSOnProducts(
          buffer.kept, buffer.row_weight, buffer.node, false, buffer.y_coefficients, poll);
    } else {
      finished = RunNIPALS(buffer.row_weight, buffer.node, buffer.scratch, poll);
    }
    if (!finished) continue;

    // The held-out rows are scored with the fold's loadings p and no division (not with the
    // weights w): t^_i = sum_j x_ij p_j. Their residuals e = x - t^ p and f = y - t^ b q are
    // the prediction errors.
    const CPLSNode& fit = buffer.node;
    const std::span<double> column_press_x = press_x.Row(fold);
    const std::span<double> column_press_y = press_y.Row(fold);
    double total_x = 0.0;
    double total_y = 0.0;
    for (std::size_t row : fold_rows[fold]) {
      const double* x_values = x_.data() + row * x_cols;
      const std::uint8_t* x_present = x_mask_.data() + row * x_cols;
      double score = 0.0;  // t^_i
#pragma omp simd reduction(+ : score)
      for (std::size_t col = 0; col < x_cols; ++col) score += x_values[col] * fit.p[col];

      double row_x = 0.0;
#pragma omp simd reduction(+ : row_x)
      for (std::size_t col = 0; col < x_cols; ++col) {
        const double error =
            static_cast<double>(x_present[col]) * (x_values[col] - score * fit.p[col]);
        column_press_x[col] += error * error;
        row_x += error * error;
      }
      total_x += row_x;

      const double* y_values = y_.data() + row * y_cols;
      const std::uint8_t* y_present = y_mask_.data() + row * y_cols;
      const double fitted_y = score * fit.b;  // t^_i b
      double row_y = 0.0;
      for (std::size_t col = 0; col < y_cols; ++col) {
        const double error =
            static_cast<double>(y_present[col]) * (y_values[col] - fitted_y * fit.q[col]);
        column_press_y[col] += error * error;
        row_y += error * error;
      }
      total_y += row_y;
    }
    fold_press_x[fold] = total_x;
    fold_press_y[fold] = total_y;
  }
  if (cancelled.load()) throw UserAbort();

  node.press_x = 0.0;
  node.press_y = 0.0;
  node.press_x_per_column.assign(x_cols, 0.0);
  node.press_y_per_column.assign(y_cols, 0.0);
  for (std::size_t fold = 0; fold < fold_count; ++fold) {
    node.press_x += fold_press_x[fold];
    node.press_y += fold_press_y[fold];
    for (std::size_t col = 0; col < x_cols; ++col)
      node.press_x_per_column[col] += press_x(fold, col);
    for (std::size_t col = 0; col < y_cols; ++col)
      node.press_y_per_column[col] += press_y(fold, col);
  }
}

bool PLSEngine::TestComponent(CPLSNode& node) const {
  const CPLSNode* previous = nodes_.empty() ? nullptr : &nodes_.back();
  return TestPLSComponent(node, previous, y_column_ss_, excluded_y_columns_, auto_fit_limit_);
}

void PLSEngine::Deflate(const CPLSNode& node, CPLSNode* explained) {
  // x_ij -= t_i p_j and y_ik -= b t_i q_k on the cells that take part; the squares of what is
  // taken out are the explained sums of squares.
  const auto deflate_block = [this](DMatrix& working,
                                    const std::vector<std::uint8_t>& mask,
                                    std::span<const double> scores,
                                    double factor,
                                    std::span<const double> loadings,
                                    std::vector<double>* column_ss,
                                    double* total_ss) {
    const std::size_t cols = working.cols();
    if (UsesCrossProducts()) {
      // Every cell of a row taking part is present, so column j loses (factor p_j)² t't and
      // the rows are independent: they are deflated in parallel.
      const auto rows = static_cast<long long>(Rows());
#pragma omp parallel for schedule(static) if (Rows() * cols > kParallelCells)
      for (long long signed_row = 0; signed_row < rows; ++signed_row) {
        const auto row = static_cast<std::size_t>(signed_row);
        DeflateRow(working.data() + row * cols, cols, factor * scores[row], loadings.data());
      }
      if (column_ss != nullptr) ExplainedByScores(scores, factor, loadings, *column_ss, *total_ss);
      return;
    }
    std::vector<double> row_explained(cols, 0.0);
    for (std::size_t row = 0; row < Rows(); ++row) {
      const double score = factor * scores[row];
      double* values = working.data() + row * cols;
      const std::uint8_t* present = mask.data() + row * cols;
#pragma omp simd
      for (std::size_t col = 0; col < cols; ++col) {
        const double fitted = static_cast<double>(present[col]) * score * loadings[col];
        values[col] -= fitted;
        row_explained[col] += fitted * fitted;
      }
    }
    if (column_ss != nullptr) {
      *column_ss = row_explained;
      double total = 0.0;
      for (double value : row_explained) total += value;
      *total_ss = total;
    }
  };
  deflate_block(x_,
                x_mask_,
                node.t,
                1.0,
                node.p,
                explained != nullptr ? &explained->explained_ss_x_per_column : nullptr,
                explained != nullptr ? &explained->explained_ss_x : nullptr);
  deflate_block(y_,
                y_mask_,
                node.t,
                node.b,
                node.q,
                explained != nullptr ? &explained->explained_ss_y_per_column : nullptr,
                explained != nullptr ? &explained->explained_ss_y : nullptr);
}

void PLSEngine::StoreComponent(CPLSNode node) {
  assert(node.fitted && node.component == ComponentCount() + 1);
  UpdateProducts(node);
  Deflate(node, &node);
  const CPLSNode* previous = nodes_.empty() ? nullptr : &nodes_.back();
  node.cumulative_explained_ss_x =
      node.explained_ss_x + (previous == nullptr ? 0.0 : previous->cumulative_explained_ss_x);
  node.cumulative_explained_ss_y =
      node.explained_ss_y + (previous == nullptr ? 0.0 : previous->cumulative_explained_ss_y);
  dof_ -= node.dof_cost;
  nodes_.push_back(std::move(node));
  candidate_ = nodes_.back();
}

void PLSEngine::RemoveLastComponent() {
  if (nodes_.empty()) return;
  dof_ += nodes_.back().dof_cost;
  nodes_.pop_back();
  products_.reset();
  // Adding t p back would leave rounding behind; deflating the input again by the components
  // that stay repeats the very operations that built the residuals, so they come out exact.
  RestoreWorkingMatrices();
  for (const CPLSNode& node : nodes_) Deflate(node, nullptr);
  candidate_ = nodes_.empty() ? CPLSNode{} : nodes_.back();
}

void PLSEngine::RemoveAllComponents() {
  ClearComponents();
  RestoreWorkingMatrices();
}

void PLSEngine::ClearComponents() {
  nodes_.clear();
  candidate_ = CPLSNode{};
  dof_ = initial_dof_;
  products_.reset();
}

bool PLSEngine::CanAcceptAnotherComponent() const {
  const int k = ComponentCount();
  return k < active_x_columns_ && k < active_rows_ &&
         dof_ > static_cast<std::int64_t>(active_rows_) - (2 * std::int64_t{k} + 2) +
                    active_x_columns_;
}

std::optional<MessageId> PLSEngine::AddNextComponent() {
  if (ComponentCount() + 1 >= max_components_) return MessageId::kDegreesOfFreedomNotEnough;
  const ProgressScope progress_scope(progress_, options_.max_iterations);
  CPLSNode node = NewNode();
  if (options_.cross_validation) {
    CrossValidate(node);
    TestComponent(node);  // the verdict is kept for reporting; the component is added anyway
  }
  FitOnAllCases(node);
  StoreComponent(std::move(node));
  return std::nullopt;
}

std::optional<MessageId> PLSEngine::AutoFitMoreComponents() {
  if (!CanAcceptAnotherComponent() || AutoFit() == 0) return MessageId::kNoAdditionalModel;
  return std::nullopt;
}

int PLSEngine::AutoFit() {
  // Without cross-validation on complete data each component is fitted on the cross-products
  // alone (deflation keeps them up to date by rank-one terms), and the scores and the deflation
  // of the data wait for the end of the fit: one pass over the data then serves every component.
  // Each case goes through the very steps of one component after another, so the results are
  // those of storing the components one by one.
  const bool deferred = UsesCrossProducts() && !options_.cross_validation;
  const std::size_t first_deferred = nodes_.size();
  std::vector<std::vector<double>> deferred_coefficients;  // v of u = Y v, per stored node
  std::vector<double> fitted_coefficients;                 // of the node fitted last
  bool refused = false;                                    // a stop rule refused `candidate_`
  const auto fit = [&](CPLSNode& node) {
    if (!deferred) {
      FitOnAllCases(node);
      return;
    }
    if (!RunNIPALSOnProducts(CurrentProducts(),
                             base_row_weight_,
                             node,
                             false,
                             fitted_coefficients,
                             AllCasesPoll())) {
      fitted_coefficients.clear();
      FinishDeferredComponents(first_deferred, deferred_coefficients, fitted_coefficients, false);
      throw UserAbort();
    }
    node.fitted = true;
  };
  const auto store = [&](CPLSNode node) {
    if (!deferred) {
      StoreComponent(std::move(node));
      return;
    }
    assert(node.fitted && node.component == ComponentCount() + 1);
    UpdateProducts(node);
    dof_ -= node.dof_cost;
    nodes_.push_back(std::move(node));
    deferred_coefficients.push_back(std::move(fitted_coefficients));
    fitted_coefficients.clear();
  };

  int stored = 0;
  while (true) {
    const ProgressScope progress_scope(progress_, options_.max_iterations);
    CPLSNode node = NewNode();
    const int component = node.component;
    if (options_.mode == PLSFitMode::kFixedNumber &&
        (component > auto_fit_limit_ || component > options_.num_components)) {
      node.status = PLSStatus::kNotSignificant;
      candidate_ = std::move(node);
      refused = true;
      break;
    }
    if (options_.mode == PLSFitMode::kEigenvalueLimit) {
      fit(node);
      if (!TolerantGreater(node.lambda, options_.eigenvalue_limit)) {
        node.status = PLSStatus::kStoppedByLimit;
        candidate_ = std::move(node);
        refused = true;
        break;
      }
    }
    if (options_.cross_validation) CrossValidate(node);

    bool accepted = true;
    bool last = false;
    if (component <= max_components_) {
      if (options_.cross_validation) accepted = TestComponent(node);
    } else {
      node.status = PLSStatus::kBeyondMaxComponents;
      last = true;
    }
    if (node.status == PLSStatus::kBeyondAutoFitLimit) {
      candidate_ = std::move(node);
      refused = true;
      break;
    }
    // The first component the test rejects is stored all the same, and the fit ends with it.
    if (!node.fitted) fit(node);
    store(std::move(node));
    ++stored;
    if (!accepted || last || ComponentCount() >= auto_fit_limit_) break;
  }
  if (deferred) {
    FinishDeferredComponents(first_deferred, deferred_coefficients, fitted_coefficients, refused);
  }
  return stored;
}

void PLSEngine::FinishDeferredComponents(std::size_t first,
                                         const std::vector<std::vector<double>>& y_coefficients,
                                         const std::vector<double>& candidate_coefficients,
                                         bool refused) {
  const std::size_t count = nodes_.size() - first;
  assert(y_coefficients.size() == count);
  // A refused candidate that was fitted gets its scores on the residuals the stored ones leave.
  const bool score_candidate = refused && candidate_.fitted && !candidate_coefficients.empty();
  if (count == 0 && !score_candidate) return;
  const std::size_t x_cols = XCols();
  const std::size_t y_cols = YCols();
  // t = X w / w'w, as the fit on the cross-products forms it.
  const auto score_divisor = [](const CPLSNode& node) {
    const double weight_ss = Dot(node.w, node.w);
    return IsTolerantZero(weight_ss) ? 0.0 : 1.0 / weight_ss;
  };
  std::vector<double> t_divisors(count);
  for (std::size_t a = 0; a < count; ++a) t_divisors[a] = score_divisor(nodes_[first + a]);
  const double candidate_divisor = score_candidate ? score_divisor(candidate_) : 0.0;

  // Case by case: the scores of each component on the residuals of the ones before it, then
  // the deflation of the case by that component.
  const auto rows = static_cast<long long>(Rows());
#pragma omp parallel for schedule(static) if (Rows() * x_cols > kParallelCells)
  for (long long signed_row = 0; signed_row < rows; ++signed_row) {
    const auto row = static_cast<std::size_t>(signed_row);
    const double weight = base_row_weight_[row];
    double* x_values = x_.data() + row * x_cols;
    double* y_values = y_.data() + row * y_cols;
    for (std::size_t a = 0; a < count; ++a) {
      CPLSNode& node = nodes_[first + a];
      const double score =
          weight * (RowProjection(x_values, node.w.data(), x_cols) * t_divisors[a]);
      node.t[row] = score;
      node.u[row] = weight * RowProjection(y_values, y_coefficients[a].data(), y_cols);
      DeflateRow(x_values, x_cols, score, node.p.data());
      DeflateRow(y_values, y_cols, node.b * score, node.q.data());
    }
    if (score_candidate) {
      candidate_.t[row] =
          weight * (RowProjection(x_values, candidate_.w.data(), x_cols) * candidate_divisor);
      candidate_.u[row] = weight * RowProjection(y_values, candidate_coefficients.data(), y_cols);
    }
  }

  // The sums of squares, in the order in which storing one by one forms them.
  for (std::size_t index = first; index < nodes_.size(); ++index) {
    CPLSNode& node = nodes_[index];
    const CPLSNode* previous = index == 0 ? nullptr : &nodes_[index - 1];
    if (index > first) {
      node.remaining_ss_x = previous->remaining_ss_x - previous->explained_ss_x;
      node.remaining_ss_y = previous->remaining_ss_y - previous->explained_ss_y;
    }
    ExplainedByScores(node.t, 1.0, node.p, node.explained_ss_x_per_column, node.explained_ss_x);
    ExplainedByScores(node.t, node.b, node.q, node.explained_ss_y_per_column, node.explained_ss_y);
    node.cumulative_explained_ss_x =
        node.explained_ss_x + (previous == nullptr ? 0.0 : previous->cumulative_explained_ss_x);
    node.cumulative_explained_ss_y =
        node.explained_ss_y + (previous == nullptr ? 0.0 : previous->cumulative_explained_ss_y);
  }
  if (refused && count > 0) {
    const CPLSNode& previous = nodes_.back();
    candidate_.remaining_ss_x = previous.remaining_ss_x - previous.explained_ss_x;
    candidate_.remaining_ss_y = previous.remaining_ss_y - previous.explained_ss_y;
  } else if (!refused && count > 0) {
    candidate_ = nodes_.back();
  }
}

DMatrix PLSEngine::XResiduals() const {
  DMatrix residuals(Rows(), XCols(), kMissingValue);
  for (std::size_t row = 0; row < Rows(); ++row) {
    for (std::size_t col = 0; col < XCols(); ++col) {
      if (IsValidX(row, col)) residuals(row, col) = x_(row, col);
    }
  }
  return residuals;
}

DMatrix PLSEngine::YResiduals() const {
  DMatrix residuals(Rows(), YCols(), kMissingValue);
  for (std::size_t row = 0; row < Rows(); ++row) {
    for (std::size_t col = 0; col < YCols(); ++col) {
      if (IsValidY(row, col)) residuals(row, col) = y_(row, col);
    }
  }
  return residuals;
}

DMatrix PLSEngine::XScores() const {
  DMatrix scores(Rows(), nodes_.size(), kMissingValue);
  for (std::size_t row = 0; row < Rows(); ++row) {
    if (excluded_rows_[row]) continue;
    for (std::size_t a = 0; a < nodes_.size(); ++a) scores(row, a) = nodes_[a].t[row];
  }
  return scores;
}

DMatrix PLSEngine::YScores() const {
  DMatrix scores(Rows(), nodes_.size(), kMissingValue);
  for (std::size_t row = 0; row < Rows(); ++row) {
    if (excluded_rows_[row]) continue;
    for (std::size_t a = 0; a < nodes_.size(); ++a) scores(row, a) = nodes_[a].u[row];
  }
  return scores;
}

std::vector<double> PLSEngine::XScoreStandardDeviations() const {
  std::vector<double> deviations;
  deviations.reserve(nodes_.size());
  const double divisor = active_rows_ > 1 ? active_rows_ - 1.0 : 1.0;  // N - 1
  for (const CPLSNode& node : nodes_) {
    double sum = 0.0;
    for (std::size_t row = 0; row < Rows(); ++row) {
      if (!excluded_rows_[row]) sum += node.t[row];
    }
    const double mean = active_rows_ > 0 ? sum / active_rows_ : 0.0;
    double squares = 0.0;
    for (std::size_t row = 0; row < Rows(); ++row) {
      if (!excluded_rows_[row]) squares += (node.t[row] - mean) * (node.t[row] - mean);
    }
    deviations.push_back(std::sqrt(squares / divisor));
  }
  return deviations;
}

}  // namespace mspc
