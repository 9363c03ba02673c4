#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "host/message_output.hpp"
#include "host/progress.hpp"

namespace mspc::platform {

/// The progress bar of a terminal run: one line redrawn in place on standard error
/// ("<caption> [#####     ] 12/60") and taken down on Stop. Cancellation is a process-wide
/// flag that a SIGINT handler may set; the analysis sees it through `CancelRequested`, which
/// looks at the flag at most once per `kCancelPollInterval`.
class TerminalProgress : public ProgressMonitor {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  static constexpr std::chrono::milliseconds kCancelPollInterval{1000};
  static constexpr std::chrono::milliseconds kRedrawInterval{100};
  static constexpr int kBarWidth = 30;

  /// Draw on `stream` when `is_terminal` (and `stream` is not null); otherwise only keep track.
  /// `clock` is the time source of both throttles.
  TerminalProgress(
      bool is_terminal, std::ostream* stream, Clock clock = [] {
        return std::chrono::steady_clock::now();
      });
  ~TerminalProgress() override;
  TerminalProgress(const TerminalProgress&) = delete;
  TerminalProgress& operator=(const TerminalProgress&) = delete;

  void Start(const std::string& caption, int steps) override;
  void SetCaption(const std::string& caption) override;
  void SetPosition(int step) override;
  void Stop() override;
  bool CancelRequested() override;

  /// Take the bar's line off the terminal for something else to be printed; the bar keeps
  /// its state and comes back with `Redraw`.
  void ClearLine();
  /// Draw the running bar again, after `ClearLine`.
  void Redraw();

  /// Raise the cancel flag. Async-signal-safe, for a SIGINT handler.
  static void RequestCancel() noexcept;
  /// Lower the cancel flag (before a new run).
  static void ResetCancel() noexcept;
  /// Whether the cancel flag is raised, without the throttle of `CancelRequested`.
  static bool CancelPending() noexcept;

  bool running() const { return running_; }
  const std::string& caption() const { return caption_; }
  int steps() const { return steps_; }
  int position() const { return position_; }

 private:
  std::string BarLine() const;
  void Draw(bool force);

  bool draws_;
  std::ostream* stream_;
  Clock clock_;
  bool running_ = false;
  std::string caption_;
  int steps_ = 0;
  int position_ = 0;
  std::optional<std::chrono::steady_clock::time_point> last_poll_;
  std::optional<std::chrono::steady_clock::time_point> last_draw_;
  std::string drawn_text_;       // the bar line the terminal shows now
  std::size_t drawn_width_ = 0;  // columns written on the line, 0 when nothing is shown
};

/// Prints the analysis's messages on the terminal that shows the progress bar: the bar's line is
/// taken down before a message and drawn again after it, so that the two never share a line.
class MessagesBesideProgress : public MessageOutput {
 public:
  MessagesBesideProgress(MessageOutput& messages, TerminalProgress& progress)
      : messages_(messages), progress_(progress) {}

  void Show(MessageKind kind, MessageId id, const std::string& text) override {
    progress_.ClearLine();
    messages_.Show(kind, id, text);
    progress_.Redraw();
  }

 private:
  MessageOutput& messages_;
  TerminalProgress& progress_;
};

}  // namespace mspc::platform
