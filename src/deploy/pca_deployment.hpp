#pragma once

#include <vector>

#include "deploy/pca_document.hpp"
#include "models/dmatrix.hpp"

namespace mspc {

/// The statistics of new cases under a loaded PCA model.
struct PCADeploymentScores {
  DMatrix scaled;           // cases × columns: centred and scaled values, not-a-number if missing
  DMatrix scores;           // cases × components
  DMatrix residuals;        // cases × columns after every component, not-a-number if missing
  std::vector<double> t2;   // Hotelling T² per case
  std::vector<double> spe;  // SPE(Q) per case
};

/// The model's columns of `variables` (cases × fields, in the model's field order, with the
/// category codes of categorical fields; not-a-number or infinite where missing): each
/// continuous field one column, each categorical field one 0/1 column per category.
DMatrix ModelColumns(const LoadedPCAModel& model, const DMatrix& variables);

/// Score new cases (`columns` as `ModelColumns` gives them) the way the model scored its own
/// cases: centre by the stored means and divide by the stored scales (a zero scale centres
/// only); per component t_i = sum_j x_ij p_j / sum_j p_j² over the cells present, then deflate
/// those cells by t_i p_j. T² = sum_a (t_a / s_a)² (components with s_a = 0 add nothing) and
/// SPE(Q) = sum_j e_ij² over the cells present. A case without any cell present has
/// not-a-number scores and statistics.
PCADeploymentScores ScorePCA(const LoadedPCAModel& model, const DMatrix& columns);

}  // namespace mspc
