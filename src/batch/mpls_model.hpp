#pragma once

#include "pls/pls_model.hpp"

namespace mspc {

/// The time-wise multi-way PLS model: one row per batch, dependents per batch.
class CMPLSModel : public CPLSModel {
 public:
  explicit CMPLSModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
};

}  // namespace mspc
