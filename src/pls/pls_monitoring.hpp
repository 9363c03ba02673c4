#pragma once

#include <vector>

#include "models/control_limits.hpp"
#include "models/monitoring.hpp"

namespace mspc {

class PLSEngine;
class ProbabilityFunctions;

/// Which scores a score chart of a PLS model shows.
enum class PLSScoreType : int {
  kXScores = 0,  // t
  kYScores = 1,  // u
};

/// The monitoring statistics of a PLS model: Hotelling T² of the X scores, SPE(Q) of the X
/// residuals and the distance to the model, with their limits.
struct PLSMonitoring {
  std::vector<double> t2;  // per case; not-a-number for excluded cases
  ControlLimitSet t2_limits;
  std::vector<double> spe;  // per case, of the X block
  ControlLimitSet spe_limits;
  DistanceToModel distance;
};

/// T², SPE(Q) and the distance to the model of the stored components. Throws `AnalysisStop`
/// when no case is left to chart.
PLSMonitoring ComputePLSMonitoring(const PLSEngine& engine,
                                   const ChartLimitOptions& options,
                                   const ProbabilityFunctions& probability);

/// The limits of the score chart of every stored component, of the X scores t or the Y scores
/// u. Throws `AnalysisStop` when no case is left to chart.
std::vector<ControlLimitSet> ComputePLSScoreLimits(const PLSEngine& engine,
                                                   PLSScoreType type,
                                                   const ScoreLimitOptions& options,
                                                   const ProbabilityFunctions& probability);

}  // namespace mspc
