#include "deploy/pls_deployment.hpp"

#include <cmath>
#include <limits>

#include "models/tolerant.hpp"

namespace mspc {
namespace {

constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

// Centre and scale the present cells of `columns`; not-a-number where missing.
DMatrix ScaleColumns(const std::vector<DocumentColumn>& model_columns, const DMatrix& columns) {
  DMatrix scaled(columns.rows(), model_columns.size(), kMissing);
  for (std::size_t row = 0; row < columns.rows(); ++row) {
    for (std::size_t col = 0; col < model_columns.size(); ++col) {
      const double value = columns(row, col);
      if (!std::isfinite(value)) continue;
      const DocumentColumn& column = model_columns[col];
      const double centred = value - column.mean;
      scaled(row, col) = IsTolerantZero(column.scale) ? centred : centred / column.scale;
    }
  }
  return scaled;
}

}  // namespace

DMatrix BlockColumns(const std::vector<DocumentField>& fields,
                     const std::vector<DocumentColumn>& columns,
                     const DMatrix& variables) {
  DMatrix result(variables.rows(), columns.size(), kMissing);
  for (std::size_t row = 0; row < variables.rows(); ++row) {
    for (std::size_t col = 0; col < columns.size(); ++col) {
      const DocumentColumn& column = columns[col];
      const double value = variables(row, column.field);
      if (!std::isfinite(value)) continue;
      result(row, col) =
          fields[column.field].categorical ? (value == column.code ? 1.0 : 0.0) : value;
    }
  }
  return result;
}

PLSDeploymentScores ScorePLS(const LoadedPLSModel& model,
                             const DMatrix& x_columns,
                             const DMatrix& y_columns) {
  const std::size_t rows = x_columns.rows();
  const std::size_t x_cols = model.predictor_columns.size();
  const std::size_t y_cols = model.dependent_columns.size();
  const std::size_t components = model.inner.size();
  const bool has_y = y_columns.rows() == rows && y_columns.cols() == y_cols;
  PLSDeploymentScores result;
  result.scaled = ScaleColumns(model.predictor_columns, x_columns);
  result.residuals = result.scaled;
  result.x_scores = DMatrix(rows, components, kMissing);
  result.y_scores = DMatrix(rows, components, kMissing);
  result.t2_contributions = DMatrix(rows, x_cols, kMissing);
  result.predicted = DMatrix(rows, y_cols, kMissing);
  result.observed = has_y ? y_columns : DMatrix(rows, y_cols, kMissing);
  result.y_residuals = DMatrix(rows, y_cols, kMissing);
  result.t2.assign(rows, kMissing);
  result.spe.assign(rows, kMissing);
  result.distance.assign(rows, kMissing);
  const DMatrix scaled_y =
      has_y ? ScaleColumns(model.dependent_columns, y_columns) : DMatrix(rows, y_cols, kMissing);
  const int degrees = static_cast<int>(x_cols) - static_cast<int>(components);  // P - A

  std::vector<double> prediction(y_cols);
  std::vector<double> y_residual(y_cols);
  for (std::size_t row = 0; row < rows; ++row) {
    double* x = &result.residuals(row, 0);
    bool any_present = false;
    for (std::size_t j = 0; j < x_cols; ++j) any_present = any_present || !std::isnan(x[j]);
    if (!any_present) continue;
    for (std::size_t j = 0; j < x_cols; ++j) {
      if (!std::isnan(x[j])) result.t2_contributions(row, j) = 0.0;
    }
    for (std::size_t k = 0; k < y_cols; ++k) {
      prediction[k] = 0.0;
      y_residual[k] = scaled_y(row, k);
    }
    double t2 = 0.0;
    for (std::size_t a = 0; a < components; ++a) {
      double projection = 0.0;  // sum_j x_j w_j
      double weight_ss = 0.0;   // sum_j w_j² over the same cells
      for (std::size_t j = 0; j < x_cols; ++j) {
        if (std::isnan(x[j])) continue;
        projection += x[j] * model.weights(a, j);
        weight_ss += model.weights(a, j) * model.weights(a, j);
      }
      const double score = IsTolerantZero(weight_ss) ? 0.0 : projection / weight_ss;
      result.x_scores(row, a) = score;
      const double deviation = model.x_scores[a].standard_deviation;
      const bool counts = !IsTolerantZero(deviation);
      if (counts) t2 += (score / deviation) * (score / deviation);
      for (std::size_t j = 0; j < x_cols; ++j) {
        if (std::isnan(x[j])) continue;
        // t / s² times this cell's share x_j w_j / sum w² of t: the shares add up to T².
        if (counts && !IsTolerantZero(weight_ss)) {
          result.t2_contributions(row, j) +=
              score / (deviation * deviation) * x[j] * model.weights(a, j) / weight_ss;
        }
        x[j] -= score * model.x_loadings(a, j);
      }

      double y_projection = 0.0;  // sum_k f_k q_k
      double q_ss = 0.0;          // sum_k q_k² over the same cells
      for (std::size_t k = 0; k < y_cols; ++k) {
        const double fitted = model.inner[a] * score * model.y_loadings(a, k);
        prediction[k] += fitted;
        if (std::isnan(y_residual[k])) continue;
        y_projection += y_residual[k] * model.y_loadings(a, k);
        q_ss += model.y_loadings(a, k) * model.y_loadings(a, k);
        y_residual[k] -= fitted;
      }
      if (!IsTolerantZero(q_ss)) result.y_scores(row, a) = y_projection / q_ss;
    }
    double spe = 0.0;
    for (std::size_t j = 0; j < x_cols; ++j) {
      if (!std::isnan(x[j])) spe += x[j] * x[j];
    }
    result.t2[row] = t2;
    result.spe[row] = spe;
    if (degrees >= 1) result.distance[row] = std::sqrt(spe / degrees);
    for (std::size_t k = 0; k < y_cols; ++k) {
      const DocumentColumn& column = model.dependent_columns[k];
      const double scale = IsTolerantZero(column.scale) ? 1.0 : column.scale;
      result.predicted(row, k) = prediction[k] * scale + column.mean;
      const double observed = result.observed(row, k);
      if (std::isfinite(observed)) result.y_residuals(row, k) = observed - result.predicted(row, k);
    }
  }
  return result;
}

}  // namespace mspc
