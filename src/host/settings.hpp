#pragma once

#include <string>

namespace mspc {

/// Persistent named integers kept by the host between runs (`GetInitKeyword`/`PutInitKeyword`).
class Settings {
 public:
  virtual ~Settings() = default;
  /// The stored value of `name`, or `default_value` when none is stored.
  virtual int GetInitKeyword(const std::string& name, int default_value) const = 0;
  /// Store `value` under `name`.
  virtual void PutInitKeyword(const std::string& name, int value) = 0;
};

}  // namespace mspc
