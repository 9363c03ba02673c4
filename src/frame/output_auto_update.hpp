#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "host/output_sink.hpp"

namespace mspc {

/// One report as the analysis routes it to the host.
using RoutedOutput = std::variant<Spreadsheet, Graph, TextReport>;

/// The identity of a produced output: the pair set by `SetNextOutputID` before it was made.
struct OutputId {
  unsigned first = 0;
  unsigned second = 0;
  friend bool operator==(const OutputId&, const OutputId&) = default;
};

/// Keeps the outputs the analysis produced, each under its pair of ids, so that they can be
/// found again and handed to the host once more.
///
/// Registration: `SetNextOutputID` names the next output; `BeforeRouteOutput` records the output
/// routed after it under that pair (a later output under the same pair replaces the earlier one
/// and keeps its place). Replay: `AutoUpdate` hands every tracked output to the host's sink
/// again, in the order the pairs were first produced, through the sink call that matches its
/// kind (spreadsheet, graph or text), so the host can rebuild its view of the analysis's outputs
/// with the latest version of each.
class OutputAutoUpdate {
 public:
  /// Name the next output produced.
  void SetNextOutputID(unsigned first, unsigned second);
  /// Whether an output was recorded under the pair.
  bool OutputExists(unsigned first, unsigned second) const;
  /// Record `output` under the pending pair and clear the pair. False when no pair is pending:
  /// an output nobody named is not tracked.
  bool BeforeRouteOutput(const RoutedOutput& output);
  /// Forget the pending pair (the output it named went to the host untracked).
  void ClearPendingID() { pending_.reset(); }
  /// Hand every tracked output to `sink` again; returns how many were handed over.
  std::size_t AutoUpdate(OutputSink& sink) const;
  /// Drop every tracked output and the pending pair.
  void ReleaseOutputs();

  std::size_t size() const { return outputs_.size(); }

 private:
  std::optional<OutputId> pending_;
  std::vector<std::pair<OutputId, RoutedOutput>> outputs_;
};

}  // namespace mspc
