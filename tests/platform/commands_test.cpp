#include "platform/commands.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fake_data_table.hpp"

namespace mspc::platform {
namespace {

using json = nlohmann::ordered_json;

json Property(const ScriptEntry& entry, const std::string& name) {
  for (const auto& [property, value] : entry.set) {
    if (property == name) return value;
  }
  return nullptr;
}

// A TMPLS fit without --vars takes every continuous variable that has no other role, as the
// predictors of the kind's own Startup and Results dialogs.
TEST(FitBatchScript, DefaultProcessVariablesLeaveOutTheRolesAndCategories) {
  FakeDataTable table;
  for (const char* name : {"lot", "hour", "x1", "quality", "x2"}) table.AddVariable(name, {1, 2});
  table.AddCategorical("grade", {1, 2}, {{1, "A"}, {2, "B"}});
  FitBatchArguments arguments;
  arguments.kind = BatchKind::kTMPLS;
  arguments.batch = "lot";
  arguments.time = "hour";
  arguments.dependents = {"quality"};
  arguments.components = 2;
  Script script = BuildFitBatchScript(arguments);
  SelectBatchProcessVariables(script, table);

  ASSERT_EQ(script.steps.size(), 3u);
  EXPECT_EQ(Property(script.steps[0], "SelectedKind"), 5);
  const ScriptEntry& startup = script.steps[1];
  EXPECT_EQ(startup.dialog, "TMPLSStartup");
  EXPECT_EQ(startup.set[0].first, "BatchVariable");
  EXPECT_EQ(Property(startup, "PredictorVariables"), json::array({"x1", "x2"}));
  EXPECT_EQ(Property(startup, "Variables"), nullptr);
  EXPECT_EQ(Property(startup, "NumberOfComponents"), 2);
  EXPECT_EQ(script.steps[2].dialog, "TMPLSResults");

  // Named variables, and stacked data's pair of process and measurement variables, stay.
  arguments.kind = BatchKind::kBMPLS;
  arguments.stacked = true;
  arguments.variables = {"grade", "x1"};
  script = BuildFitBatchScript(arguments);
  SelectBatchProcessVariables(script, table);
  EXPECT_EQ(Property(script.steps[1], "ProcessVariable"), "grade");
  EXPECT_EQ(Property(script.steps[1], "MeasurementVariable"), "x1");
  EXPECT_EQ(Property(script.steps[1], "Variables"), nullptr);
}

}  // namespace
}  // namespace mspc::platform
