#pragma once

namespace mspc {

/// Quantile functions of the host. Probabilities lie in (0, 1); degrees of freedom may be
/// non-integer.
class ProbabilityFunctions {
 public:
  virtual ~ProbabilityFunctions() = default;
  /// F⁻¹(p; d1, d2).
  virtual double FQuantile(double p, double d1, double d2) const = 0;
  /// χ²⁻¹(p; d).
  virtual double ChiSquareQuantile(double p, double d) const = 0;
  /// t⁻¹(p; d) of Student's t distribution.
  virtual double StudentTQuantile(double p, double d) const = 0;
};

}  // namespace mspc
