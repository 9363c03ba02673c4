#include "frame/mspc.hpp"

#include <new>
#include <utility>
#include <vector>

#include "frame/batch_pls_results.hpp"
#include "frame/define_mspc.hpp"
#include "frame/model_startup.hpp"
#include "frame/mpca_results.hpp"
#include "frame/other_startups.hpp"
#include "frame/pca_results.hpp"
#include "frame/pls_results.hpp"
#include "frame/variable_lookup.hpp"

namespace mspc {
namespace {

constexpr int kAnalysisID = 3390;
constexpr int kSimpleAnalysisID = 3391;

// The Results and Details dialogs of a kind come with the kind's fit; a kind without them has
// nothing to open at its Results and Details steps even for a fitted model.
std::unique_ptr<AnalysisDialog> MakeFittedModelDialog(CMSPC& analysis,
                                                      ModelKind kind,
                                                      bool details) {
  if (kind == ModelKind::kPCA) {
    if (details) return std::make_unique<CPCADetails>(analysis);
    return std::make_unique<CPCAResults>(analysis);
  }
  if (kind == ModelKind::kPLS) {
    if (details) return std::make_unique<CPLSDetails>(analysis);
    return std::make_unique<CPLSResults>(analysis);
  }
  if (kind == ModelKind::kTMPCA) {
    if (details) return std::make_unique<CPCADetails>(analysis, kStepTMPCAResults, "TMPCADetails");
    return std::make_unique<CMPCAResults>(analysis);
  }
  if (kind == ModelKind::kTMPLS) {
    if (details) return std::make_unique<CPLSDetails>(analysis, "TMPLSDetails", kStepTMPLSResults);
    return std::make_unique<CTMPLSResults>(analysis);
  }
  if (kind == ModelKind::kBMPLS && !details) return std::make_unique<CBMPLSResults>(analysis);
  return nullptr;
}

}  // namespace

CMSPC::CMSPC(int simpleMode, CAnalysisDoc* document)
    : tracker_(std::make_unique<OutputAutoUpdate>()),
      simple_mode_(simpleMode),
      document_(document) {
  // Rows in their stored order: Init, the MSPC Startup list, deployment, then the kinds by
  // step number, then the hierarchical steps. Only Init has a default successor.
  std::vector<SequenceStep> table;
  const auto add = [this, &table](int step, int (CMSPC::*operation)(), int successor = 0) {
    table.push_back({step, [this, operation] { return (this->*operation)(); }, successor});
  };
  add(kStepInit, &CMSPC::Init, kStepMSPCStartup);
  add(kStepMSPCStartup, simple_mode_ != 0 ? &CMSPC::StartAnalysisSimple : &CMSPC::StartAnalysis);
  add(kStepDeployStartup, &CMSPC::DeployStartup);
  add(kStepDeployResults, &CMSPC::DeployResults);
  add(kStepPCAStartup, &CMSPC::PCAStartup);
  add(kStepPCAResults, &CMSPC::PCAResults);
  add(kStepPCADetails, &CMSPC::PCADetails);
  add(kStepTMPCAStartup, &CMSPC::MPCAStartup);
  add(kStepTMPCAResults, &CMSPC::MPCAResults);
  add(kStepTMPCADetails, &CMSPC::MPCADetails);
  add(kStepPCRStartup, &CMSPC::PCRStartup);
  add(kStepPCRResults, &CMSPC::PCRResults);
  add(kStepPCRDetails, &CMSPC::PCRDetails);
  add(kStepPLSStartup, &CMSPC::PLSStartup);
  add(kStepPLSResults, &CMSPC::PLSResults);
  add(kStepPLSDetails, &CMSPC::PLSDetails);
  add(kStepTMPLSStartup, &CMSPC::MPLSStartup);
  add(kStepTMPLSResults, &CMSPC::MPLSResults);
  add(kStepTMPLSDetails, &CMSPC::MPLSDetails);
  add(kStepBMPLSStartup, &CMSPC::BMPLSStartup);
  add(kStepBMPLSResults, &CMSPC::BMPLSResults);
  add(kStepBMPLSDetails, &CMSPC::BMPLSDetails);
  add(kStepHierarchicalStartup, &CMSPC::HierarStartup);
  add(kStepHierarchicalDetails, &CMSPC::HierarDetails);
  add(kStepHierarchicalResults, &CMSPC::HierarResults);
  SetSequenceTable(std::move(table));
}

CMSPC::~CMSPC() {
  // The tracker goes first so that no output is replayed while the model is torn down. This
  // tracker holds copies only, so releasing is the same with or without automation.
  tracker_->ReleaseOutputs();
  tracker_.reset();
  current_model_.reset();
  document_ = nullptr;
}

int CMSPC::GetAnalysisID() const { return simple_mode_ != 0 ? kSimpleAnalysisID : kAnalysisID; }

std::string CMSPC::GetAnalysisName() const {
  return std::string(MessageText(MessageId::kAnalysisName));
}

void* CMSPC::GetLibInstance() const { return nullptr; }

int CMSPC::Init() {
  ResetVariableLookupCache();
  InitCommons(host());
  UpdateDataReader();
  return 1;
}

void CMSPC::UpdateDataReader() {
  if (current_model_ != nullptr && current_model_->data_reader() != nullptr) {
    current_model_->data_reader()->Refresh();
  }
}

void CMSPC::tdstar(int count) {
  if (progress_running_) dstop();
  dstart(std::string(MessageText(MessageId::kReadingData)), count);
  progress_running_ = true;
}

void CMSPC::ddstop() {
  if (progress_running_) dstop();
  progress_running_ = false;
}

void CMSPC::SetNextOutputID(unsigned first, unsigned second) {
  tracker_->SetNextOutputID(first, second);
}

bool CMSPC::OutputExists(unsigned first, unsigned second) const {
  return tracker_->OutputExists(first, second);
}

bool CMSPC::BeforeRouteOutput(const RoutedOutput& document) {
  if (standalone_results_ == 0) return false;
  return tracker_->BeforeRouteOutput(document);
}

int CMSPC::AutoUpdate(unsigned short /*flags*/) {
  if (standalone_results_ == 0) return 0;
  if (host().output != nullptr) tracker_->AutoUpdate(*host().output);
  return 1;
}

void CMSPC::RouteOutput(const RoutedOutput& output) {
  BeforeRouteOutput(output);
  // A pair that was not consumed (standalone results off) must not name a later output.
  tracker_->ClearPendingID();
  if (host().output == nullptr) return;
  std::visit(
      [this](const auto& report) {
        using Report = std::decay_t<decltype(report)>;
        if constexpr (std::is_same_v<Report, Spreadsheet>) {
          host().output->AddSpreadsheet(report);
        } else if constexpr (std::is_same_v<Report, Graph>) {
          host().output->AddGraph(report);
        } else {
          host().output->AddText(report);
        }
      },
      output);
}

int CMSPC::StartAnalysis() {
  DeleteCurrentModel();
  return OpenStepDialog([this] { return std::make_unique<CDefineMSPC>(*this); });
}

int CMSPC::StartAnalysisSimple() {
  DeleteCurrentModel();
  return OpenStepDialog([this] { return std::make_unique<CDefineSimple>(*this); });
}

int CMSPC::PCAStartup() { return OpenModelStartup(ModelKind::kPCA); }
int CMSPC::PCADetails() { return OpenFittedModelDialog(ModelKind::kPCA, true); }
int CMSPC::PCAResults() { return OpenFittedModelDialog(ModelKind::kPCA, false); }
int CMSPC::PLSStartup() { return OpenModelStartup(ModelKind::kPLS); }
int CMSPC::PLSDetails() { return OpenFittedModelDialog(ModelKind::kPLS, true); }
int CMSPC::PLSResults() { return OpenFittedModelDialog(ModelKind::kPLS, false); }
int CMSPC::MPCAStartup() { return OpenModelStartup(ModelKind::kTMPCA); }
int CMSPC::MPCADetails() { return OpenFittedModelDialog(ModelKind::kTMPCA, true); }
int CMSPC::MPCAResults() { return OpenFittedModelDialog(ModelKind::kTMPCA, false); }
int CMSPC::MPLSStartup() { return OpenModelStartup(ModelKind::kTMPLS); }
int CMSPC::MPLSDetails() { return OpenFittedModelDialog(ModelKind::kTMPLS, true); }
int CMSPC::MPLSResults() { return OpenFittedModelDialog(ModelKind::kTMPLS, false); }
int CMSPC::BMPLSStartup() { return OpenModelStartup(ModelKind::kBMPLS); }
int CMSPC::BMPLSResults() { return OpenFittedModelDialog(ModelKind::kBMPLS, false); }
int CMSPC::DeployStartup() { return OpenModelStartup(ModelKind::kDeployment); }
int CMSPC::HierarStartup() { return OpenModelStartup(ModelKind::kHierarchical); }

int CMSPC::OpenStepDialog(const std::function<std::unique_ptr<AnalysisDialog>()>& make) {
  if (!HasHost()) return 0;
  try {
    std::unique_ptr<AnalysisDialog> dialog = make();
    if (dialog == nullptr) return 0;
    OpenDialog(std::move(dialog));
    return kDialogOpened;
  } catch (const std::bad_alloc&) {
    ShowMessage(MessageKind::kStop, MessageId::kMemoryAllocationFailed);
    return 0;
  }
}

// A kind's Startup shows the current model's options, so it opens only over a model of its
// kind (made by the MSPC Startup's OK).
int CMSPC::OpenModelStartup(ModelKind kind) {
  if (!CurrentModelIs(kind)) return 0;
  return OpenStepDialog([this, kind]() -> std::unique_ptr<AnalysisDialog> {
    switch (kind) {
      case ModelKind::kDeployment:
        return std::make_unique<DeploymentStartupDialog>(*this);
      case ModelKind::kHierarchical:
        return std::make_unique<HierarchicalStartupDialog>(*this);
      case ModelKind::kPCA:
        return std::make_unique<ModelStartupDialog>(*this, StartupKind::kPCA);
      case ModelKind::kPLS:
        return std::make_unique<ModelStartupDialog>(*this, StartupKind::kPLS);
      case ModelKind::kTMPCA:
        return std::make_unique<ModelStartupDialog>(*this, StartupKind::kTMPCA);
      case ModelKind::kTMPLS:
        return std::make_unique<ModelStartupDialog>(*this, StartupKind::kTMPLS);
      case ModelKind::kBMPLS:
        return std::make_unique<ModelStartupDialog>(*this, StartupKind::kBMPLS);
    }
    return nullptr;
  });
}

// Results and Details dialogs show a fitted model of their kind; without one they do not open.
int CMSPC::OpenFittedModelDialog(ModelKind kind, bool details) {
  if (!CurrentModelIs(kind) || !current_model_->IsFitted()) return 0;
  return OpenStepDialog(
      [this, kind, details] { return MakeFittedModelDialog(*this, kind, details); });
}

bool CMSPC::CurrentModelIs(ModelKind kind) const {
  return current_model_ != nullptr && current_model_->Kind() == kind;
}

}  // namespace mspc
