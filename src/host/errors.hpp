#pragma once

#include <exception>
#include <string>
#include <utility>

#include "host/messages.hpp"

namespace mspc {

/// The analysis ends with a message: thrown where a check fails, caught at the host entry point
/// (a step, a dialog command, an automation method) that shows the message.
class AnalysisStop : public std::exception {
 public:
  AnalysisStop(MessageId id, std::string text) : id_(id), text_(std::move(text)) {}

  /// Stop with the resource text of `id` formatted with `args`.
  template <typename... Args>
  static AnalysisStop With(MessageId id, const Args&... args) {
    return AnalysisStop(id, FormatMessage(id, args...));
  }

  MessageId id() const { return id_; }
  const std::string& text() const { return text_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  MessageId id_;
  std::string text_;
};

/// The user cancelled through the progress poll; components accepted before it stay.
class UserAbort : public std::exception {
 public:
  const char* what() const noexcept override { return "cancelled by the user"; }
};

}  // namespace mspc
