#pragma once

namespace mspc {

/// The step numbers of the analysis's step table. A dialog ends its step by naming the next;
/// `kStepEnd` names no row, so the sequence ends there.
enum AnalysisStep : int {
  kStepEnd = 0,
  kStepInit = 100,
  kStepMSPCStartup = 101,
  kStepPCAStartup = 102,
  kStepPCAResults = 103,
  kStepPCADetails = 104,
  kStepTMPCAStartup = 105,
  kStepTMPCAResults = 106,
  kStepTMPCADetails = 107,
  kStepPCRStartup = 108,
  kStepPCRResults = 109,
  kStepPCRDetails = 110,
  kStepPLSStartup = 111,
  kStepPLSResults = 112,
  kStepPLSDetails = 113,
  kStepTMPLSStartup = 114,
  kStepTMPLSResults = 115,
  kStepTMPLSDetails = 116,
  kStepBMPLSStartup = 117,
  kStepBMPLSResults = 118,
  kStepBMPLSDetails = 119,
  kStepDeployStartup = 120,
  kStepDeployResults = 121,
  kStepHierarchicalStartup = 122,
  kStepHierarchicalDetails = 123,
  kStepHierarchicalResults = 124,
};

/// What a step operation returns when it opened its dialog (all bits set); 0 means it did not.
constexpr int kDialogOpened = -1;

}  // namespace mspc
