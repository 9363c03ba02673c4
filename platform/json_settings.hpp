#pragma once

#include <map>
#include <string>

#include "host/settings.hpp"

namespace mspc::platform {

/// Named integers kept in a JSON object in a file. A missing, unreadable or malformed file
/// reads as empty and is left as it is until the first `PutInitKeyword`, which rewrites the
/// file whole (temporary file and rename), creating its folder when needed.
class JsonSettings : public Settings {
 public:
  /// Keep the settings in the file at `path`; an empty path keeps them in memory only.
  explicit JsonSettings(std::string path);

  /// `$XDG_CONFIG_HOME/krv-mspc/settings.json`, or `$HOME/.config/krv-mspc/settings.json`
  /// when that variable is unset, empty or relative; empty when neither can be formed.
  static std::string DefaultPath();

  int GetInitKeyword(const std::string& name, int default_value) const override;
  void PutInitKeyword(const std::string& name, int value) override;

  /// Why the last `PutInitKeyword` could not write the file; empty after a successful write.
  const std::string& last_error() const { return last_error_; }

 private:
  std::string path_;
  std::map<std::string, int> values_;
  std::map<std::string, int> put_values_;  // the values this object has put
  std::string last_error_;
};

}  // namespace mspc::platform
