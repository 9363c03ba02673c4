#pragma once

#include <functional>
#include <memory>
#include <string>

#include "frame/analysis_support.hpp"
#include "frame/output_auto_update.hpp"
#include "frame/steps.hpp"
#include "models/base_model.hpp"

/// The host's document an analysis may be opened with; this host opens analyses without one.
class CAnalysisDoc;

namespace mspc {

/// The persistent setting that holds whether outputs are tracked for automatic update.
inline constexpr char kStandAloneResultsSetting[] = "StandAloneResults";

/// The analysis object: owns the current model, the output tracker and the step table the host
/// runs. One exists per open analysis; everything runs on the host's user-interface thread.
class CMSPC : public CAnalysisSupport {
 public:
  /// Make the analysis (simple mode 0: full list of kinds, 1: simple list) and register its
  /// step table. The document is kept for the host and not used.
  CMSPC(int simpleMode, CAnalysisDoc* document);
  ~CMSPC() override;
  CMSPC(const CMSPC&) = delete;
  CMSPC& operator=(const CMSPC&) = delete;

  /// 3391 in simple mode, 3390 otherwise.
  int GetAnalysisID() const;
  std::string GetAnalysisName() const;
  /// The module's resource instance. The module's texts are compiled into its string table,
  /// so it has no resource instance of its own and the handle is null.
  void* GetLibInstance() const;
  void Initialize() {}
  int InitializeAfterFileChanged() { return Init(); }
  /// Invalidate the module-wide variable cache, attach the host's services again (registering
  /// the step table) and refresh the current model's data reader; returns 1.
  int Init();
  /// Refresh the current model's data reader (the host's input file changed).
  void UpdateDataReader();
  bool AnalysisQueryUpdate(int, int, int, int) const { return false; }
  DataTable* GetOriginalInputTable() const { return host().table; }
  void ForwardSequence(int step, int direction) {
    CAnalysisSupport::ForwardSequence(step, direction);
  }

  /// Stop a running progress bar, then start one of `count` steps captioned "Reading data...".
  void tdstar(int count);
  /// Stop the progress bar started by `tdstar`, if it still runs.
  void ddstop();

  void SetNextOutputID(unsigned first, unsigned second);
  /// Forget the pair set by `SetNextOutputID` that no report has taken yet.
  void ClearNextOutputID() { tracker_->ClearPendingID(); }
  bool OutputExists(unsigned first, unsigned second) const;
  /// With standalone results on, record the routed output under the pending pair (true when
  /// recorded); with it off, do nothing and answer false.
  bool BeforeRouteOutput(const RoutedOutput& document);
  /// With standalone results on, hand every tracked output to the host again and answer 1;
  /// with it off, answer 0.
  int AutoUpdate(unsigned short flags);
  /// Route a report to the host's output: track it (`BeforeRouteOutput`), then hand it over.
  void RouteOutput(const RoutedOutput& output);

  // Step operations: -1 (kDialogOpened) when the step's dialog was opened, 0 otherwise.
  int StartAnalysis();
  int StartAnalysisSimple();
  int PCAStartup();
  int PCADetails();
  int PCAResults();
  int PLSStartup();
  int PLSDetails();
  int PLSResults();
  int MPCAStartup();
  int MPCADetails();
  int MPCAResults();
  int MPLSStartup();
  int MPLSDetails();
  int MPLSResults();
  int BMPLSStartup();
  int BMPLSResults();
  int DeployStartup();
  int HierarStartup();
  // Steps without a dialog: principal component regression is never offered, BMPLS has no
  // Details, the hierarchical model has only a Startup, and deployment reports from its Startup.
  int PCRStartup() { return NoDialog(); }
  int PCRDetails() { return NoDialog(); }
  int PCRResults() { return NoDialog(); }
  int BMPLSDetails() { return NoDialog(); }
  int HierarDetails() { return NoDialog(); }
  int HierarResults() { return NoDialog(); }
  int DeployResults() { return NoDialog(); }

  int SimpleMode() const { return simple_mode_; }
  /// The row last chosen in the MSPC Startup list.
  int SelectedKind() const { return selected_kind_; }
  void SetSelectedKind(int row) { selected_kind_ = row; }
  CBaseModel* CurrentModel() const { return current_model_.get(); }
  void SetCurrentModel(std::unique_ptr<CBaseModel> model) { current_model_ = std::move(model); }
  void DeleteCurrentModel() { current_model_.reset(); }
  int StandAloneResults() const { return standalone_results_; }
  void SetStandAloneResults(int value) { standalone_results_ = value; }
  bool ProgressRunning() const { return progress_running_; }

 private:
  static int NoDialog() { return 0; }
  /// Open the dialog `make` builds; 0 without a host, without a dialog or when memory ran out.
  int OpenStepDialog(const std::function<std::unique_ptr<AnalysisDialog>()>& make);
  int OpenModelStartup(ModelKind kind);
  int OpenFittedModelDialog(ModelKind kind, bool details);
  bool CurrentModelIs(ModelKind kind) const;

  std::unique_ptr<OutputAutoUpdate> tracker_;
  int simple_mode_ = 0;
  int selected_kind_ = 1;
  std::unique_ptr<CBaseModel> current_model_;
  int standalone_results_ = 0;
  bool progress_running_ = false;
  CAnalysisDoc* document_ = nullptr;
};

}  // namespace mspc
