#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "host/messages.hpp"
#include "models/dmatrix.hpp"
#include "pca/fold_plan.hpp"
#include "pls/pls_node.hpp"

namespace mspc {

class ProgressMonitor;
class RandomSource;
struct PLSScratch;

/// The cross-products of the rows taking part in a complete-data fit.
struct PLSCrossProducts {
  std::vector<double> xx;  // XᵀX, P × P
  std::vector<double> yx;  // YᵀX, M × P
  std::vector<double> yy;  // YᵀY, M × M
};

/// How a PLS fit decides the number of components.
enum class PLSFitMode : int {
  kCrossValidation = 0,  // until the cross-validated test rejects a component
  kFixedNumber = 1,      // up to `num_components`
  kEigenvalueLimit = 2,  // while the eigenvalue of the X scores exceeds `eigenvalue_limit`
};

/// The options of a PLS fit with their defaults.
struct PLSFitOptions {
  PLSFitMode mode = PLSFitMode::kCrossValidation;
  int num_components = 1;         // fixed-number mode
  double eigenvalue_limit = 1.0;  // eigenvalue mode
  int max_iterations = 50;        // NIPALS passes per component, 1..1000
  double convergence = 0.0001;    // relative change of the eigenvalue, 0..1
  bool cross_validation = true;   // V-fold cross-validation of every component
  int folds = 7;                  // V, at least 2 with cross-validation
  std::uint64_t seed = 1;
  bool random_folds = false;
  /// On complete data, iterate on the cross-products (off: stream the data in every pass,
  /// the same iteration at a far higher cost; kept for comparison).
  bool cross_products = true;

  /// Return the message of the first broken rule, or nothing when the options are usable.
  std::optional<MessageId> Validate() const;
};

/// Rows and columns that take part in no sum. Empty vectors exclude nothing.
struct PLSExclusions {
  std::vector<bool> rows;
  std::vector<bool> x_columns;
  std::vector<bool> y_columns;
};

/// Centre and scale of the columns of one block: scaled = (raw - mean) / scale.
struct BlockScaling {
  std::vector<double> mean;
  std::vector<double> scale;
};

/// The NIPALS partial least squares engine: components between a block of scaled predictor
/// columns X (N × P) and a block of scaled dependent columns Y (N × M), one at a time, with
/// missing cells left out of every sum. Each stored component deflates X and Y in place.
///
/// Storage: as in the PCA engine, the kernels read copies of X and Y with 0 in every cell that
/// takes no part (missing, excluded row or excluded column) and 0/1 masks of the cells that do,
/// so that the inner loops carry no branch. Scores of excluded and held-out rows are kept at 0,
/// which removes those rows from every sum.
///
/// Degrees of freedom: the budget starts at D0 = N·P (one per predictor cell of the N cases
/// used) and component k costs N + P - 2k. The cumulative cost of k components is
/// k(N + P - k - 1) <= N·P for every k <= min(N, P), so the budget never binds before the counts
/// do: Kmax = min(N, P). Kauto = min(N/2, P/2) (integer halves) bounds the automatic fit.
///
/// Complete data: when no cell of the non-excluded rows and columns is missing, the passes run
/// on the cross-products XᵀX, YᵀX and YᵀY (one pass over the data forms them, then each pass
/// costs P² rather than N·P): w ∝ (YᵀX)ᵀ q, q ∝ YᵀX w, t't = wᵀXᵀXw. The scores are formed once
/// at the end, and deflation updates the cross-products by rank-one terms (t't and Yᵀt follow
/// from them too). This is the same iteration as the streamed one, so the two agree to rounding.
/// Each fold of a cross-validation works on the cross-products less those of its held-out rows.
/// An automatic fit without cross-validation needs no pass over the data per component: the
/// scores and the deflation of all its components take one pass at its end.
///
/// Threads: the folds of a cross-validation run in parallel; each fold's fit and sums are
/// sequential and the folds' sums are added in fold order, so the results do not depend on the
/// number of threads. The dense kernels split their work so that every sum keeps its order.
class PLSEngine {
 public:
  PLSEngine() = default;
  explicit PLSEngine(PLSFitOptions options) : options_(options) {}

  /// Centre every present cell of `raw_x` and `raw_y` by its column mean and divide by its
  /// column scale (a zero scale counts as 1), and make the results the working matrices.
  /// Not-a-number and infinite cells are missing. Removes every component.
  void CenterAndScale(const DMatrix& raw_x,
                      const DMatrix& raw_y,
                      BlockScaling x_scaling,
                      BlockScaling y_scaling,
                      PLSExclusions exclusions = {});
  /// Take already centred and scaled blocks (means 0, scales 1). Removes every component.
  void LoadScaled(DMatrix x, DMatrix y, PLSExclusions exclusions = {});

  /// Replace the options; the fold plan is assigned again when next needed.
  void SetOptions(const PLSFitOptions& options);
  const PLSFitOptions& Options() const { return options_; }
  /// Show progress and poll for cancellation through `progress` (may be null).
  void SetProgress(ProgressMonitor* progress) { progress_ = progress; }
  /// The generator for random fold assignment (may be null when folds are not random).
  void SetRandomSource(RandomSource* random) { random_ = random; }

  /// Fit components by the options' mode until a stop rule ends the fit; returns the number
  /// stored. A component that fails the cross-validated test is still stored, and the fit ends
  /// with it. Throws `UserAbort` on a cancel; the components stored before it stay.
  int AutoFit();
  /// Fit one more component and store it whatever its cross-validated verdict (which is kept
  /// for reporting). Returns the refusal "The degrees of freedom is not enough to fit another
  /// model." without any change when K + 1 >= Kmax.
  std::optional<MessageId> AddNextComponent();
  /// Whether the model can take another component: K < P, K < N and D > N - (2K + 2) + P.
  bool CanAcceptAnotherComponent() const;
  /// Continue the automatic fit from the components stored. Returns "No additional model can be
  /// fit to the data." without any change when the model cannot take another component, and
  /// when the fit's stop rules store none.
  std::optional<MessageId> AutoFitMoreComponents();
  /// Drop the last component and restore the working matrices to their state before it.
  void RemoveLastComponent();
  /// Drop every component and restore the working matrices from the scaled input.
  void RemoveAllComponents();
  /// The last component a fit created: the last stored one, or the one a stop rule refused.
  const CPLSNode& LastCandidate() const { return candidate_; }

  // The steps of a fit, public so that callers and tests can run them one by one.

  /// A node for component K + 1: its number, budget, cost and remaining SS, arrays sized.
  CPLSNode NewNode() const;
  /// Fit the node by NIPALS on every non-excluded case and set its fitted flag.
  void FitOnAllCases(CPLSNode& node) const;
  /// Fill the node's PRESS sums by V-fold cross-validation: each fold is fitted without its
  /// cases, which are then predicted with the fold's loadings. Throws `UserAbort` on a cancel
  /// and `AnalysisStop` when fewer than 2 folds are asked for.
  void CrossValidate(CPLSNode& node) const;
  /// Apply the cross-validated test to the node's PRESS sums: fill Q² and Q²(Cumul.), set the
  /// status and return whether the component is accepted.
  bool TestComponent(CPLSNode& node) const;
  /// Deflate X and Y by the fitted node, fill its explained SS and append it.
  void StoreComponent(CPLSNode node);

  /// The poll of one fit: asked after every pass with the pass count; true stops the fit.
  using PassPoll = std::function<bool(int)>;
  /// Run NIPALS with the cases whose `row_weight` is 0 left out, writing t, u, w, p, q, b,
  /// lambda and the pass count into `node`. Returns false when `poll` stopped the fit. Safe to
  /// call from several threads with separate nodes.
  bool RunNIPALS(std::span<const double> row_weight, CPLSNode& node, const PassPoll& poll) const;

  std::size_t Rows() const { return scaled_x_.rows(); }
  std::size_t XCols() const { return scaled_x_.cols(); }
  std::size_t YCols() const { return scaled_y_.cols(); }
  /// N, P and M: the counts of non-excluded cases, X columns and Y columns.
  int ActiveRows() const { return active_rows_; }
  int ActiveXColumns() const { return active_x_columns_; }
  int ActiveYColumns() const { return active_y_columns_; }
  bool IsRowExcluded(std::size_t row) const { return excluded_rows_[row]; }
  bool IsXColumnExcluded(std::size_t col) const { return excluded_x_columns_[col]; }
  bool IsYColumnExcluded(std::size_t col) const { return excluded_y_columns_[col]; }
  const std::vector<bool>& ExcludedRows() const { return excluded_rows_; }
  const std::vector<bool>& ExcludedXColumns() const { return excluded_x_columns_; }
  const std::vector<bool>& ExcludedYColumns() const { return excluded_y_columns_; }
  /// Whether a cell takes part in the sums: row and column included, value present.
  bool IsValidX(std::size_t row, std::size_t col) const { return x_mask_[row * XCols() + col]; }
  bool IsValidY(std::size_t row, std::size_t col) const { return y_mask_[row * YCols() + col]; }
  /// Whether a Y cell of the input is missing.
  bool IsYMissing(std::size_t row, std::size_t col) const;

  /// The scaled inputs (not-a-number where missing) and the scaling that produced them.
  const DMatrix& ScaledX() const { return scaled_x_; }
  const DMatrix& ScaledY() const { return scaled_y_; }
  const BlockScaling& XScaling() const { return x_scaling_; }
  const BlockScaling& YScaling() const { return y_scaling_; }
  /// The deflated working matrices, not-a-number in every cell that takes no part.
  DMatrix XResiduals() const;
  DMatrix YResiduals() const;

  double TotalSSX() const { return total_ss_x_; }
  double TotalSSY() const { return total_ss_y_; }
  const std::vector<double>& XColumnTotalSS() const { return x_column_ss_; }
  const std::vector<double>& YColumnTotalSS() const { return y_column_ss_; }

  std::int64_t InitialDegreesOfFreedom() const { return initial_dof_; }  // D0
  std::int64_t DegreesOfFreedom() const { return dof_; }                 // D
  int MaxComponents() const { return max_components_; }                  // Kmax
  int AutoFitLimit() const { return auto_fit_limit_; }                   // Kauto
  /// The cost N + P - 2k of component k.
  std::int64_t ComponentCost(int component) const;

  const std::vector<CPLSNode>& Nodes() const { return nodes_; }
  int ComponentCount() const { return static_cast<int>(nodes_.size()); }  // K

  /// Scores of the stored components (N × K), not-a-number in excluded rows.
  DMatrix XScores() const;
  DMatrix YScores() const;
  /// Standard deviation of each stored component's X scores over the non-excluded cases,
  /// sqrt(sum (t - mean)² / (N - 1)).
  std::vector<double> XScoreStandardDeviations() const;

  /// The fold plan of the options over the rows (assigned once per load and reused). Throws
  /// `AnalysisStop` when fewer than 2 folds are asked for.
  const FoldPlan& Folds() const;

 private:
  /// Scale the raw blocks and build the working matrices, masks and totals from them.
  void Load(const DMatrix& raw_x, const DMatrix& raw_y, PLSExclusions exclusions);
  void RestoreWorkingMatrices();
  /// Drop every component, leaving the working matrices as they are.
  void ClearComponents();
  void Deflate(const CPLSNode& node, CPLSNode* explained);
  void StartVector(std::span<const double> row_weight, CPLSNode& node, PLSScratch& scratch) const;
  bool RunNIPALS(std::span<const double> row_weight,
                 CPLSNode& node,
                 PLSScratch& scratch,
                 const PassPoll& poll) const;
  /// NIPALS on the cross-products; `y_coefficients` receives v of the Y scores u = Y v.
  bool RunNIPALSOnProducts(const PLSCrossProducts& products,
                           std::span<const double> row_weight,
                           CPLSNode& node,
                           bool fill_scores,
                           std::vector<double>& y_coefficients,
                           const PassPoll& poll) const;
  /// Complete data, the option on, and no more predictors than rows (see the PCA engine).
  bool UsesCrossProducts() const {
    return complete_ && options_.cross_products && active_x_columns_ <= active_rows_;
  }
  const PLSCrossProducts& CurrentProducts() const;
  /// The poll of a fit on all cases: progress and cancellation through the host.
  PassPoll AllCasesPoll() const;
  /// Fill the scores, sums of squares and cumulative sums of the nodes stored from `first` on
  /// without them (`y_coefficients`: v of u = Y v for each) and deflate X and Y by them in one
  /// pass; a `refused` candidate that was fitted gets its scores and remaining sums too.
  void FinishDeferredComponents(std::size_t first,
                                const std::vector<std::vector<double>>& y_coefficients,
                                const std::vector<double>& candidate_coefficients,
                                bool refused);
  void UpdateProducts(const CPLSNode& node);

  PLSFitOptions options_;
  ProgressMonitor* progress_ = nullptr;
  RandomSource* random_ = nullptr;

  DMatrix scaled_x_;  // centred and scaled input, not-a-number where missing
  DMatrix scaled_y_;
  BlockScaling x_scaling_;
  BlockScaling y_scaling_;
  DMatrix x_;                         // residual of X, 0 in every cell that takes no part
  DMatrix y_;                         // residual of Y, likewise
  std::vector<std::uint8_t> x_mask_;  // 1 for the cells that take part
  std::vector<std::uint8_t> y_mask_;
  std::vector<bool> excluded_rows_;
  std::vector<bool> excluded_x_columns_;
  std::vector<bool> excluded_y_columns_;
  std::vector<double> base_row_weight_;  // 1 for every non-excluded row
  int active_rows_ = 0;
  int active_x_columns_ = 0;
  int active_y_columns_ = 0;

  double total_ss_x_ = 0.0;
  double total_ss_y_ = 0.0;
  std::vector<double> x_column_ss_;
  std::vector<double> y_column_ss_;

  std::int64_t initial_dof_ = 0;
  std::int64_t dof_ = 0;
  int max_components_ = 0;
  int auto_fit_limit_ = 0;

  std::vector<CPLSNode> nodes_;
  CPLSNode candidate_;
  mutable std::optional<FoldPlan> folds_;

  bool complete_ = false;  // no cell of the non-excluded rows and columns is missing
  // The cross-products of the working matrices on complete data, formed when first needed
  // (from the const fit steps, on the calling thread) and kept up to date by deflation.
  mutable std::optional<PLSCrossProducts> products_;
};

/// The cross-validated test of a component from its PRESS sums. `previous` is the stored
/// component before it (null for the first), `y_column_ss` the per-column total SS of Y and
/// `auto_fit_limit` Kauto. Fills Q² and Q²(Cumul.), sets the status and returns whether the
/// component is accepted.
bool TestPLSComponent(CPLSNode& node,
                      const CPLSNode* previous,
                      std::span<const double> y_column_ss,
                      const std::vector<bool>& excluded_y_columns,
                      int auto_fit_limit);

/// Kmax = min(N, P, J): J counts the components whose costs N + P - 2j can be taken in turn
/// from the budget D0 while the budget before each is not negative.
int MaxPLSComponents(int rows, int x_columns, std::int64_t initial_dof);

}  // namespace mspc
