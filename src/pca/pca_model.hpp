#pragma once

#include "frame/data_reader.hpp"
#include "frame/working_data.hpp"
#include "models/base_model.hpp"

namespace mspc {

/// The principal components model: NIPALS components of the scaled working matrix.
class CPCAModel : public CMultivariate {
 public:
  explicit CPCAModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
  /// Read the selected variables, screen and scale them. The components are fitted by the
  /// PCA engine once it is part of the build; until then the run ends after scaling with a
  /// message that says so.
  void Run(const StartupOptions& options) override;

  /// The screened and scaled working data of the last run.
  const WorkingData& working_data() const { return working_data_; }

 private:
  RemovalNotes removal_notes_;
  WorkingData working_data_;
};

}  // namespace mspc
