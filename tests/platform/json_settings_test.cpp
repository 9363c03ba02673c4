#include "platform/json_settings.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <nlohmann/json.hpp>

#include "platform/temp_folder.hpp"

namespace mspc::platform {
namespace {

using testing::ReadText;
using testing::TempFolder;

TEST(JsonSettings, ValuesSurviveIntoANewSessionThroughANewFolder) {
  TempFolder folder;
  const std::string path = folder.File("config/krv-mspc/settings.json");
  JsonSettings settings(path);
  EXPECT_EQ(settings.GetInitKeyword("StandAloneResults", 7), 7);
  settings.PutInitKeyword("StandAloneResults", 1);
  settings.PutInitKeyword("Negative", -12);
  EXPECT_EQ(settings.last_error(), "");
  EXPECT_EQ(nlohmann::json::parse(ReadText(path)),
            nlohmann::json({{"Negative", -12}, {"StandAloneResults", 1}}));
  // Only the settings file is left in its folder: the temporary file was renamed.
  EXPECT_EQ(folder.Entries("config/krv-mspc"), std::vector<std::string>{"settings.json"});
  // A value another session wrote meanwhile is kept when this one puts its own.
  folder.Write("config/krv-mspc/settings.json", R"({"x": 5, "r": 1.5})");
  settings.PutInitKeyword("y", 2);
  EXPECT_EQ(JsonSettings(path).GetInitKeyword("x", 0), 5);
  EXPECT_EQ(JsonSettings(path).GetInitKeyword("y", 0), 2);
  EXPECT_EQ(JsonSettings(path).GetInitKeyword("r", 0), 0);  // not an integer: ignored
}

TEST(JsonSettings, MalformedFileReadsAsEmptyAndIsKeptUntilAPut) {
  TempFolder folder;
  const std::string path = folder.Write("settings.json", "{\"a\": 3, oops");
  JsonSettings settings(path);
  EXPECT_EQ(settings.GetInitKeyword("a", -1), -1);
  EXPECT_EQ(ReadText(path), "{\"a\": 3, oops");
  settings.PutInitKeyword("b", 2);
  EXPECT_EQ(nlohmann::json::parse(ReadText(path)), nlohmann::json({{"b", 2}}));
}

TEST(JsonSettings, DefaultPathFollowsTheConfigHome) {
  const char* config_home = std::getenv("XDG_CONFIG_HOME");
  const bool had_config_home = config_home != nullptr;
  const std::string saved = had_config_home ? config_home : "";
  ::setenv("XDG_CONFIG_HOME", "/etc/xdg-user", 1);
  EXPECT_EQ(JsonSettings::DefaultPath(), "/etc/xdg-user/krv-mspc/settings.json");
  ::setenv("XDG_CONFIG_HOME", "relative", 1);  // not absolute: ignored
  const std::string home = std::getenv("HOME") ? std::getenv("HOME") : "";
  EXPECT_EQ(JsonSettings::DefaultPath(),
            home.empty() ? "" : home + "/.config/krv-mspc/settings.json");
  had_config_home ? ::setenv("XDG_CONFIG_HOME", saved.c_str(), 1) : ::unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace mspc::platform
