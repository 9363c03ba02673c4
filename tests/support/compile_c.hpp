#pragma once

// Generated C compiled by the system's gcc, as a user of the exported code compiles it.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "platform/temp_folder.hpp"

namespace mspc::testing {

inline const std::string kStrictC99 = "gcc -std=c99 -Wall -Wextra -Werror ";

// Run `command` through the shell with its error output joined to its output; the exit status,
// and what it printed appended to `output`.
inline int RunPiped(const std::string& command, std::string& output) {
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return -1;
  char buffer[512];
  while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) output += buffer;
  return pclose(pipe);
}

// `code` passes a strict C99 check with every warning an error.
inline void ExpectCompiles(const std::string& code, const std::string& name) {
  const platform::testing::TempFolder folder;
  std::string diagnostics;
  EXPECT_EQ(RunPiped(kStrictC99 + "-fsyntax-only '" + folder.Write(name, code) + "'", diagnostics),
            0)
      << name << ": " << diagnostics;
}

}  // namespace mspc::testing
