#pragma once

#include "pls/pls_model.hpp"

namespace mspc {

/// The batch-wise multi-way PLS model: one row per batch and time, the time as the dependent.
class CBMPLSModel : public CPLSModel {
 public:
  explicit CBMPLSModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
};

}  // namespace mspc
