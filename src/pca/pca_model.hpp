#pragma once

#include "models/base_model.hpp"

namespace mspc {

/// The principal components model: NIPALS components of the scaled working matrix.
class CPCAModel : public CMultivariate {
 public:
  explicit CPCAModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
};

}  // namespace mspc
