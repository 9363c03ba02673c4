#include "frame/output_auto_update.hpp"

#include <algorithm>

namespace mspc {
namespace {

// Send one output through the sink call of its kind.
struct RouteToSink {
  OutputSink& sink;
  void operator()(const Spreadsheet& sheet) const { sink.AddSpreadsheet(sheet); }
  void operator()(const Graph& graph) const { sink.AddGraph(graph); }
  void operator()(const TextReport& text) const { sink.AddText(text); }
};

}  // namespace

void OutputAutoUpdate::SetNextOutputID(unsigned first, unsigned second) {
  pending_ = OutputId{first, second};
}

bool OutputAutoUpdate::OutputExists(unsigned first, unsigned second) const {
  const OutputId id{first, second};
  return std::any_of(
      outputs_.begin(), outputs_.end(), [&id](const auto& entry) { return entry.first == id; });
}

bool OutputAutoUpdate::BeforeRouteOutput(const RoutedOutput& output) {
  if (!pending_) return false;
  const OutputId id = *pending_;
  pending_.reset();
  const auto found = std::find_if(
      outputs_.begin(), outputs_.end(), [&id](const auto& entry) { return entry.first == id; });
  if (found != outputs_.end()) {
    found->second = output;
  } else {
    outputs_.emplace_back(id, output);
  }
  return true;
}

std::size_t OutputAutoUpdate::AutoUpdate(OutputSink& sink) const {
  for (const auto& entry : outputs_) std::visit(RouteToSink{sink}, entry.second);
  return outputs_.size();
}

void OutputAutoUpdate::ReleaseOutputs() {
  outputs_.clear();
  pending_.reset();
}

}  // namespace mspc
