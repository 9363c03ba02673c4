#include "pls/pls_monitoring.hpp"

#include "pls/pls_engine.hpp"

namespace mspc {

PLSMonitoring ComputePLSMonitoring(const PLSEngine& engine,
                                   const ChartLimitOptions& options,
                                   const ProbabilityFunctions& probability) {
  PLSMonitoring result;
  const std::vector<double> deviations = engine.XScoreStandardDeviations();
  result.t2 = ComputeHotellingT2(engine.XScores(), deviations, engine.ExcludedRows());
  result.t2_limits =
      ComputeT2Limits(options, engine.ActiveRows(), engine.ComponentCount(), probability);
  const DMatrix residuals = engine.XResiduals();
  result.spe = ComputeSPE(residuals, engine.ExcludedRows(), engine.ExcludedXColumns());
  result.spe_limits = ComputeSPELimits(result.spe, options, probability);
  result.distance = ComputeDistanceToModel(residuals,
                                           engine.ExcludedRows(),
                                           engine.ExcludedXColumns(),
                                           engine.ActiveRows(),
                                           engine.ActiveXColumns(),
                                           engine.ComponentCount());
  return result;
}

std::vector<ControlLimitSet> ComputePLSScoreLimits(const PLSEngine& engine,
                                                   PLSScoreType type,
                                                   const ScoreLimitOptions& options,
                                                   const ProbabilityFunctions& probability) {
  const DMatrix scores = type == PLSScoreType::kXScores ? engine.XScores() : engine.YScores();
  std::vector<ControlLimitSet> limits;
  limits.reserve(scores.cols());
  std::vector<double> column(scores.rows());
  for (std::size_t a = 0; a < scores.cols(); ++a) {
    for (std::size_t row = 0; row < scores.rows(); ++row) column[row] = scores(row, a);
    limits.push_back(ComputeScoreLimits(column, engine.ActiveRows(), options, probability));
  }
  return limits;
}

}  // namespace mspc
