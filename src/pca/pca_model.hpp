#pragma once

#include <memory>
#include <optional>

#include "frame/data_reader.hpp"
#include "frame/working_data.hpp"
#include "models/base_model.hpp"
#include "models/component_editor.hpp"
#include "pca/pca_engine.hpp"
#include "pca/pca_reports.hpp"

namespace mspc {

/// The principal components model: NIPALS components of the scaled working matrix.
class CPCAModel : public CMultivariate, public ComponentEditor {
 public:
  explicit CPCAModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
  /// Whether a fit exists, even one that accepted no component (its reports then say so).
  bool IsFitted() const override { return engine_ != nullptr; }
  /// Read the selected variables, screen and scale them, and fit components by the options'
  /// component mode. A cancel during the fit keeps the components accepted before it, with a
  /// note that says so; any other failure leaves the model without a fit.
  void Run(const StartupOptions& options) override;

  /// The screened and scaled working data of the last run.
  const WorkingData& working_data() const { return working_data_; }
  /// The fitted engine; only while `IsFitted()`.
  const PCAEngine& engine() const { return *engine_; }
  PCAEngine& engine() { return *engine_; }
  /// The settings of the Results dialog, kept with the model while its dialogs come and go.
  PCAReportOptions& report_options() { return report_options_; }
  const PCAReportOptions& report_options() const { return report_options_; }

  int ComponentCount() const override { return engine_->ComponentCount(); }
  /// Fit the next component and keep it whatever cross-validation says of it (its Q² and
  /// significance are still reported). Returns the message of a refusal: the degrees of
  /// freedom allow no further component.
  std::optional<MessageId> AddNextComponent() override;
  /// Drop the last component; false when there is none.
  bool RemoveLastComponent() override;
  /// Drop every component.
  void RemoveAllComponents() override;
  /// Fit further components under the component mode's stopping rules. Returns how many were
  /// added; when none, `refusal` holds the stopping rule's message. A cancel keeps those added
  /// before it.
  int AutoFitMoreComponents(std::optional<MessageId>& refusal) override;

 protected:
  /// Drop the fit, its data and the Results settings, as a new run begins.
  void ResetFit();
  /// An engine with the fit options of `options`, the host's progress and random source.
  std::unique_ptr<PCAEngine> NewEngine(const StartupOptions& options) const;
  /// Fit components into the loaded `engine` by its component mode and keep it, with `data`
  /// (the block it was loaded from), as the model's fit. A cancel keeps the components accepted
  /// before it, with a note that says so.
  void InstallFit(WorkingData data, std::unique_ptr<PCAEngine> engine);

  RemovalNotes removal_notes_;

 private:
  PCAFitOptions EngineOptions(const StartupOptions& options) const;
  void NoteCancel();

  WorkingData working_data_;
  std::unique_ptr<PCAEngine> engine_;
  PCAReportOptions report_options_;
};

}  // namespace mspc
