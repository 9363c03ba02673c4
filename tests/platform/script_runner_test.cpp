#include "platform/script_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

#include "host/errors.hpp"
#include "support/fake_host.hpp"

namespace mspc::platform {
namespace {

using ::testing::HasSubstr;

template <typename T>
AutomationProperty Field(const char* name, ValueType type, T& field) {
  return {name,
          type,
          [&field] { return AutomationValue(field); },
          [&field](const AutomationValue& v) { field = std::get<T>(v); }};
}

// A dialog with one property of each common type and commands that exit, refuse or throw.
class FakeTwin : public AutomationObject {
 public:
  explicit FakeTwin(StepMachinery& steps) : steps_(steps) {}
  std::string TwinName() const override { return "FakeStartup"; }
  std::vector<AutomationProperty> Properties() override {
    AutomationProperty checked_name = Field("Name", ValueType::kString, name);
    checked_name.put = [this](const AutomationValue& v) {
      if (std::get<std::string>(v) == "bad") throw AutomationError("no variable \"bad\"");
      name = std::get<std::string>(v);
    };
    return {Field("Count", ValueType::kInt, count),
            Field("Level", ValueType::kDouble, level),
            checked_name,
            {"Rows", ValueType::kStringList, [] { return AutomationValue(rows_); }, nullptr}};
  }
  std::vector<AutomationCommand> Commands() override {
    return {
        {"OK", [this] { return Exit(); }},
        {"Refuse", [] { return false; }},
        {"Stop", []() -> bool { throw AnalysisStop(MessageId::kTooFewTrainingCases, "stopped"); }},
        {"Throw", []() -> bool { throw std::runtime_error("boom"); }},
        {"Cancel", []() -> bool { throw UserAbort(); }},
        {"Twice", [this] { return (count *= 2) != 0; }},
    };
  }

  std::int64_t count = 1;
  double level = 0.5;
  std::string name = "start";

 private:
  bool Exit() {
    steps_.ExitDialog(0, kDirectionForward, 0);
    return true;
  }

  StepMachinery& steps_;
  inline static const std::vector<std::string> rows_;
};

class FakeDialog : public AnalysisDialog {
 public:
  explicit FakeDialog(FakeTwin* twin) : twin_(twin) {}
  AutomationObject& Automation() override { return *twin_; }

 private:
  FakeTwin* twin_;
};

class ScriptRunnerTest : public ::testing::Test {
 protected:
  ScriptRunnerTest() : twin_(machinery_) {
    services_.steps = &machinery_;
    services_.messages = &messages_;
    machinery_.SetSequenceTable({
        {100, [] { return 1; }, 101},
        {101,
         [this] {
           machinery_.OpenDialog(std::make_unique<FakeDialog>(&twin_));
           return -1;
         },
         0},
    });
  }

  // Runs a script afresh; RunSteps wraps its steps into one.
  RunStatus RunSteps(const std::string& steps, Script* recorded = nullptr) {
    return RunText("{\"steps\": [" + steps + "]}", recorded);
  }
  RunStatus RunText(const std::string& text, Script* recorded = nullptr) {
    messages_.shown.clear();
    machinery_.CloseDialog();
    ScriptParseResult parsed = ParseScript(text, "test.json");
    EXPECT_TRUE(parsed.script.has_value()) << parsed.error;
    ScriptRunner runner(services_, machinery_, "test.json");
    return runner.Run(*parsed.script, recorded);
  }

  ScriptStepMachinery machinery_;
  fake::FakeMessages messages_;
  HostServices services_;
  FakeTwin twin_;
};

// A step on the fake dialog with the given keys.
std::string Fake(const std::string& keys) { return R"({"dialog": "FakeStartup", )" + keys + "}"; }

TEST_F(ScriptRunnerTest, AppliesPropertiesRunsCommandsAndFollowsExit) {
  EXPECT_EQ(
      RunSteps(Fake(R"("set": {"Count": 3, "Level": 2, "Name": "x1"}, "do": ["Twice", "OK"])")),
      RunStatus::kCompleted);
  EXPECT_EQ(twin_.count, 6);
  EXPECT_DOUBLE_EQ(twin_.level, 2.0);
  EXPECT_EQ(twin_.name, "x1");
  EXPECT_TRUE(messages_.shown.empty());
}

// Refused entries stop with one message naming the entry; failing commands become messages,
// never crashes; a refused command has shown its own message already.
TEST_F(ScriptRunnerTest, RefusalsAndCommandFailuresEndTheRunWithAMessage) {
  struct Case {
    std::string steps;
    std::optional<MessageId> id;
    const char* fragment;  // null: no message
    RunStatus status = RunStatus::kStopped;
  };
  const Case cases[] = {
      {"\n{\"dialog\": \"Other\"}", MessageId::kScriptWrongDialog, "test.json:2:"},
      {Fake(R"("set": {"Cuont": 1})"), MessageId::kScriptUnknownProperty, "\"Cuont\""},
      {Fake(R"("set": {"Count": 1.5})"), MessageId::kScriptWrongType, "Count takes a integer"},
      {Fake(R"("set": {"Count": "3"})"), MessageId::kScriptWrongType, "Count"},
      {Fake(R"("set": {"Rows": []})"), MessageId::kScriptReadOnlyProperty, "Rows"},
      {Fake(R"("do": ["Launch"])"), MessageId::kScriptUnknownCommand, "\"Launch\""},
      {Fake(R"("do": ["OK", "Twice"])"), MessageId::kScriptCommandAfterExit, "Twice"},
      {Fake(R"("do": ["OK"])") + R"(, {"dialog": "Next"})",
       MessageId::kScriptEntryAfterEnd,
       "Next"},
      {Fake(R"("do": ["Refuse"])"), {}, nullptr},
      {Fake(R"("do": ["Stop"])"), {}, "stopped"},
      {Fake(R"("do": ["Throw"])"), {}, "Exception in analysis method: boom"},
      {Fake(R"("do": ["Cancel"])"), {}, "cancelled by the user", RunStatus::kCancelled},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.steps);
    EXPECT_EQ(RunSteps(test.steps), test.status);
    ASSERT_EQ(messages_.shown.size(), test.fragment ? 1u : 0u);
    if (!test.fragment) continue;
    EXPECT_THAT(messages_.shown[0].text, HasSubstr(test.fragment));
    if (!test.id) continue;
    EXPECT_EQ(messages_.shown[0].id, *test.id);
    EXPECT_EQ(messages_.shown[0].kind, MessageKind::kStop);
  }
}

TEST_F(ScriptRunnerTest, ARefusedValueLeavesEveryPropertyAsItWas) {
  EXPECT_EQ(RunSteps(Fake(R"("set": {"Count": 7, "Level": 9.5, "Name": "bad"})")),
            RunStatus::kStopped);
  EXPECT_EQ(twin_.count, 1);
  EXPECT_DOUBLE_EQ(twin_.level, 0.5);
  EXPECT_EQ(twin_.name, "start");
  ASSERT_EQ(messages_.shown.size(), 1u);
  EXPECT_THAT(messages_.shown[0].text, HasSubstr("no variable \"bad\""));
}

TEST_F(ScriptRunnerTest, RecordingWritesEverySettablePropertyAfterTheCommands) {
  Script recorded;
  EXPECT_EQ(RunSteps(Fake(R"("set": {"Count": 4}, "do": ["Twice", "OK"])"), &recorded),
            RunStatus::kCompleted);
  ASSERT_EQ(recorded.steps.size(), 1u);
  const ScriptEntry& entry = recorded.steps[0];
  EXPECT_EQ(entry.dialog, "FakeStartup");
  EXPECT_EQ(entry.commands, (std::vector<std::string>{"Twice", "OK"}));
  ASSERT_EQ(entry.set.size(), 3u);  // "Rows" cannot be set, so it is not recorded
  EXPECT_EQ(entry.set[0], (std::pair<std::string, nlohmann::ordered_json>("Count", 8)));

  // The recorded script replays to the same state: set to 8, then doubled again.
  twin_.count = 1;
  EXPECT_EQ(RunText(ScriptToText(recorded)), RunStatus::kCompleted);
  EXPECT_EQ(twin_.count, 16);
}

TEST(ScriptParse, MalformedScriptsAreRefusedWithTheirLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"{\n\"steps\": [\n{\"dialog\": }\n]}", "x.json:3: the script is not valid JSON"},
      {"[1, 2]", "must be a JSON object"},
      {"{\"steps\": [], \"data\": 1e999999}", "x.json:1: the script is not valid JSON"},
      {"{\"stepz\": []}", "unknown script key \"stepz\""},
      {"{}", "needs a \"steps\" list"},
      {"{\"steps\": [{\"set\": {}}]}", "steps[0] must be an object with a \"dialog\" name"},
      {"{\"steps\": [\n\n{\"dialog\": \"A\", \"do\": \"OK\"}]}", "x.json:3: steps[0] (A)"},
      {"{\"analysis\": \"partial\", \"steps\": []}", "\"full\" or \"simple\""},
      {"{\"select\": {\"variable\": \"P\"}, \"steps\": []}", "\"select\" must be"},
      {"{\"select\": {\"variable\": \"P\", \"in\": []}, \"steps\": []}", "non-empty list"},
      {"{\"categorical\": \"x\", \"steps\": []}", "list of variable names"},
  };
  for (const auto& [text, fragment] : cases) {
    const ScriptParseResult parsed = ParseScript(text, "x.json");
    EXPECT_FALSE(parsed.script.has_value()) << text;
    EXPECT_THAT(parsed.error, HasSubstr(fragment)) << text;
  }
}

TEST(ScriptParse, KeepsTheOrderOfPropertiesAndTheTopLevelKeys) {
  const ScriptParseResult parsed = ParseScript(
      R"({"data": "d.csv", "select": {"variable": "Phase", "notIn": [1, "B"]},
          "weight": "W", "categorical": ["c"],
          "steps": [{"dialog": "A", "set": {"Zeta": 1, "Alpha": 2}, "do": ["OK"]}]})",
      "x.json");
  ASSERT_TRUE(parsed.script.has_value()) << parsed.error;
  const Script& script = *parsed.script;
  EXPECT_EQ(script.data, "d.csv");
  ASSERT_TRUE(script.select.has_value());
  EXPECT_EQ(script.select->mode, SelectionMode::kNotIn);
  EXPECT_EQ(script.select->values.size(), 2u);
  EXPECT_EQ(script.weight, "W");
  ASSERT_EQ(script.steps[0].set.size(), 2u);
  EXPECT_EQ(script.steps[0].set[0].first, "Zeta");
  EXPECT_EQ(script.steps[0].set[1].first, "Alpha");
}

TEST(ScriptValues, ConversionAcceptsOnlyTheDeclaredType) {
  using json = nlohmann::ordered_json;
  EXPECT_TRUE(ConvertScriptValue(json(3), ValueType::kDouble).has_value());
  EXPECT_FALSE(ConvertScriptValue(json(1), ValueType::kBool).has_value());
  EXPECT_FALSE(ConvertScriptValue(json::array({"a", 1}), ValueType::kStringList).has_value());
  EXPECT_FALSE(ConvertScriptValue(json({{"x", "2"}}), ValueType::kNumberMap).has_value());
  const auto scales = ConvertScriptValue(json({{"x", 2.5}}), ValueType::kNumberMap);
  ASSERT_TRUE(scales.has_value());
  EXPECT_DOUBLE_EQ((std::get<std::map<std::string, double>>(*scales).at("x")), 2.5);
  EXPECT_EQ(ScriptValueOf(AutomationValue(std::numeric_limits<double>::quiet_NaN())), json());
}

}  // namespace
}  // namespace mspc::platform
