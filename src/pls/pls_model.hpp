#pragma once

#include "models/base_model.hpp"

namespace mspc {

/// The partial least squares model between a predictor and a dependent block.
class CPLSModel : public CMultivariate {
 public:
  explicit CPLSModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
};

}  // namespace mspc
