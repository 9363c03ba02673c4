#include "deploy/pca_deployment.hpp"

#include <cmath>
#include <limits>

namespace mspc {
namespace {

constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

}  // namespace

DMatrix ModelColumns(const LoadedPCAModel& model, const DMatrix& variables) {
  DMatrix columns(variables.rows(), model.columns.size(), kMissing);
  for (std::size_t row = 0; row < variables.rows(); ++row) {
    for (std::size_t col = 0; col < model.columns.size(); ++col) {
      const DocumentColumn& column = model.columns[col];
      const double value = variables(row, column.field);
      if (!std::isfinite(value)) continue;
      columns(row, col) =
          model.fields[column.field].categorical ? (value == column.code ? 1.0 : 0.0) : value;
    }
  }
  return columns;
}

PCADeploymentScores ScorePCA(const LoadedPCAModel& model, const DMatrix& columns) {
  const std::size_t rows = columns.rows();
  const std::size_t cols = model.columns.size();
  const std::size_t components = model.scores.size();
  PCADeploymentScores result;
  result.scaled = DMatrix(rows, cols, kMissing);
  result.scores = DMatrix(rows, components, kMissing);
  result.t2.assign(rows, kMissing);
  result.spe.assign(rows, kMissing);
  std::vector<bool> any_present(rows, false);
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t col = 0; col < cols; ++col) {
      const double value = columns(row, col);
      if (!std::isfinite(value)) continue;
      const DocumentColumn& column = model.columns[col];
      const double centred = value - column.mean;
      result.scaled(row, col) = column.scale != 0.0 ? centred / column.scale : centred;
      any_present[row] = true;
    }
  }
  result.residuals = result.scaled;
  DMatrix& residuals = result.residuals;
  for (std::size_t row = 0; row < rows; ++row) {
    if (!any_present[row]) continue;
    double t2 = 0.0;
    for (std::size_t a = 0; a < components; ++a) {
      double numerator = 0.0;
      double denominator = 0.0;
      for (std::size_t col = 0; col < cols; ++col) {
        const double value = residuals(row, col);
        if (std::isnan(value)) continue;
        numerator += value * model.loadings(a, col);
        denominator += model.loadings(a, col) * model.loadings(a, col);
      }
      const double score = denominator != 0.0 ? numerator / denominator : 0.0;
      result.scores(row, a) = score;
      for (std::size_t col = 0; col < cols; ++col) {
        if (!std::isnan(residuals(row, col))) residuals(row, col) -= score * model.loadings(a, col);
      }
      const double deviation = model.scores[a].standard_deviation;
      if (deviation != 0.0) t2 += (score / deviation) * (score / deviation);
    }
    double spe = 0.0;
    for (std::size_t col = 0; col < cols; ++col) {
      const double residual = residuals(row, col);
      if (!std::isnan(residual)) spe += residual * residual;
    }
    result.t2[row] = t2;
    result.spe[row] = spe;
  }
  return result;
}

}  // namespace mspc
