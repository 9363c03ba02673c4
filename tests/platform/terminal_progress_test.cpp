#include "platform/terminal_progress.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/recording_message_output.hpp"

namespace mspc::platform {
namespace {

using std::chrono::milliseconds;

TEST(TerminalProgress, CancelFlagIsLookedAtAtMostOncePerSecond) {
  TerminalProgress::ResetCancel();
  std::chrono::steady_clock::time_point now{};
  TerminalProgress progress(false, nullptr, [&] { return now; });
  EXPECT_FALSE(progress.CancelRequested());  // looks at t = 0: nothing asked
  TerminalProgress::RequestCancel();
  for (const int ms : {1, 500, 999}) {
    now = std::chrono::steady_clock::time_point{} + milliseconds(ms);
    EXPECT_FALSE(progress.CancelRequested()) << ms;
  }
  now = std::chrono::steady_clock::time_point{} + milliseconds(1000);
  EXPECT_TRUE(progress.CancelRequested());
  now += milliseconds(10);
  EXPECT_FALSE(progress.CancelRequested());
  TerminalProgress::ResetCancel();
  now += milliseconds(1000);
  EXPECT_FALSE(progress.CancelRequested());
}

TEST(TerminalProgress, DrawsOneLineInPlaceOnATerminalOnly) {
  std::chrono::steady_clock::time_point now{};
  std::ostringstream terminal;
  TerminalProgress progress(true, &terminal, [&] { return now; });
  const auto drawn = [&] {
    const std::string text = terminal.str();
    terminal.str("");
    return text;
  };
  progress.Start("Fitting", 60);
  EXPECT_EQ(drawn(), "\rFitting [                              ] 0/60");
  progress.SetPosition(12);  // within the redraw interval: not drawn
  EXPECT_EQ(drawn(), "");
  now += milliseconds(100);
  progress.SetPosition(12);
  EXPECT_EQ(drawn(), "\rFitting [######                        ] 12/60");
  progress.SetCaption("Fit");  // shorter: the rest of the old line is blanked
  EXPECT_EQ(drawn(), "\rFit [######                        ] 12/60    ");
  progress.SetPosition(99);  // clamped to the last step, always drawn
  EXPECT_EQ(drawn(), "\rFit [##############################] 60/60    ");
  progress.Stop();
  EXPECT_EQ(drawn(), "\r" + std::string(46, ' ') + "\r");
  progress.Stop();
  EXPECT_EQ(drawn(), "");

  TerminalProgress piped(false, &terminal);
  piped.Start("Fitting", 10);
  piped.SetPosition(10);
  piped.Stop();
  EXPECT_EQ(drawn(), "");
}

TEST(TerminalProgress, MessagesTakeTheBarDownAndItComesBackBelowThem) {
  std::chrono::steady_clock::time_point now{};
  std::ostringstream terminal;
  TerminalProgress progress(true, &terminal, [&] { return now; });
  RecordingMessageOutput recorded(&terminal);
  MessagesBesideProgress messages(recorded, progress);

  progress.Start("Reading data...", 3);
  terminal.str("");
  messages.Show(MessageKind::kNote, MessageId::kCancelledByUser, "3 cases removed");
  const std::string bar = "Reading data... [                              ] 0/3";
  EXPECT_EQ(terminal.str(),
            "\r" + std::string(bar.size(), ' ') + "\r" + "note: 3 cases removed\n\r" + bar);
  EXPECT_EQ(recorded.messages().size(), 1u);

  // Without a bar on the line a message prints as it is.
  progress.Stop();
  terminal.str("");
  messages.Show(MessageKind::kWarning, MessageId::kCancelledByUser, "late");
  EXPECT_EQ(terminal.str(), "warning: late\n");
}

}  // namespace
}  // namespace mspc::platform
