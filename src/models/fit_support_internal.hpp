#pragma once

#include <cassert>
#include <cstddef>
#include <string>
#include <vector>

#include "host/messages.hpp"
#include "host/progress.hpp"

namespace mspc {

/// Shows "Computing..." while one component is fitted and takes the bar down however the
/// component ends, a cancel included.
class ProgressScope {
 public:
  ProgressScope(ProgressMonitor* progress, int steps) : progress_(progress) {
    if (progress_ != nullptr) {
      progress_->Start(std::string(MessageText(MessageId::kComputing)), steps);
    }
  }
  ~ProgressScope() {
    if (progress_ != nullptr) progress_->Stop();
  }
  ProgressScope(const ProgressScope&) = delete;
  ProgressScope& operator=(const ProgressScope&) = delete;

 private:
  ProgressMonitor* progress_;
};

/// An exclusion mask of `size` entries: the given one, or none excluded when it is empty.
inline std::vector<bool> ExclusionOrNone(std::vector<bool> excluded, std::size_t size) {
  if (excluded.empty()) excluded.assign(size, false);
  assert(excluded.size() == size);
  return excluded;
}

}  // namespace mspc
