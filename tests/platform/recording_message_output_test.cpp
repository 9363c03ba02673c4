#include "platform/recording_message_output.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "platform/temp_folder.hpp"

namespace mspc::platform {
namespace {

TEST(RecordingMessageOutput, PrintsAndRecordsEveryMessageInOrder) {
  std::ostringstream terminal;
  RecordingMessageOutput output(&terminal);
  output.Show(MessageKind::kStop, MessageId::kDataSizeExceedsLimit, "Too big. The analysis stops.");
  output.Show(MessageKind::kWarning, MessageId::kNonIntegerCategoryCodes, "Codes \xC2\xB2.");
  output.Show(MessageKind::kNote, MessageId::kNoteRemoveCases, "2 cases removed.");
  EXPECT_EQ(
      terminal.str(),
      "stop: Too big. The analysis stops.\nwarning: Codes \xC2\xB2.\nnote: 2 cases removed.\n");

  testing::TempFolder folder;
  std::string error;
  ASSERT_TRUE(output.Write(folder.File("messages.json"), &error)) << error;
  const auto document = nlohmann::json::parse(testing::ReadText(folder.File("messages.json")));
  EXPECT_EQ(document, nlohmann::json::parse(R"({"messages": [
      {"id": 2460, "kind": "stop", "text": "Too big. The analysis stops."},
      {"id": 2306, "kind": "warning", "text": "Codes ²."},
      {"id": 2201, "kind": "note", "text": "2 cases removed."}]})"));
}

}  // namespace
}  // namespace mspc::platform
