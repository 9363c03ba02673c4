#pragma once

#include "models/base_model.hpp"

namespace mspc {

/// The hierarchical model: a bare model object that fits nothing of its own. Only automation
/// reaches it (row 6 of the MSPC Startup list is never shown).
class CHierarchicalModel : public CBaseModel {
 public:
  explicit CHierarchicalModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
};

}  // namespace mspc
