#include "platform/file_io.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/file_document_store.hpp"
#include "platform/temp_folder.hpp"

namespace mspc::platform {
namespace {

using testing::ReadText;
using testing::TempFolder;
using Names = std::vector<std::string>;

TEST(WriteFileAtomically, ReplacesTheFileWholeOrFailsLeavingNothingBehind) {
  TempFolder folder;
  const std::string path = folder.Write("report.json", "old content that is longer");
  std::string error;
  ASSERT_TRUE(WriteFileAtomically(path, "new", &error)) << error;
  EXPECT_EQ(ReadText(path), "new");
  EXPECT_EQ(folder.Entries(), Names{"report.json"});

  const std::string in_missing_folder = folder.File("absent/report.json");
  EXPECT_FALSE(WriteFileAtomically(in_missing_folder, "x", &error));
  EXPECT_EQ(error,
            in_missing_folder +
                ": cannot create a temporary file beside it (No such file or directory).");
  // A folder in the way of the target: everything is written, only the rename fails.
  std::filesystem::create_directories(folder.File("busy/inner"));
  EXPECT_FALSE(WriteFileAtomically(folder.File("busy"), "x", &error));
  EXPECT_EQ(error.rfind(folder.File("busy") + ": cannot move the finished file into place (", 0),
            0u)
      << error;
  EXPECT_EQ(folder.Entries().size(), 2u);
}

TEST(ReadWholeFile, RefusesFilesOverTheLimitWithoutReadingThem) {
  TempFolder folder;
  const std::string path = folder.Write("big.xml", "");
  std::filesystem::resize_file(path, 3 * 1024 * 1024);  // sparse: costs no disk
  std::string content;
  std::string error;
  EXPECT_FALSE(ReadWholeFile(path, &content, &error, 2));
  EXPECT_EQ(error, path + ": the file is larger than 2 MB.");
  EXPECT_TRUE(ReadWholeFile(path, &content, &error, 3));
  EXPECT_EQ(content.size(), 3u * 1024 * 1024);
}

TEST(FileDocumentStore, SavesPlainNamesIntoTheOutputFolderOnly) {
  TempFolder folder;
  FileDocumentStore store(folder.File("out/run1"));
  std::string error;
  ASSERT_TRUE(store.SaveDocument("model.pmml", "<PMML/>", &error)) << error;
  EXPECT_EQ(ReadText(folder.File("out/run1/model.pmml")), "<PMML/>");
  for (const std::string name : {"", ".", "..", "../escape.c", "sub/model.c", "/tmp/x.c"}) {
    EXPECT_FALSE(store.SaveDocument(name, "x", &error)) << name;
    EXPECT_EQ(
        error,
        "\"" + name + "\" is not a plain file name; documents are written into the output folder.");
  }
  EXPECT_EQ(folder.Entries("out/run1"), Names{"model.pmml"});
}

}  // namespace
}  // namespace mspc::platform
