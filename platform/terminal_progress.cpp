#include "platform/terminal_progress.hpp"

#include <algorithm>
#include <atomic>
#include <utility>

namespace mspc::platform {
namespace {

// Set from a signal handler, so it must be a lock-free atomic.
std::atomic<bool> cancel_requested{false};
static_assert(std::atomic<bool>::is_always_lock_free);

}  // namespace

TerminalProgress::TerminalProgress(bool is_terminal, std::ostream* stream, Clock clock)
    : draws_(is_terminal && stream != nullptr), stream_(stream), clock_(std::move(clock)) {}

TerminalProgress::~TerminalProgress() { ClearLine(); }

void TerminalProgress::Start(const std::string& caption, int steps) {
  running_ = true;
  caption_ = caption;
  steps_ = std::max(steps, 0);
  position_ = 0;
  Draw(/*force=*/true);
}

void TerminalProgress::SetCaption(const std::string& caption) {
  caption_ = caption;
  if (running_) Draw(/*force=*/true);
}

void TerminalProgress::SetPosition(int step) {
  position_ = std::clamp(step, 0, steps_);
  // The last step is always shown, so that a finished bar never looks stuck short of the end.
  if (running_) Draw(/*force=*/position_ == steps_);
}

void TerminalProgress::Stop() {
  running_ = false;
  ClearLine();
}

bool TerminalProgress::CancelRequested() {
  const auto now = clock_();
  if (last_poll_ && now - *last_poll_ < kCancelPollInterval) return false;
  last_poll_ = now;
  return cancel_requested.load();
}

void TerminalProgress::RequestCancel() noexcept { cancel_requested.store(true); }

void TerminalProgress::ResetCancel() noexcept { cancel_requested.store(false); }

bool TerminalProgress::CancelPending() noexcept { return cancel_requested.load(); }

std::string TerminalProgress::BarLine() const {
  if (steps_ <= 0) return caption_;
  const int filled = static_cast<int>(static_cast<long long>(position_) * kBarWidth / steps_);
  std::string line = caption_ + " [";
  line.append(static_cast<std::size_t>(filled), '#');
  line.append(static_cast<std::size_t>(kBarWidth - filled), ' ');
  line += "] " + std::to_string(position_) + "/" + std::to_string(steps_);
  return line;
}

void TerminalProgress::Draw(bool force) {
  if (!draws_) return;
  const auto now = clock_();
  if (!force && last_draw_ && now - *last_draw_ < kRedrawInterval) return;
  const std::string line = BarLine();
  if (line == drawn_text_) return;
  last_draw_ = now;
  // Blank out the rest of a longer line drawn before.
  const std::size_t width = std::max(line.size(), drawn_width_);
  *stream_ << '\r' << line << std::string(width - line.size(), ' ');
  stream_->flush();
  drawn_text_ = line;
  drawn_width_ = width;
}

void TerminalProgress::Redraw() {
  if (running_) Draw(/*force=*/true);
}

void TerminalProgress::ClearLine() {
  if (!draws_ || drawn_width_ == 0) return;
  *stream_ << '\r' << std::string(drawn_width_, ' ') << '\r';
  stream_->flush();
  drawn_text_.clear();
  drawn_width_ = 0;
  last_draw_.reset();
}

}  // namespace mspc::platform
