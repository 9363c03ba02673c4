#include "frame/analysis_support.hpp"

#include <utility>

namespace mspc {

void CAnalysisSupport::InitCommons(const HostServices& services) {
  host_ = services;
  if (host_.steps != nullptr) host_.steps->SetSequenceTable(sequence_table_);
}

void CAnalysisSupport::SetSequenceTable(std::vector<SequenceStep> table) {
  sequence_table_ = std::move(table);
  if (host_.steps != nullptr) host_.steps->SetSequenceTable(sequence_table_);
}

void CAnalysisSupport::ForwardSequence(int step, int direction) {
  if (host_.steps != nullptr) host_.steps->ForwardSequence(step, direction);
}

void CAnalysisSupport::ExitDialog(int next_step, int direction, int flags) {
  if (host_.steps != nullptr) host_.steps->ExitDialog(next_step, direction, flags);
}

void CAnalysisSupport::OpenDialog(std::unique_ptr<AnalysisDialog> dialog) {
  if (host_.steps != nullptr) host_.steps->OpenDialog(std::move(dialog));
}

void CAnalysisSupport::dstart(const std::string& caption, int steps) {
  if (host_.progress != nullptr) host_.progress->Start(caption, steps);
}

void CAnalysisSupport::dstop() {
  if (host_.progress != nullptr) host_.progress->Stop();
}

void CAnalysisSupport::PollCancel() {
  if (host_.progress != nullptr && host_.progress->CancelRequested()) throw UserAbort();
}

int CAnalysisSupport::GetInitKeyword(const std::string& name, int default_value) const {
  return host_.settings != nullptr ? host_.settings->GetInitKeyword(name, default_value)
                                   : default_value;
}

void CAnalysisSupport::PutInitKeyword(const std::string& name, int value) {
  if (host_.settings != nullptr) host_.settings->PutInitKeyword(name, value);
}

void CAnalysisSupport::ShowText(MessageKind kind, MessageId id, const std::string& text) {
  if (host_.messages != nullptr) host_.messages->Show(kind, id, text);
}

}  // namespace mspc
