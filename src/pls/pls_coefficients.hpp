#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "models/dmatrix.hpp"

namespace mspc {

class PLSEngine;

/// Whether a PLS model predicts categories (a dummy-coded categorical dependent) or values.
enum class PLSModelType { kRegression, kClassification };

/// "Regression" or "Classification".
std::string_view ModelTypeText(PLSModelType type);

/// Solve A Z = R by Gaussian elimination with partial pivoting, for the small square systems of
/// the coefficients: `a` is n × n, `rhs` n × m and is overwritten by Z. A pivot that is zero
/// within the tolerance leaves its unknowns at 0 (the equation carries no information).
void SolveLinearSystem(DMatrix a, DMatrix& rhs);

/// The regression coefficients of the stored components, Y ≈ X B.
struct PLSCoefficients {
  DMatrix scaled;                 // P × M: B = W (PᵀW)⁻¹ diag(b) Qᵀ in scaled units
  DMatrix data;                   // P × M: B_jk sy_k / sx_j in the units of the data
  std::vector<double> intercept;  // M: ȳ_k - sum_j B_data[j, k] x̄_j
};

/// The coefficients of the stored components; all zero (intercepts the Y means) without any.
/// Components whose weights or loadings vanish contribute nothing.
PLSCoefficients ComputePLSCoefficients(const PLSEngine& engine);

/// The fitted values and residuals of both blocks in the units of the data.
struct PLSPredictions {
  DMatrix y_predicted;  // N × M: sum_k b_k t_k q_kᵀ scaled back; not-a-number in excluded rows
  DMatrix y_residual;   // N × M: the deflated Y scaled back; not-a-number where no cell takes part
  DMatrix x_predicted;  // N × P: sum_k t_k p_kᵀ scaled back
  DMatrix x_residual;   // N × P: the deflated X scaled back
};

/// Predictions and residuals of the stored components.
PLSPredictions ComputePLSPredictions(const PLSEngine& engine);

/// The predicted class of every row: the code of the dummy column with the largest predicted
/// value among `dummy_columns` of `y_predicted` (ties keep the earlier column). `codes` holds
/// the category code of each of those columns. Rows with no prediction get not-a-number.
std::vector<double> PredictClasses(const DMatrix& y_predicted,
                                   std::span<const std::size_t> dummy_columns,
                                   std::span<const double> codes);

}  // namespace mspc
