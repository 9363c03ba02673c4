#pragma once

#include <string>

namespace mspc {

/// The host's progress bar and its cancellation flag.
class ProgressMonitor {
 public:
  virtual ~ProgressMonitor() = default;
  /// Show a progress bar with a caption and a number of steps (`dstart`).
  virtual void Start(const std::string& caption, int steps) = 0;
  /// Change the caption of the running bar.
  virtual void SetCaption(const std::string& caption) = 0;
  /// Move the bar to a step.
  virtual void SetPosition(int step) = 0;
  /// Take the bar down (`dstop`); harmless when none is shown.
  virtual void Stop() = 0;
  /// Whether the user asked to cancel. Cheap to call often: the host looks at its flag at most
  /// once per 1000 ms and answers false in between.
  virtual bool CancelRequested() = 0;
};

}  // namespace mspc
