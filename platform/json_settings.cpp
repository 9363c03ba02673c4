#include "platform/json_settings.hpp"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "host/messages.hpp"
#include "platform/file_io.hpp"

namespace mspc::platform {
namespace {

constexpr const char* kApplicationFolder = "krv-mspc";
constexpr const char* kSettingsFileName = "settings.json";

// The integers stored in the file; anything else in it (other types, values out of range, a
// file that is not a JSON object) is ignored.
std::map<std::string, int> ReadSettingsFile(const std::string& path) {
  std::map<std::string, int> values;
  std::string text;
  std::string error;
  if (path.empty() || !ReadWholeFile(path, &text, &error)) return values;
  const nlohmann::json document = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!document.is_object()) return values;
  for (const auto& [name, value] : document.items()) {
    if (value.is_number_integer()) {
      const auto number = value.get<std::int64_t>();
      if (number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max()) {
        values[name] = static_cast<int>(number);
      }
    } else if (value.is_number_unsigned()) {
      const auto number = value.get<std::uint64_t>();
      if (number <= static_cast<std::uint64_t>(std::numeric_limits<int>::max())) {
        values[name] = static_cast<int>(number);
      }
    }
  }
  return values;
}

}  // namespace

JsonSettings::JsonSettings(std::string path)
    : path_(std::move(path)), values_(ReadSettingsFile(path_)) {}

std::string JsonSettings::DefaultPath() {
  std::filesystem::path base;
  const char* config_home = std::getenv("XDG_CONFIG_HOME");
  if (config_home != nullptr && std::filesystem::path(config_home).is_absolute()) {
    base = config_home;
  } else {
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') return {};
    base = std::filesystem::path(home) / ".config";
  }
  return (base / kApplicationFolder / kSettingsFileName).string();
}

int JsonSettings::GetInitKeyword(const std::string& name, int default_value) const {
  const auto found = values_.find(name);
  return found == values_.end() ? default_value : found->second;
}

void JsonSettings::PutInitKeyword(const std::string& name, int value) {
  values_[name] = value;
  put_values_[name] = value;
  last_error_.clear();
  if (path_.empty()) return;

  // Start from what is on disk now, so that settings another run wrote since this one started
  // are kept; only the values put here override them.
  std::map<std::string, int> merged = ReadSettingsFile(path_);
  for (const auto& [key, stored] : put_values_) merged[key] = stored;
  values_ = merged;

  const std::filesystem::path folder = std::filesystem::path(path_).parent_path();
  if (!folder.empty()) {
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure) {
      last_error_ =
          FormatMessage(MessageId::kFileCannotCreateFolder, folder.string(), failure.message());
      return;
    }
  }
  const nlohmann::json document(merged);
  const std::string text =
      document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  WriteFileAtomically(path_, text, &last_error_);
}

}  // namespace mspc::platform
