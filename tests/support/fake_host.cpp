#include "support/fake_host.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace mspc::fake {

void FakeStepMachinery::SetSequenceTable(std::vector<SequenceStep> new_table) {
  table = std::move(new_table);
  ++registrations;
}

void FakeStepMachinery::ForwardSequence(int step, int direction) {
  forwards.push_back({step, direction, 0});
}

void FakeStepMachinery::ExitDialog(int next_step, int direction, int flags) {
  exits.push_back({next_step, direction, flags});
}

void FakeStepMachinery::OpenDialog(std::unique_ptr<AnalysisDialog> dialog) {
  dialog_ = std::move(dialog);
  ++dialogs_opened;
}

int FakeStepMachinery::RunStep(int step) {
  const auto row = std::find_if(
      table.begin(), table.end(), [step](const SequenceStep& entry) { return entry.step == step; });
  if (row == table.end()) throw std::logic_error("no such step in the table");
  return row->operation();
}

AutomationObject& FakeStepMachinery::Twin() {
  if (dialog_ == nullptr) throw std::logic_error("no dialog is open");
  return dialog_->Automation();
}

std::optional<FakeStepMachinery::Exit> FakeStepMachinery::LastExit() const {
  if (exits.empty()) return std::nullopt;
  return exits.back();
}

int FakeSettings::GetInitKeyword(const std::string& name, int default_value) const {
  const auto found = values.find(name);
  return found == values.end() ? default_value : found->second;
}

void FakeSettings::PutInitKeyword(const std::string& name, int value) { values[name] = value; }

void FakeMessages::Show(MessageKind kind, MessageId id, const std::string& text) {
  shown.push_back({kind, id, text});
}

int FakeMessages::Count(MessageId id) const {
  return static_cast<int>(std::count_if(
      shown.begin(), shown.end(), [id](const Shown& message) { return message.id == id; }));
}

void FakeProgressBar::Start(const std::string& new_caption, int new_steps) {
  ++starts;
  showing = true;
  caption = new_caption;
  steps = new_steps;
}

void FakeProgressBar::Stop() {
  ++stops;
  if (!showing) ++stops_while_hidden;
  showing = false;
}

std::optional<std::size_t> NamesOnlyTable::FindVariable(const std::string& name) const {
  ++finds;
  const auto found = std::find(names_.begin(), names_.end(), name);
  if (found == names_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - names_.begin());
}

double NamesOnlyTable::Value(std::size_t /*case_index*/, std::size_t /*variable*/) const {
  return std::numeric_limits<double>::quiet_NaN();
}

void FakeWorkbook::AddSpreadsheet(const Spreadsheet& sheet) {
  received.push_back("sheet:" + sheet.title);
}

void FakeWorkbook::AddGraph(const Graph& graph) { received.push_back("graph:" + graph.title); }

void FakeWorkbook::AddText(const TextReport& text) { received.push_back("text:" + text.title); }

HostServices FakeHost::Services(bool automation) {
  HostServices services;
  services.steps = &steps;
  services.progress = &progress;
  services.settings = &settings;
  services.messages = &messages;
  services.table = &table;
  services.output = &workbook;
  services.automation = automation;
  return services;
}

AutomationProperty FindProperty(AutomationObject& twin, const std::string& name) {
  for (AutomationProperty& property : twin.Properties()) {
    if (property.name == name) return property;
  }
  ADD_FAILURE() << twin.TwinName() << " has no property " << name;
  throw std::logic_error("no such property");
}

void Put(AutomationObject& twin, const std::string& name, const AutomationValue& value) {
  FindProperty(twin, name).put(value);
}

AutomationValue Get(AutomationObject& twin, const std::string& name) {
  return FindProperty(twin, name).get();
}

bool Run(AutomationObject& twin, const std::string& command) {
  for (AutomationCommand& entry : twin.Commands()) {
    if (entry.name == command) return entry.run();
  }
  ADD_FAILURE() << twin.TwinName() << " has no command " << command;
  return false;
}

std::vector<std::string> PropertyNames(AutomationObject& twin) {
  std::vector<std::string> names;
  for (const AutomationProperty& property : twin.Properties()) names.push_back(property.name);
  return names;
}

}  // namespace mspc::fake
