#include "platform/output_formats.hpp"

#include <gtest/gtest.h>

namespace mspc::platform {
namespace {

// Each list as the chosen files ("json xlsx html", "" when refused) and the error.
TEST(OutputFormats, ListsChooseTheirFilesInAnyOrderAndCaseAndUnknownNamesAreRefused) {
  const auto choose = [](std::string_view text) {
    std::string error;
    const auto formats = ParseOutputFormats(text, &error);
    if (!formats) return error;
    return std::string(formats->json ? "json " : "") + (formats->xlsx ? "xlsx " : "") +
           (formats->html ? "html" : "");
  };
  EXPECT_EQ(choose(kAllOutputFormats), "json xlsx html");
  EXPECT_EQ(choose("html,json,xlsx"), "json xlsx html");
  EXPECT_EQ(choose("html"), "html");
  EXPECT_EQ(choose(" XLSX , json "), "json xlsx ");
  EXPECT_EQ(choose("html,html"), "html");
  EXPECT_EQ(choose("json,pdf"),
            "--format: \"pdf\" is not a report format; choose from json, xlsx and html.");
  EXPECT_EQ(choose("json,"),
            "--format: \"\" is not a report format; choose from json, xlsx and html.");
  EXPECT_EQ(choose("").substr(0, 9), "--format:");
}

}  // namespace
}  // namespace mspc::platform
