#pragma once

#include <vector>

#include "deploy/pls_document.hpp"
#include "models/dmatrix.hpp"

namespace mspc {

/// The statistics of new cases under a loaded PLS model.
struct PLSDeploymentScores {
  DMatrix scaled;            // cases × X columns: centred and scaled, not-a-number if missing
  DMatrix x_scores;          // cases × components: t
  DMatrix y_scores;          // cases × components: u, not-a-number without a dependent value
  DMatrix residuals;         // cases × X columns after every component
  DMatrix t2_contributions;  // cases × X columns; a case's row adds up to its T²
  DMatrix predicted;         // cases × Y columns, in the units of the data
  DMatrix observed;     // cases × Y columns as read (dummy columns 0/1); not-a-number if missing
  DMatrix y_residuals;  // observed - predicted where observed
  std::vector<double> t2;        // Hotelling T² of the X scores
  std::vector<double> spe;       // SPE(Q) of the X residuals
  std::vector<double> distance;  // sqrt(SPE / (P - A)); not-a-number when P - A < 1
};

/// The columns of `fields` in `variables` (cases × fields, in field order, with the category
/// codes of categorical fields; not-a-number or infinite where missing): each continuous field
/// one column, each categorical field one 0/1 column per category.
DMatrix BlockColumns(const std::vector<DocumentField>& fields,
                     const std::vector<DocumentColumn>& columns,
                     const DMatrix& variables);

/// Score new cases the way the model scored its own cases. X: centre by the stored means and
/// divide by the stored scales (a zero scale centres only); per component
/// t = sum_j x_j w_j / sum_j w_j² over the cells present, then deflate those cells by t p_j, and
/// add b t q to the scaled prediction. T² = sum_a (t_a / s_a)² (components with s_a = 0 add
/// nothing), SPE(Q) = sum_j e_j² over the cells present. Y (`y_columns` may have no rows when
/// the table holds no dependent): u = sum_k f_k q_k / sum_k q_k² over the dependent cells present,
/// deflated by b t q. Predictions are scaled back with the dependents' means and scales. A case
/// without any predictor present has not-a-number statistics.
PLSDeploymentScores ScorePLS(const LoadedPLSModel& model,
                             const DMatrix& x_columns,
                             const DMatrix& y_columns);

}  // namespace mspc
