#pragma once

namespace mspc {

/// How many components a fit extracts: the component mode of every multivariate model, chosen
/// on a Startup dialog's Options tab.
enum class ComponentMode : int {
  AutoFitByCrossValidation = 0,  // cross-validation decides whether each component is significant
  FixedNumberOfComponents = 1,   // up to `NumberOfComponents`
  EigenvalueLimit = 2,           // while the eigenvalue exceeds `MinEigenvalueLimit`
};

/// Bounds of the NIPALS iteration limit.
inline constexpr int kMinIterations = 1;
inline constexpr int kMaxIterations = 1000;

}  // namespace mspc
