#include "frame/analysis_dialog.hpp"

#include <exception>
#include <new>
#include <string>

#include "host/errors.hpp"

namespace mspc {

bool GuardCommand(CAnalysisSupport& analysis, const std::function<bool()>& command) {
  try {
    return command();
  } catch (const AnalysisStop& stop) {
    analysis.ShowText(MessageKind::kStop, stop.id(), stop.text());
  } catch (const UserAbort&) {
    // The user cancelled from the progress bar; there is nothing to tell them.
  } catch (const std::bad_alloc&) {
    analysis.ShowMessage(MessageKind::kStop, MessageId::kMemoryAllocationFailed);
  } catch (const std::exception& error) {
    std::string text(MessageText(MessageId::kExceptionInAnalysisMethod));
    text += ' ';
    text += error.what();
    analysis.ShowText(MessageKind::kStop, MessageId::kExceptionInAnalysisMethod, text);
  } catch (...) {
    analysis.ShowMessage(MessageKind::kStop, MessageId::kUnexpectedErrorInAnalysisMethod);
  }
  return false;
}

}  // namespace mspc
