#include "platform/output_formats.hpp"

#include <gtest/gtest.h>

namespace mspc::platform {
namespace {

TEST(OutputFormats, ListsChooseTheirFilesInAnyOrderAndCase) {
  struct Case {
    const char* text;
    bool json;
    bool xlsx;
    bool html;
  };
  const Case cases[] = {{"json,xlsx,html", true, true, true},
                        {"html", false, false, true},
                        {" XLSX , json ", true, true, false},
                        {"html,html", false, false, true}};
  for (const Case& one : cases) {
    std::string error;
    const auto formats = ParseOutputFormats(one.text, &error);
    ASSERT_TRUE(formats) << one.text << ": " << error;
    EXPECT_EQ(formats->json, one.json) << one.text;
    EXPECT_EQ(formats->xlsx, one.xlsx) << one.text;
    EXPECT_EQ(formats->html, one.html) << one.text;
  }
  std::string error;
  const auto all = ParseOutputFormats(kAllOutputFormats, &error);
  ASSERT_TRUE(all);
  EXPECT_TRUE(all->json && all->xlsx && all->html);
}

TEST(OutputFormats, UnknownOrEmptyNamesAreRefusedByName) {
  std::string error;
  EXPECT_FALSE(ParseOutputFormats("json,pdf", &error));
  EXPECT_EQ(error, "--format: \"pdf\" is not a report format; choose from json, xlsx and html.");
  EXPECT_FALSE(ParseOutputFormats("json,", &error));
  EXPECT_EQ(error, "--format: \"\" is not a report format; choose from json, xlsx and html.");
  EXPECT_FALSE(ParseOutputFormats("", &error));
}

}  // namespace
}  // namespace mspc::platform
