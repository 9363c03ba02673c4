#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/automation.hpp"
#include "host/host_services.hpp"

namespace mspc::fake {

/// Step machinery that records what the analysis asks of it. `ExitDialog` only records: the
/// test decides when the next step runs, so no dialog is replaced while one of its commands runs.
class FakeStepMachinery : public StepMachinery {
 public:
  struct Exit {
    int next_step = 0;
    int direction = 0;
    int flags = 0;
  };

  void SetSequenceTable(std::vector<SequenceStep> table) override;
  void ForwardSequence(int step, int direction) override;
  void ExitDialog(int next_step, int direction, int flags) override;
  void OpenDialog(std::unique_ptr<AnalysisDialog> dialog) override;

  /// Run the operation the registered table holds for `step`; fails the test when none does.
  int RunStep(int step);
  /// The twin of the dialog opened last; fails the test when none is open.
  AutomationObject& Twin();
  AnalysisDialog* dialog() const { return dialog_.get(); }
  /// The last `ExitDialog`, if any.
  std::optional<Exit> LastExit() const;

  std::vector<SequenceStep> table;
  int registrations = 0;
  int dialogs_opened = 0;
  std::vector<Exit> exits;
  std::vector<Exit> forwards;

 private:
  std::unique_ptr<AnalysisDialog> dialog_;
};

class FakeSettings : public Settings {
 public:
  int GetInitKeyword(const std::string& name, int default_value) const override;
  void PutInitKeyword(const std::string& name, int value) override;

  std::map<std::string, int> values;
};

/// Message boxes, kept in order.
class FakeMessages : public MessageOutput {
 public:
  struct Shown {
    MessageKind kind;
    MessageId id;
    std::string text;
  };
  void Show(MessageKind kind, MessageId id, const std::string& text) override;
  /// How many messages with this id were shown.
  int Count(MessageId id) const;

  std::vector<Shown> shown;
};

/// A progress bar that counts starts and stops and knows whether it is showing.
class FakeProgressBar : public ProgressMonitor {
 public:
  void Start(const std::string& caption, int steps) override;
  void SetCaption(const std::string& new_caption) override { caption = new_caption; }
  void SetPosition(int /*step*/) override {}
  void Stop() override;
  bool CancelRequested() override { return false; }

  int starts = 0;
  int stops = 0;
  int stops_while_hidden = 0;
  bool showing = false;
  std::string caption;
  int steps = 0;
};

/// A data table with named variables and no cases: enough to check names against.
class NamesOnlyTable : public DataTable {
 public:
  explicit NamesOnlyTable(std::vector<std::string> names) : names_(std::move(names)) {}

  std::string SourceName() const override { return "names"; }
  std::size_t NumVariables() const override { return names_.size(); }
  std::size_t NumCases() const override { return 0; }
  std::string VariableName(std::size_t variable) const override { return names_.at(variable); }
  std::optional<std::size_t> FindVariable(const std::string& name) const override;
  bool IsCategorical(std::size_t /*variable*/) const override { return false; }
  std::vector<CodeLabel> Categories(std::size_t /*variable*/) const override { return {}; }
  std::string CodeText(std::size_t /*variable*/, double /*code*/) const override { return {}; }
  std::optional<double> MissingDataCode(std::size_t /*variable*/) const override { return {}; }
  double Value(std::size_t /*case_index*/, std::size_t /*variable*/) const override;
  std::string CaseName(std::size_t /*case_index*/) const override { return {}; }
  bool IsCaseSelected(std::size_t /*case_index*/) const override { return true; }
  double CaseWeight(std::size_t /*case_index*/) const override { return 1.0; }
  bool HasCaseWeights() const override { return false; }

  /// How many times `FindVariable` was asked.
  mutable int finds = 0;

 private:
  std::vector<std::string> names_;
};

/// The host's workbook, keeping the title of every report in the order received.
class FakeWorkbook : public OutputSink {
 public:
  void AddSpreadsheet(const Spreadsheet& sheet) override;
  void AddGraph(const Graph& graph) override;
  void AddText(const TextReport& text) override;

  std::vector<std::string> received;  // "sheet:<title>", "graph:<title>", "text:<title>"
};

/// Every fake at once, with the services that point at them.
struct FakeHost {
  FakeStepMachinery steps;
  FakeSettings settings;
  FakeMessages messages;
  FakeProgressBar progress;
  NamesOnlyTable table{{"x1", "x2", "x3", "batch", "time"}};
  FakeWorkbook workbook;

  HostServices Services(bool automation = false);
};

/// The property of a twin by name; fails the test when there is none.
AutomationProperty FindProperty(AutomationObject& twin, const std::string& name);
/// Put a value through the twin's property list, as a script would.
void Put(AutomationObject& twin, const std::string& name, const AutomationValue& value);
AutomationValue Get(AutomationObject& twin, const std::string& name);
/// Run a command through the twin's command list; fails the test when there is none.
bool Run(AutomationObject& twin, const std::string& command);
/// The names of a twin's properties.
std::vector<std::string> PropertyNames(AutomationObject& twin);

}  // namespace mspc::fake
