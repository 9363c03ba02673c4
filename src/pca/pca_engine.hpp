#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "host/messages.hpp"
#include "models/component_mode.hpp"
#include "models/dmatrix.hpp"
#include "pca/fold_plan.hpp"
#include "pca/pca_node.hpp"

namespace mspc {

class ProgressMonitor;
class RandomSource;

/// Which rows a fit leaves out.
enum class HoldOutKind : int {
  kNone = 0,
  kVFold = 1,       // the rows whose fold number equals the group
  kKrzanowski = 2,  // the row whose index equals the group; grouped: the rows of that fold
};

/// The options of a PCA fit with their defaults.
struct PCAFitOptions {
  ComponentMode component_mode = ComponentMode::AutoFitByCrossValidation;
  int max_components = 1;
  double eigenvalue_limit = 1.0;
  int max_iterations = 50;
  double convergence = 0.0001;
  int cross_validation_method = 1;  // see SelectCrossValidationPass
  bool grouped = false;             // hold out by fold numbers rather than by single rows
  int folds = 7;                    // V
  std::uint64_t seed = 0;
  bool random_folds = false;
  /// On complete data, iterate on the cross-product matrix (off: stream the data in every
  /// iteration, the same iteration at a far higher cost; kept for comparison).
  bool cross_products = true;

  /// Return the message of the first broken rule, or nothing when the options are usable.
  std::optional<MessageId> Validate() const;
};

/// The result of one NIPALS iteration run.
struct NIPALSOutcome {
  int iterations = 0;
  double eigenvalue = 0.0;
  bool cancelled = false;
};

/// Work vectors of one NIPALS fit, kept apart so that parallel fits share nothing.
struct NIPALSScratch {
  std::vector<double> numerator;    // per column: sum_i x_ij t_i
  std::vector<double> denominator;  // per column: sum_i t_i^2 over the cells present
  std::vector<double> squared_loadings;
  std::vector<double> row_weight;  // per row: 1 when the row takes part, else 0
  std::vector<double> chunk_sums;  // per fixed chunk of rows: its numerators and denominators
  void Resize(std::size_t rows, std::size_t cols);
};

/// NIPALS principal components of a centred and scaled matrix with missing cells, one
/// component at a time. The working matrix is deflated in place by every accepted component;
/// missing cells are left out of every sum, never filled in.
///
/// Storage: the kernels read a copy of the working matrix with 0 in every cell that takes no
/// part (missing, excluded row or excluded variable) and a 0/1 mask of the cells that do, so
/// that the inner loops carry no branch and vectorise. Scores of excluded or held-out rows and
/// loadings of excluded or held-out columns are kept at 0, which removes them from every sum
/// without a test per cell.
///
/// Complete data: when no cell of the non-excluded rows and variables is missing, the iteration
/// runs on the K × K cross-product matrix XᵀX (one cache-blocked pass over the data forms it,
/// then every iteration costs K² rather than N·K): p ∝ XᵀX p and t't = pᵀXᵀXp / (p'p)². The
/// scores are formed once, after the iteration, and accepting a component updates the matrix by
/// rank-one terms (and fits the next component ahead, forming its scores in the same pass). It is
/// the same iteration as the streamed one, so the two agree to rounding. With missing cells each
/// iteration is one fused pass over the rows: the scores from the current loadings and, from each
/// new score, the sums of the next loadings.
///
/// Degrees of freedom: the model starts with D0 = N·K (one per cell of the N non-excluded rows
/// and K non-excluded variables) and component a costs N + K - 2a. At most min(N - 1, K)
/// components are allowed. Their cumulative cost A(N + K - A - 1) stays below N·K for every such
/// A, every cost is positive, and N - A >= 1, so the T² limit's N - A is never 0 and the
/// cross-validation limit (N + K - 2a) / D never divides by zero.
class PCAEngine {
 public:
  PCAEngine() = default;
  explicit PCAEngine(PCAFitOptions options) : options_(options) {}

  /// Centre every valid cell of `raw` by its column mean and divide by its column scale (a
  /// scale of zero leaves the cell centred only), and make the result the working matrix.
  /// Not-a-number and infinite cells are missing. Empty exclusion vectors exclude nothing.
  /// Removes every component.
  void CenterAndScale(const DMatrix& raw,
                      std::span<const double> mean,
                      std::span<const double> scale,
                      std::vector<bool> excluded_rows = {},
                      std::vector<bool> excluded_variables = {});
  /// Take an already centred and scaled matrix as the working matrix.
  void LoadScaled(DMatrix scaled,
                  std::vector<bool> excluded_rows = {},
                  std::vector<bool> excluded_variables = {});

  /// Replace the options; the fold plan is assigned again when next needed.
  void SetOptions(const PCAFitOptions& options);
  const PCAFitOptions& Options() const { return options_; }
  /// Show progress and poll for cancellation through `progress` (may be null).
  void SetProgress(ProgressMonitor* progress) { progress_ = progress; }
  ProgressMonitor* Progress() const { return progress_; }
  /// The generator for random fold assignment (may be null when folds are not random).
  void SetRandomSource(RandomSource* random) { random_ = random; }

  /// Start a node for the next component: its number, cost and previous residual SS.
  CPCANode NewNode() const;
  /// Fit one component into `node` by NIPALS, leaving out the rows of `kind`/`group` and the
  /// column `held_out_column` (-1 for none). Returns at once when the node's fitted flag is
  /// set. Throws `UserAbort` when the progress poll reports a cancel.
  void FitComponent(CPCANode& node, HoldOutKind kind, int group, int held_out_column) const;
  /// Deflate the working matrix by the node, fill its SS figures and append it.
  void AcceptComponent(CPCANode node);
  /// Fit, judge and, when accepted, append the next component under `mode`. Returns the state
  /// of the candidate, which stays readable as `LastCandidate()`.
  NodeState FitNextComponent(ComponentMode mode);
  /// Fit components under the options' mode until a stopping rule ends it. Returns the number
  /// of components added. A cancel (`UserAbort`) keeps the components accepted before it.
  int AutoFit();
  /// Add the last component back into the working matrix and drop it.
  void RemoveLastComponent();
  /// Drop every component and rebuild the working matrix from the stored scaled input.
  void RemoveAllComponents();

  /// The message for the last candidate that was not accepted, if any.
  std::optional<MessageId> RefusalMessage() const;
  const CPCANode& LastCandidate() const { return candidate_; }

  /// Run the NIPALS iteration on the working matrix with the rows whose `row_weight` is 0 and
  /// the column `held_out_column` left out. Writes the scores `t` (length N) and the loadings
  /// `p` (length K). Safe to call from several threads at once with separate outputs and
  /// scratch. `poll` (may be empty) is asked after every iteration with the iteration count
  /// and stops the fit when it answers true.
  NIPALSOutcome RunNIPALS(std::span<const double> row_weight,
                          int held_out_column,
                          std::span<double> t,
                          std::span<double> p,
                          NIPALSScratch& scratch,
                          const std::function<bool(int)>& poll) const;
  /// Run the same iteration on the cross-product matrix `gram` (K × K, row-major) of the rows
  /// taking part, on complete data, with the column `held_out_column` (-1 for none) left out.
  /// Writes the loadings `p`; the scores are t = X p / `score_divisor` over the rows taking part
  /// (0 when the divisor is zero), see `ComputeScores`. Uses scratch.numerator as work space.
  NIPALSOutcome RunNIPALSOnGram(std::span<const double> gram,
                                int held_out_column,
                                std::span<double> p,
                                double& score_divisor,
                                NIPALSScratch& scratch,
                                const std::function<bool(int)>& poll) const;
  /// t_i = row_weight_i · (x_i · p) / divisor for every row (0 when the divisor is zero).
  void ComputeScores(std::span<const double> p,
                     double divisor,
                     std::span<const double> row_weight,
                     std::span<double> t) const;
  /// Whether fits run on the cross-product matrix: complete data, the option on, and no more
  /// variables than rows. A wide matrix (an unfolded batch table) streams instead: its K × K
  /// product would outweigh the data and cost more to form than the iterations it saves.
  bool UsesCrossProducts() const {
    return complete_ && options_.cross_products && active_variables_ <= active_rows_;
  }
  /// The cross-product matrix XᵀX of the working matrix (K × K), formed when first asked for
  /// and kept up to date as components are accepted. Not safe to call from several threads
  /// before it is formed.
  std::span<const double> Gram() const;

  std::size_t Rows() const { return scaled_.rows(); }
  std::size_t Cols() const { return scaled_.cols(); }
  /// N and K of the model: the counts of non-excluded rows and variables.
  int ActiveRows() const { return active_rows_; }
  int ActiveVariables() const { return active_variables_; }
  bool IsRowExcluded(std::size_t row) const { return excluded_rows_[row]; }
  bool IsVariableExcluded(std::size_t col) const { return excluded_variables_[col]; }
  const std::vector<bool>& ExcludedRows() const { return excluded_rows_; }
  const std::vector<bool>& ExcludedVariables() const { return excluded_variables_; }
  /// Whether cell (row, col) takes part in the sums: row and column included, value present.
  bool IsValidCell(std::size_t row, std::size_t col) const {
    return mask_[row * Cols() + col] != 0;
  }
  /// Whether the input cell was missing (not-a-number or infinite).
  bool IsMissingCell(std::size_t row, std::size_t col) const;
  /// The working (residual) value of a valid cell; 0 for a cell that takes no part.
  double Residual(std::size_t row, std::size_t col) const { return x_(row, col); }
  /// The residual matrix with not-a-number in every cell that takes no part.
  DMatrix Residuals() const;
  /// The centred and scaled input.
  const DMatrix& ScaledInput() const { return scaled_; }
  /// The kernels' view: the working matrix with 0 where no value takes part, and its mask.
  const DMatrix& MaskedResidual() const { return x_; }
  std::span<const std::uint8_t> Mask() const { return mask_; }
  /// 1 for every non-excluded row, 0 otherwise.
  std::span<const double> BaseRowWeight() const { return base_row_weight_; }

  double TotalSS() const { return total_ss_; }
  const std::vector<double>& VariableTotalSS() const { return variable_total_ss_; }
  std::int64_t InitialDegreesOfFreedom() const { return initial_dof_; }
  std::int64_t ResidualDegreesOfFreedom() const { return residual_dof_; }
  /// The largest number of components the degrees of freedom allow: min(N - 1, K).
  int MaxComponentsAllowed() const;
  /// The degrees-of-freedom cost N + K - 2a of component a.
  std::int64_t ComponentCost(int component) const;

  const std::vector<CPCANode>& Nodes() const { return nodes_; }
  int ComponentCount() const { return static_cast<int>(nodes_.size()); }
  /// R²X of a component and cumulative, as fractions of the total SS (0 when it is zero).
  double R2X(const CPCANode& node) const;
  double R2XCumulative(const CPCANode& node) const;
  /// Scores of the accepted components (N × A), not-a-number in excluded rows.
  DMatrix Scores() const;
  /// Loadings of the accepted components (A × K).
  DMatrix Loadings() const;
  /// Standard deviation of each accepted component's scores.
  std::vector<double> ScoreStandardDeviations() const;

  /// The fold plan of the options over the rows of the working matrix (assigned once per
  /// load and reused). Throws `AnalysisStop` when fewer than 2 folds are asked for.
  const FoldPlan& Folds() const;

 private:
  void BuildWorkingSet(std::vector<bool> excluded_rows, std::vector<bool> excluded_variables);
  void RebuildFromScaled();
  ComponentMode EffectiveMode(ComponentMode mode) const;
  void FillRowWeight(HoldOutKind kind, int group, std::span<double> row_weight) const;
  void UpdateGram(const CPCANode& node);

  PCAFitOptions options_;
  ProgressMonitor* progress_ = nullptr;
  RandomSource* random_ = nullptr;

  DMatrix scaled_;                  // centred and scaled input, not-a-number where missing
  DMatrix x_;                       // residual, 0 in every cell that takes no part
  std::vector<std::uint8_t> mask_;  // 1 for the cells that take part
  std::vector<bool> excluded_rows_;
  std::vector<bool> excluded_variables_;
  std::vector<double> base_row_weight_;
  int active_rows_ = 0;
  int active_variables_ = 0;

  double total_ss_ = 0.0;
  std::vector<double> variable_total_ss_;
  std::int64_t initial_dof_ = 0;
  std::int64_t residual_dof_ = 0;

  std::vector<CPCANode> nodes_;
  CPCANode candidate_;
  std::optional<MessageId> refusal_;
  mutable std::optional<FoldPlan> folds_;

  bool complete_ = false;  // no cell of the non-excluded rows and variables is missing
  // XᵀX of the working matrix on complete data, formed when first needed (empty until then).
  mutable std::vector<double> gram_;
  // Complete data: the next component, fitted on the updated XᵀX when a component is accepted
  // so that its scores come from the very pass that takes the accepted one out of the working
  // matrix. The full fit of the next component takes it as it is.
  struct FitAhead {
    std::vector<double> t;
    std::vector<double> p;
    NIPALSOutcome outcome;
  };
  std::optional<FitAhead> fit_ahead_;
};

/// The NIPALS kernels in their branch-free masked form, exposed so that tests can check them
/// against a plain reference loop. `x` holds 0 in every cell that takes no part and `mask` 1 in
/// the cells that do.
namespace nipals {

/// Loading step: p_j = sum_i x_ij t_i / sum_i t_i^2 over the cells of column j present; 0 for
/// the column `held_out_column` (-1 for none) and where the denominator is zero.
void LoadingStep(const DMatrix& x,
                 std::span<const std::uint8_t> mask,
                 std::span<const double> t,
                 int held_out_column,
                 std::span<double> p,
                 NIPALSScratch& scratch);
/// Score step: t_i = sum_j x_ij p_j / sum_j p_j^2 over the cells of row i present, for the rows
/// whose weight is 1; 0 for the others and where the denominator is zero.
void ScoreStep(const DMatrix& x,
               std::span<const std::uint8_t> mask,
               std::span<const double> p,
               std::span<const double> row_weight,
               std::span<double> t,
               NIPALSScratch& scratch);

/// Score step and the sums of the next loading step in one pass over the rows: t as in
/// `ScoreStep`, then, with the new scores, scratch.numerator and scratch.denominator as in
/// `LoadingStep`. `FinishLoadingStep` turns those sums into the loadings. A large matrix is cut
/// into a fixed number of row chunks that the threads share out; each chunk sums its rows in
/// order and the chunks are added in order, so the sums do not depend on the number of threads.
/// `LoadingStep` and `ColumnSumsOfSquares` sum in the same chunks.
void ScoreAndLoadingSums(const DMatrix& x,
                         std::span<const std::uint8_t> mask,
                         std::span<const double> p,
                         std::span<const double> row_weight,
                         std::span<double> t,
                         NIPALSScratch& scratch);
/// scratch.numerator_j = sum_i w_i x_ij^2 with the row weights w.
void ColumnSumsOfSquares(const DMatrix& x,
                         std::span<const double> row_weight,
                         NIPALSScratch& scratch);
/// p_j = numerator_j / denominator_j from the scratch sums; 0 for the held-out column and where
/// the denominator is zero.
void FinishLoadingStep(int held_out_column, std::span<double> p, const NIPALSScratch& scratch);

}  // namespace nipals
}  // namespace mspc
