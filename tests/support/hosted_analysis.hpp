#pragma once

// An analysis on the fake host, attached as the host attaches it before the first step.

#include <gtest/gtest.h>

#include <cstdint>

#include "frame/mspc.hpp"
#include "frame/steps.hpp"
#include "support/fake_host.hpp"

namespace mspc::fake {

struct HostedAnalysis {
  // Without `attach`, Attach() connects them later (after the host's settings are put).
  explicit HostedAnalysis(int simple_mode = 0, bool attach = true, bool automation = false)
      : analysis(simple_mode, nullptr) {
    if (attach) Attach(automation);
  }
  void Attach(bool automation = false) { analysis.InitCommons(host.Services(automation)); }

  // Open the MSPC Startup list; its twin.
  AutomationObject& OpenList() {
    EXPECT_EQ(host.steps.RunStep(kStepMSPCStartup), kDialogOpened);
    return host.steps.Twin();
  }
  // Choose a row of the list and press OK, as a script does.
  void Choose(std::int64_t row) {
    Put(OpenList(), "SelectedKind", row);
    EXPECT_TRUE(Run(host.steps.Twin(), "OK"));
  }

  FakeHost host;
  CMSPC analysis;
};

}  // namespace mspc::fake
