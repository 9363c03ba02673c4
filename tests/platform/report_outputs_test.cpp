// What a run leaves in its output folder: the report files --format chooses, and a run cancelled
// by Ctrl-C.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "platform/host_runtime.hpp"
#include "platform/temp_folder.hpp"

extern char** environ;

namespace mspc::platform {
namespace {

// A PCA script over variables x1..x<count> of `data`, fitted with cross-validation.
std::string PcaScript(const std::string& data, int count) {
  std::string variables = "\"x1\"";
  for (int col = 2; col <= count; ++col) variables += ", \"x" + std::to_string(col) + "\"";
  return R"({"data": ")" + data + R"(", "steps": [
      {"dialog": "MSPCStartup", "set": {"SelectedKind": 1}, "do": ["OK"]},
      {"dialog": "PCAStartup", "set": {"Variables": [)" +
         variables + R"(], "AutoFitByCrossValidation": true,
       "VFoldCrossValidation": true, "NumberOfCrossValidationFolds": 7}, "do": ["OK"]}]})";
}

// The messages of a run's messages.json with id `id`, as "kind: text".
std::vector<std::string> MessagesWithId(const std::string& path, int id) {
  std::vector<std::string> found;
  const auto document = nlohmann::json::parse(testing::ReadText(path));
  for (const auto& message : document["messages"]) {
    if (message["id"] == id) {
      found.push_back(message["kind"].get<std::string>() + ": " +
                      message["text"].get<std::string>());
    }
  }
  return found;
}

// Rows of `count` columns of fixed pseudo-random values (a linear congruential sequence), so
// that every run reads the same table.
std::string RandomCsv(int rows, int count) {
  std::ostringstream csv;
  for (int col = 1; col <= count; ++col) csv << (col > 1 ? "," : "") << "x" << col;
  csv << '\n';
  std::uint64_t state = 20240601;
  for (int row = 0; row < rows; ++row) {
    for (int col = 0; col < count; ++col) {
      state = state * 6364136223846793005ULL + 1442695040888963407ULL;
      csv << (col > 0 ? "," : "") << static_cast<double>(state >> 40) / 16777216.0;
    }
    csv << '\n';
  }
  return csv.str();
}

TEST(RunOutputs, WritesTheReportFilesTheFormatsChooseAndReportsThoseItCannot) {
  testing::TempFolder folder;
  const std::string data = folder.Write("data.csv", RandomCsv(20, 4));
  RunRequest request;
  request.script_path = folder.Write("script.json", PcaScript(data, 4));
  std::ostringstream err;
  const auto run = [&](const std::string& out, OutputFormats formats) {
    request.out_dir = folder.File(out);
    request.formats = formats;
    RunAnalysis(request, err);
    return folder.Entries(out);
  };
  EXPECT_EQ(
      run("all", {}),
      (std::vector<std::string>{"messages.json", "report.html", "report.xlsx", "reports.json"}));
  EXPECT_EQ(testing::ReadText(folder.File("all/report.xlsx")).substr(0, 2), "PK");
  EXPECT_EQ(testing::ReadText(folder.File("all/report.html")).substr(0, 15), "<!DOCTYPE html>");
  EXPECT_EQ(run("html", {false, false, true}),
            (std::vector<std::string>{"messages.json", "report.html"}));

  // A folder in the way of the workbook: the other files are written and the failure is told.
  std::filesystem::create_directories(folder.File("blocked/report.xlsx/inside"));
  EXPECT_EQ(
      run("blocked", {}),
      (std::vector<std::string>{"messages.json", "report.html", "report.xlsx", "reports.json"}));
  const auto told = MessagesWithId(folder.File("blocked/messages.json"), 8012);
  ASSERT_FALSE(told.empty());
  EXPECT_EQ(told[0].rfind("warning: ", 0), 0u) << told[0];
  EXPECT_NE(told[0].find("report.xlsx"), std::string::npos) << told[0];
}

// Whether process `pid` catches `signal` (its handler is installed), from /proc.
bool Catches(pid_t pid, int signal) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("SigCgt:", 0) == 0) {
      const unsigned long long mask = std::stoull(line.substr(7), nullptr, 16);
      return ((mask >> (signal - 1)) & 1ULL) != 0;
    }
  }
  return false;
}

// Ctrl-C on the command line: the run ends cancelled, not killed, with its outputs written.
TEST(CommandLine, InterruptCancelsTheFitAndTheReportsAreStillWritten) {
  testing::TempFolder folder;
  constexpr int kRows = 4000;
  constexpr int kColumns = 60;
  const std::string data = folder.Write("data.csv", RandomCsv(kRows, kColumns));
  const std::string script = folder.Write("script.json", PcaScript(data, kColumns));
  const std::string out = folder.File("out");
  const std::string log = folder.File("stderr.txt");

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(), O_WRONLY | O_CREAT, 0644);
  std::vector<std::string> arguments = {MSPC_CLI_PATH, "run", script, "--out", out};
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  ASSERT_EQ(posix_spawn(&pid, MSPC_CLI_PATH, &actions, nullptr, argv.data(), environ), 0);
  posix_spawn_file_actions_destroy(&actions);

  // Interrupt as soon as the handler is in place: the table is still being read then, and the
  // cancel waits for the fit's first poll.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!Catches(pid, SIGINT) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ASSERT_EQ(::kill(pid, SIGINT), 0);
  int status = 0;
  ASSERT_EQ(::waitpid(pid, &status, 0), pid);

  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  for (const char* file : {"messages.json", "reports.json", "report.xlsx", "report.html"}) {
    EXPECT_TRUE(std::filesystem::exists(out + "/" + file)) << file;
  }
  EXPECT_EQ(WEXITSTATUS(status), 3) << testing::ReadText(log);
  constexpr int kCancelledByUser = 8013;
  EXPECT_FALSE(MessagesWithId(out + "/messages.json", kCancelledByUser).empty());
}

}  // namespace
}  // namespace mspc::platform
