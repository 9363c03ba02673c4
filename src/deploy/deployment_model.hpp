#pragma once

#include <string>
#include <utility>
#include <vector>

#include "models/base_model.hpp"

namespace mspc {

/// One model document to deploy: a file name or the document's text.
struct ModelSource {
  std::string text;  // the file name, or the document itself
  bool is_file = true;
};

/// The deployment of saved model documents on the current table.
class CDeploymentModel : public CMultivariate {
 public:
  explicit CDeploymentModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;

  /// Replace the model documents to load, in the order they are to be loaded.
  void SetSources(std::vector<ModelSource> sources) { sources_ = std::move(sources); }
  const std::vector<ModelSource>& sources() const { return sources_; }

 private:
  std::vector<ModelSource> sources_;
};

}  // namespace mspc
