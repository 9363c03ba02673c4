#pragma once

#include "host/probability.hpp"

namespace mspc::platform {

/// Quantiles of the F, chi-square and Student t distributions by Boost.Math, for any positive
/// (also non-integer) degrees of freedom. Invalid arguments (a probability outside (0, 1), a
/// non-positive or NaN degree of freedom) give NaN; nothing is thrown.
class BoostProbability : public ProbabilityFunctions {
 public:
  double FQuantile(double p, double d1, double d2) const override;
  double ChiSquareQuantile(double p, double d) const override;
  double StudentTQuantile(double p, double d) const override;
};

}  // namespace mspc::platform
