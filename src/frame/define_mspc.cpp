#include "frame/define_mspc.hpp"

#include "batch/bmpls_model.hpp"
#include "batch/mpca_model.hpp"
#include "batch/mpls_model.hpp"
#include "deploy/deployment_model.hpp"
#include "frame/automation_property.hpp"
#include "frame/hierarchical_model.hpp"
#include "frame/mspc.hpp"
#include "pca/pca_model.hpp"
#include "pls/pls_model.hpp"

namespace mspc {
namespace {

// Rows of the MSPC Startup list.
constexpr int kRowDeployment = 0;
constexpr int kRowPCA = 1;
constexpr int kRowPLS = 2;
constexpr int kRowThree = 3;
constexpr int kRowFour = 4;
constexpr int kRowFive = 5;
constexpr int kRowHierarchical = 6;

template <typename Model>
KindChoice Choose(CAnalysisSupport* analysis, int next_step) {
  return {std::make_unique<Model>(analysis), next_step};
}

}  // namespace

std::string MSPCStartup::TwinName() const { return "MSPCStartup"; }
std::string SimpleMSPCStartup::TwinName() const { return "SimpleMSPCStartup"; }

std::vector<AutomationProperty> MSPCStartup::Properties() {
  return {
      MakeProperty(
          "SelectedKind", *this, &MSPCStartup::get_SelectedKind, &MSPCStartup::put_SelectedKind),
      MakeReadOnlyProperty("Rows", *this, &MSPCStartup::get_Rows),
  };
}

std::vector<AutomationCommand> MSPCStartup::Commands() {
  return {MakeCommand("OK", *this, &MSPCStartup::OK),
          MakeCommand("Cancel", *this, &MSPCStartup::Cancel)};
}

int MSPCStartup::get_SelectedKind() const { return dialog_.CurrentRow(); }
void MSPCStartup::put_SelectedKind(int row) { dialog_.SelectRow(row); }

bool MSPCStartup::OK() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.OnOK(); });
}

bool MSPCStartup::Cancel() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.OnCancel(); });
}

std::vector<std::string> MSPCStartup::get_Rows() const {
  std::vector<std::string> titles;
  for (const MessageId id : dialog_.Rows()) titles.emplace_back(MessageText(id));
  return titles;
}

CDefineMSPC::CDefineMSPC(CMSPC& analysis) : CDefineMSPC(analysis, false) {}

CDefineMSPC::CDefineMSPC(CMSPC& analysis, bool simple)
    : CAnalysisModelessDialog(analysis),
      simple_(simple),
      current_row_(analysis.SelectedKind()),
      twin_(simple ? std::make_unique<SimpleMSPCStartup>(*this)
                   : std::make_unique<MSPCStartup>(*this)) {
  analysis.SetStandAloneResults(analysis.GetInitKeyword(kStandAloneResultsSetting, 0));
  if (simple_) {
    rows_ = {MessageId::kRowDeployment, MessageId::kRowPCA, MessageId::kRowPLS};
  } else {
    rows_ = {MessageId::kRowMSPCDeployment,
             MessageId::kRowPCA,
             MessageId::kRowPLS,
             MessageId::kRowBMPLS,
             MessageId::kRowTMPCA,
             MessageId::kRowTMPLS};
  }
}

bool CDefineMSPC::OnOK() {
  CMSPC& owner = analysis();
  // The old model goes before the new one is made: no two models live at once.
  owner.DeleteCurrentModel();
  owner.SetSelectedKind(current_row_);
  KindChoice choice = CreateModelForRow(current_row_, simple_, &owner);
  owner.SetCurrentModel(std::move(choice.model));
  owner.ExitDialog(choice.next_step, kDirectionForward, 0);
  return true;
}

bool CDefineMSPC::OnCancel() {
  analysis().ExitDialog(kStepEnd, kDirectionBack, 0);
  return true;
}

KindChoice CreateModelForRow(int row, bool simple, CAnalysisSupport* analysis) {
  switch (row) {
    case kRowDeployment:
      return Choose<CDeploymentModel>(analysis, kStepDeployStartup);
    case kRowPCA:
      return Choose<CPCAModel>(analysis, kStepPCAStartup);
    case kRowPLS:
      return Choose<CPLSModel>(analysis, kStepPLSStartup);
    case kRowThree:
      return simple ? Choose<CMPCAModel>(analysis, kStepTMPCAStartup)
                    : Choose<CBMPLSModel>(analysis, kStepBMPLSStartup);
    case kRowFour:
      return simple ? Choose<CMPLSModel>(analysis, kStepTMPLSStartup)
                    : Choose<CMPCAModel>(analysis, kStepTMPCAStartup);
    case kRowFive:
      return simple ? Choose<CBMPLSModel>(analysis, kStepBMPLSStartup)
                    : Choose<CMPLSModel>(analysis, kStepTMPLSStartup);
    case kRowHierarchical:
      return Choose<CHierarchicalModel>(analysis, kStepHierarchicalStartup);
    default:
      return Choose<CPCAModel>(analysis, kStepPCAStartup);
  }
}

}  // namespace mspc
