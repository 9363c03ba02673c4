#pragma once

// An analysis over a fake table, driven step by step as a host would: the MSPC Startup list,
// a model's Startup, then its Results, with every message and report recorded.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "frame/mspc.hpp"
#include "frame/steps.hpp"
#include "models/dmatrix.hpp"
#include "platform/boost_probability.hpp"
#include "platform/pugi_xml_parser.hpp"
#include "platform/seeded_random.hpp"
#include "support/fake_data_table.hpp"
#include "support/fake_host.hpp"
#include "support/recording_host.hpp"

namespace mspc::testing {

class DialogAnalysis {
 public:
  DialogAnalysis() = default;
  DialogAnalysis(const DialogAnalysis&) = delete;
  DialogAnalysis& operator=(const DialogAnalysis&) = delete;

  // Columns prefix1, prefix2, ... of `raw` added to the table.
  void AddColumns(const DMatrix& raw, const std::string& prefix = "x") {
    for (std::size_t col = 0; col < raw.cols(); ++col) {
      std::vector<double> values;
      for (std::size_t row = 0; row < raw.rows(); ++row) values.push_back(raw(row, col));
      table_.AddVariable(prefix + std::to_string(col + 1), values);
    }
  }

  // Connect the analysis to the host and the table, once the table is filled.
  void Start(bool automation = false, ProgressMonitor* progress = nullptr) {
    HostServices services = host_.Services(&table_, automation);
    services.steps = &steps_;
    services.probability = &probability_;
    services.random = &random_;
    services.xml = &parser_;
    services.progress = progress;
    analysis_.InitCommons(services);
  }

  // Choose `row` of the MSPC Startup list and open the Startup it leads to.
  AutomationObject& OpenStartup(std::int64_t row, int startup_step) {
    EXPECT_EQ(steps_.RunStep(kStepMSPCStartup), kDialogOpened);
    fake::Put(steps_.Twin(), "SelectedKind", row);
    EXPECT_TRUE(fake::Run(steps_.Twin(), "OK"));
    EXPECT_EQ(steps_.RunStep(startup_step), kDialogOpened);
    return steps_.Twin();
  }

  // Press OK on the open Startup and open the Results step it leads to, twin `results_name`.
  void OpenResults(int results_step, const std::string& results_name) {
    ASSERT_TRUE(fake::Run(steps_.Twin(), "OK"));
    ASSERT_EQ(steps_.LastExit()->next_step, results_step);
    ASSERT_EQ(steps_.RunStep(results_step), kDialogOpened);
    ASSERT_EQ(steps_.Twin().TwinName(), results_name);
  }

  // Run `command` on the open dialog, expect it to lead to `step`, and open that step.
  void GoTo(const std::string& command, int step) {
    ASSERT_TRUE(fake::Run(steps_.Twin(), command));
    ASSERT_EQ(steps_.LastExit()->next_step, step);
    ASSERT_EQ(steps_.RunStep(step), kDialogOpened);
  }

  AutomationObject& Twin() { return steps_.Twin(); }
  bool Run(const std::string& command) { return fake::Run(steps_.Twin(), command); }
  int Components() {
    return static_cast<int>(std::get<std::int64_t>(fake::Get(Twin(), "NumberOfComponents")));
  }

  CMSPC& analysis() { return analysis_; }
  RecordingHost& host() { return host_; }
  fake::FakeStepMachinery& steps() { return steps_; }
  FakeDataTable& table() { return table_; }

  // The latest spreadsheet with this title.
  const Spreadsheet& Sheet(const std::string& title) const {
    for (auto it = host_.spreadsheets().rbegin(); it != host_.spreadsheets().rend(); ++it) {
      if (it->title == title) return *it;
    }
    ADD_FAILURE() << "no spreadsheet " << title;
    static const Spreadsheet kNone;
    return kNone;
  }
  const Spreadsheet& LastSheet() const { return host_.spreadsheets().back(); }
  const Graph& LastGraph() const { return host_.graphs().back(); }
  std::size_t ReportCount() const { return host_.spreadsheets().size() + host_.graphs().size(); }
  MessageId LastMessage() const { return host_.messages().back().id; }

  // The last refusal shown, with its text.
  const RecordedMessage* LastStop() const {
    for (auto it = host_.messages().rbegin(); it != host_.messages().rend(); ++it) {
      if (it->kind == MessageKind::kStop) return &*it;
    }
    return nullptr;
  }

 private:
  fake::FakeStepMachinery steps_;
  RecordingHost host_;
  FakeDataTable table_;
  platform::BoostProbability probability_;
  platform::SeededRandom random_;
  platform::PugiXmlParser parser_;
  CMSPC analysis_{0, nullptr};
};

inline double Cell(const ReportRow& row, std::size_t col) {
  return std::get<double>(row.cells.at(col));
}
inline double Cell(const Spreadsheet& sheet, std::size_t row, std::size_t col) {
  return Cell(sheet.rows.at(row), col);
}

}  // namespace mspc::testing
