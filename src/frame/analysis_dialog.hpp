#pragma once

#include <functional>

#include "frame/analysis_support.hpp"
#include "host/step_machinery.hpp"

namespace mspc {

class CMSPC;

/// The base of the analysis's modeless dialogs: the analysis object it belongs to.
class CAnalysisModelessDialog : public AnalysisDialog {
 public:
  explicit CAnalysisModelessDialog(CMSPC& analysis) : analysis_(analysis) {}

  CMSPC& analysis() const { return analysis_; }

 private:
  CMSPC& analysis_;
};

/// Run a dialog command at the host boundary. `AnalysisStop` shows its message, a failed
/// allocation the memory message, any other exception "Exception in analysis method:" with its
/// text and anything else "Unexpected error in analysis method"; each of these, and a cancel by
/// the user, makes the command answer false (refused, the dialog stays as it was).
bool GuardCommand(CAnalysisSupport& analysis, const std::function<bool()>& command);

}  // namespace mspc
