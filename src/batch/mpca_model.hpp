#pragma once

#include "pca/pca_model.hpp"

namespace mspc {

/// The time-wise multi-way PCA model: one row per batch, every variable at every time.
class CMPCAModel : public CPCAModel {
 public:
  explicit CMPCAModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
};

}  // namespace mspc
