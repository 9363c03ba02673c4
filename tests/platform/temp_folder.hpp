#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace mspc::platform::testing {

/// A fresh folder under the test temporary directory, removed with everything in it.
class TempFolder {
 public:
  TempFolder() {
    std::string pattern = ::testing::TempDir() + "mspc-platform-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    path_ = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string File(const std::string& name) const { return (path_ / name).string(); }

  std::string Write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
    return File(name);
  }

  /// Names of the entries of the folder in order, to see that no temporary file was left behind.
  std::vector<std::string> Entries(const std::string& subfolder = "") const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_ / subfolder)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::filesystem::path path_;
};

inline std::string ReadText(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

}  // namespace mspc::platform::testing
