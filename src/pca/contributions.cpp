#include "pca/contributions.hpp"

#include <cassert>
#include <string>

#include "host/messages.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"
#include "pca/pca_engine.hpp"

namespace mspc {
namespace {

bool IsExcluded(const std::vector<bool>& excluded, std::size_t index) {
  return !excluded.empty() && excluded[index];
}

// x̃_j = e_j + sum_b t_b p_bj over the components b in [first, last). A missing e_j stays
// not-a-number.
double Reconstruct(std::span<const double> residual,
                   std::span<const double> scores,
                   const DMatrix& loadings,
                   std::size_t col,
                   std::size_t first,
                   std::size_t last) {
  double value = residual[col];
  // The components are added back from the last one down, in the order they were taken out.
  for (std::size_t b = last; b-- > first;) value += scores[b] * loadings(b, col);
  return value;
}

std::vector<double> ResidualRow(const PCAEngine& engine, std::size_t row) {
  std::vector<double> residual(engine.Cols(), kMissingValue);
  for (std::size_t col = 0; col < engine.Cols(); ++col) {
    if (engine.IsValidCell(row, col)) residual[col] = engine.Residual(row, col);
  }
  return residual;
}

std::vector<double> ScoreRow(const PCAEngine& engine, std::size_t row) {
  std::vector<double> scores;
  for (const CPCANode& node : engine.Nodes()) scores.push_back(node.t[row]);
  return scores;
}

std::vector<double> ScoreVariances(const PCAEngine& engine) {
  std::vector<double> variances;
  for (const CPCANode& node : engine.Nodes()) variances.push_back(node.score_variance);
  return variances;
}

}  // namespace

T2Contribution ComputeT2Contribution(std::span<const double> residual,
                                     std::span<const double> scores,
                                     const DMatrix& loadings,
                                     std::span<const double> score_variances,
                                     const std::vector<bool>& excluded_variables) {
  const std::size_t components = scores.size();
  assert(loadings.rows() == components && score_variances.size() == components);
  // Weights t_a / var_a; a component without spread has zero scores and adds nothing.
  std::vector<double> weights(components, 0.0);
  T2Contribution result;
  for (std::size_t a = 0; a < components; ++a) {
    if (IsTolerantZero(score_variances[a])) continue;
    weights[a] = scores[a] / score_variances[a];
    result.t2 += scores[a] * weights[a];
  }
  // An observation with all scores 0 has T² = 0: its contributions stay unnormalised sums.
  const bool normalise = TolerantGreater(result.t2, 0.0);
  for (std::size_t col = 0; col < residual.size(); ++col) {
    if (IsExcluded(excluded_variables, col)) continue;
    const double rebuilt = Reconstruct(residual, scores, loadings, col, 0, components);
    double contribution = 0.0;
    for (std::size_t a = 0; a < components; ++a) {
      contribution += weights[a] * rebuilt * loadings(a, col);
    }
    result.variables.push_back(col);
    result.values.push_back(normalise ? contribution / result.t2 : contribution);
  }
  return result;
}

std::vector<double> ComputeScoreContribution(std::span<const double> residual,
                                             std::span<const double> scores,
                                             const DMatrix& loadings,
                                             const std::vector<bool>& excluded_variables,
                                             int component,
                                             int model_variables) {
  assert(component >= 1 && static_cast<std::size_t>(component) <= scores.size());
  const auto index = static_cast<std::size_t>(component - 1);
  std::vector<double> contribution(residual.size(), 0.0);
  for (std::size_t col = 0; col < residual.size(); ++col) {
    if (IsExcluded(excluded_variables, col) || IsMissing(residual[col])) continue;
    const double rebuilt = Reconstruct(residual, scores, loadings, col, index, scores.size());
    const double loading = loadings(index, col);
    // The loading enters squared and the value is scaled by the number of variables.
    contribution[col] = model_variables * loading * loading * rebuilt;
  }
  return contribution;
}

SPEContribution ComputeSPEContribution(std::span<const double> residual,
                                       const std::vector<bool>& excluded_variables) {
  SPEContribution result;
  for (std::size_t col = 0; col < residual.size(); ++col) {
    if (IsExcluded(excluded_variables, col)) continue;
    result.variables.push_back(col);
    result.squared.push_back(residual[col] * residual[col]);
    result.residual.push_back(residual[col]);
  }
  return result;
}

T2Contribution ComputeT2Contribution(const PCAEngine& engine, std::size_t row) {
  return ComputeT2Contribution(ResidualRow(engine, row),
                               ScoreRow(engine, row),
                               engine.Loadings(),
                               ScoreVariances(engine),
                               engine.ExcludedVariables());
}

std::vector<double> ComputeScoreContribution(const PCAEngine& engine,
                                             std::size_t row,
                                             int component) {
  return ComputeScoreContribution(ResidualRow(engine, row),
                                  ScoreRow(engine, row),
                                  engine.Loadings(),
                                  engine.ExcludedVariables(),
                                  component,
                                  engine.ActiveVariables());
}

SPEContribution ComputeSPEContribution(const PCAEngine& engine, std::size_t row) {
  return ComputeSPEContribution(ResidualRow(engine, row), engine.ExcludedVariables());
}

std::string ScoreContributionTitle(int component, std::string_view observation_name) {
  if (observation_name.empty()) return FormatMessage(MessageId::kScoreContributionTitle, component);
  return FormatMessage(MessageId::kScoreContributionTitleNamed, component, observation_name);
}

std::string ScoreContributionSeries(int observation_number, std::string_view observation_name) {
  if (observation_name.empty()) {
    return FormatMessage(MessageId::kScoreContributionSeries, observation_number);
  }
  return FormatMessage(MessageId::kScoreContributionSeriesNamed, observation_name);
}

std::string T2ContributionTitle(int observation_number, std::string_view observation_name) {
  if (observation_name.empty()) {
    return FormatMessage(MessageId::kT2ContributionTitle, observation_number);
  }
  return FormatMessage(MessageId::kT2ContributionTitleNamed, observation_name);
}

std::string SPEContributionTitle(int observation_number, std::string_view observation_name) {
  if (observation_name.empty()) {
    return FormatMessage(MessageId::kSPEContributionTitle, observation_number);
  }
  return FormatMessage(MessageId::kSPEContributionTitleNamed, observation_name);
}

}  // namespace mspc
