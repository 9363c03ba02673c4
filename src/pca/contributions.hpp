#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "models/dmatrix.hpp"

namespace mspc {

class PCAEngine;

/// The T² of one observation split over the variables, as fractions of T².
struct T2Contribution {
  std::vector<std::size_t> variables;  // the non-excluded variables, in order
  std::vector<double> values;          // one per listed variable; not-a-number where missing
  double t2 = 0.0;                     // sum_a t_a² / var_a
};

/// The SPE(Q) of one observation split over the variables.
struct SPEContribution {
  std::vector<std::size_t> variables;  // the non-excluded variables, in order
  std::vector<double> squared;         // e_j², not-a-number where missing
  std::vector<double> residual;        // e_j with its sign, not-a-number where missing
};

/// T² contribution of an observation from its residual row (not-a-number where missing), its
/// scores t_a, the loadings (A × K) and the score variances: the row is rebuilt with all A
/// components and c_j = (1 / T²) sum_a (t_a / var_a) x̃_j p_aj. When T² is not positive the
/// factor 1 / T² is not applied. A missing cell stays not-a-number.
T2Contribution ComputeT2Contribution(std::span<const double> residual,
                                     std::span<const double> scores,
                                     const DMatrix& loadings,
                                     std::span<const double> score_variances,
                                     const std::vector<bool>& excluded_variables);

/// Score contribution of an observation to component `component` (1-based): the row is rebuilt
/// with components a..A (as it stood when a was fitted) and c_j = K · p_aj² · x̃_j. Returns K
/// values; excluded variables and missing cells hold 0. `model_variables` is the model's K.
std::vector<double> ComputeScoreContribution(std::span<const double> residual,
                                             std::span<const double> scores,
                                             const DMatrix& loadings,
                                             const std::vector<bool>& excluded_variables,
                                             int component,
                                             int model_variables);

/// SPE(Q) contribution: the squared and the signed residual of every non-excluded variable.
SPEContribution ComputeSPEContribution(std::span<const double> residual,
                                       const std::vector<bool>& excluded_variables);

/// The same three for row `row` of a fitted engine.
T2Contribution ComputeT2Contribution(const PCAEngine& engine, std::size_t row);
std::vector<double> ComputeScoreContribution(const PCAEngine& engine,
                                             std::size_t row,
                                             int component);
SPEContribution ComputeSPEContribution(const PCAEngine& engine, std::size_t row);

/// Titles and series names of the contribution reports. An empty name gives the numbered form.
std::string ScoreContributionTitle(int component, std::string_view observation_name);
std::string ScoreContributionSeries(int observation_number, std::string_view observation_name);
std::string T2ContributionTitle(int observation_number, std::string_view observation_name);
std::string SPEContributionTitle(int observation_number, std::string_view observation_name);

}  // namespace mspc
