#include "frame/startup_options.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "frame/model_startup.hpp"
#include "frame/mspc.hpp"
#include "support/hosted_analysis.hpp"
#include "support/ulps.hpp"

namespace mspc {
namespace {

using testing::UlpsAway;

struct RangeCase {
  std::string name;
  StartupKind kind;
  std::function<void(StartupOptions&)> change;
  std::optional<MessageId> refusal;
};

void PrintTo(const RangeCase& c, std::ostream* out) { *out << c.name; }

class StartupOptionRanges : public ::testing::TestWithParam<RangeCase> {};

TEST_P(StartupOptionRanges, FirstBrokenRuleRefusesOK) {
  const RangeCase& c = GetParam();
  fake::FakeHost host;
  CAnalysisSupport analysis;
  analysis.InitCommons(host.Services());
  StartupOptions options;
  c.change(options);
  EXPECT_EQ(options.Validate(analysis, c.kind), c.refusal);
  // A refusal is shown by the dialog, not by the check; the check shows corrections only.
  EXPECT_TRUE(host.messages.shown.empty());
}

const auto kPCA = StartupKind::kPCA;
const auto kTMPLS = StartupKind::kTMPLS;

// Set one option field to `value`.
template <typename Field, typename Value>
std::function<void(StartupOptions&)> Set(Field StartupOptions::*field, Value value) {
  return [field, value](StartupOptions& o) { o.*field = static_cast<Field>(value); };
}

std::vector<RangeCase> RangeCases() {
  using M = MessageId;
  using O = StartupOptions;
  using CV = CrossValidationMethod;
  const auto cases = &O::min_percent_valid_cases;
  const auto vars = &O::min_percent_valid_variables;
  const auto iterations = &O::max_iterations;
  const auto convergence = &O::convergence_criterion;
  const auto folds_one = [](CV method) {
    return [method](O& o) {
      o.num_folds = 1;
      o.cross_validation = method;
    };
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const auto cases_out = M::kPercentValidCasesOutOfRange;
  const auto iterations_out = M::kMaxIterationsOutOfRange;
  const auto convergence_out = M::kConvergenceCriterionOutOfRange;
  // The lower bound of the percentages sits at 19.9999999: 15 units in the last place below it
  // still pass.
  const double bound = 19.9999999;
  const auto both = [](auto first, auto second) {
    return [first, second](O& o) {
      first(o);
      second(o);
    };
  };
  return {
      {"Defaults", kPCA, [](O&) {}, std::nullopt},
      {"Iterations0", kPCA, Set(iterations, 0), iterations_out},
      {"Iterations1", kPCA, Set(iterations, 1), std::nullopt},
      {"Iterations1000", kPCA, Set(iterations, 1000), std::nullopt},
      {"Iterations1001", kPCA, Set(iterations, 1001), iterations_out},
      {"Cases20", kPCA, Set(cases, 20), std::nullopt},
      {"Cases100", kPCA, Set(cases, 100), std::nullopt},
      {"Cases15UlpsUnderTheBound", kPCA, Set(cases, UlpsAway(bound, -15)), std::nullopt},
      {"Cases16UlpsUnderTheBound", kPCA, Set(cases, UlpsAway(bound, -16)), cases_out},
      {"Cases15UlpsOver100", kPCA, Set(cases, UlpsAway(100.0, 15)), std::nullopt},
      {"Cases16UlpsOver100", kPCA, Set(cases, UlpsAway(100.0, 16)), cases_out},
      {"CasesNotANumber", kPCA, Set(cases, nan), cases_out},
      {"Vars19_99", kPCA, Set(vars, 19.99), M::kPercentValidVarsOutOfRange},
      {"Vars100_01", kPCA, Set(vars, 100.01), M::kPercentValidVarsOutOfRange},
      // The TMPLS Startup names the bound that was broken.
      {"TMPLSCases19_99", kTMPLS, Set(cases, 19.99), M::kMinPercentValidCasesTooLow},
      {"TMPLSCases100_01", kTMPLS, Set(cases, 100.01), M::kMinPercentValidCasesTooHigh},
      {"TMPLSVars19_99", kTMPLS, Set(vars, 19.99), M::kMinPercentValidVarsTooLow},
      {"TMPLSVars100_01", kTMPLS, Set(vars, 100.01), M::kMinPercentValidVarsTooHigh},
      {"Convergence1", kPCA, Set(convergence, 1.0), std::nullopt},
      {"ConvergenceNegative", kPCA, Set(convergence, -0.001), convergence_out},
      {"ConvergenceAbove1", kPCA, Set(convergence, 1.5), convergence_out},
      {"Folds1WithVFold", kPCA, Set(&O::num_folds, 1), M::kFoldsBelowTwo},
      {"Folds1WithQuickVFold", kPCA, folds_one(CV::VFoldCrossValidationQuick), M::kFoldsBelowTwo},
      {"Folds1WithKrzanowski", kPCA, folds_one(CV::KrzanowskiCrossValidation), std::nullopt},
      {"Folds1WithoutCV", kPCA, folds_one(CV::CrossValidationOff), std::nullopt},
      {"Folds2", kPCA, Set(&O::num_folds, 2), std::nullopt},
      // Rules are checked in reading order: percentages, iterations, convergence, folds.
      {"PercentFirst",
       kTMPLS,
       both(Set(iterations, 0), Set(vars, 5)),
       M::kMinPercentValidVarsTooLow},
      {"CasesBeforeVars",
       kTMPLS,
       both(Set(cases, 101), Set(vars, 5)),
       M::kMinPercentValidCasesTooHigh},
      {"IterationsNext", kPCA, both(Set(iterations, 0), Set(convergence, 2)), iterations_out},
      {"ConvergenceNext", kPCA, both(Set(&O::num_folds, 0), Set(convergence, 2)), convergence_out},
  };
}

INSTANTIATE_TEST_SUITE_P(Table,
                         StartupOptionRanges,
                         ::testing::ValuesIn(RangeCases()),
                         [](const ::testing::TestParamInfo<RangeCase>& case_info) {
                           return case_info.param.name;
                         });

struct CorrectionCase {
  std::string name;
  bool blocks;  // the number of blocks rather than the memory limit
  int entered;
  int corrected;
  std::optional<MessageId> note;
};

void PrintTo(const CorrectionCase& c, std::ostream* out) { *out << c.name; }

class StartupOptionCorrections : public ::testing::TestWithParam<CorrectionCase> {};

TEST_P(StartupOptionCorrections, CorrectWithANoteAndNeverRefuse) {
  const CorrectionCase& c = GetParam();
  fake::FakeHost host;
  CAnalysisSupport analysis;
  // Corrections are shown even under automation.
  analysis.InitCommons(host.Services(/*automation=*/true));
  StartupOptions options;
  options.use_variable_blocks = c.blocks;
  std::int16_t& field = c.blocks ? options.max_variable_blocks : options.memory_limit_mb;
  field = static_cast<std::int16_t>(c.entered);
  EXPECT_EQ(options.Validate(analysis, StartupKind::kPCA), std::nullopt);
  EXPECT_EQ(field, c.corrected);
  if (c.note) {
    ASSERT_EQ(host.messages.shown.size(), 1U);
    EXPECT_EQ(host.messages.shown[0].id, *c.note);
    EXPECT_EQ(host.messages.shown[0].kind, MessageKind::kNote);
  } else {
    EXPECT_TRUE(host.messages.shown.empty());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Table,
    StartupOptionCorrections,
    ::testing::Values(
        CorrectionCase{"MemoryNegative", false, -1, 80, MessageId::kMemoryLimitInappropriate},
        CorrectionCase{"Memory32001", false, 32001, 32000, MessageId::kMemoryLimitTooBig},
        CorrectionCase{"Memory3", false, 3, 4, MessageId::kMemoryLimitTooSmall},
        CorrectionCase{"Memory0", false, 0, 4, MessageId::kMemoryLimitTooSmall},
        CorrectionCase{"Memory4", false, 4, 4, std::nullopt},
        CorrectionCase{"Memory32000", false, 32000, 32000, std::nullopt},
        CorrectionCase{"BlocksNegative", true, -3, 8, MessageId::kBlocksInappropriate},
        CorrectionCase{"Blocks1", true, 1, 2, MessageId::kBlocksTooSmall},
        CorrectionCase{"Blocks101", true, 101, 100, MessageId::kBlocksTooBig},
        CorrectionCase{"Blocks2", true, 2, 2, std::nullopt},
        CorrectionCase{"Blocks100", true, 100, 100, std::nullopt}),
    [](const ::testing::TestParamInfo<CorrectionCase>& case_info) { return case_info.param.name; });

TEST(StartupOptionCorrections, NoCorrectionWhenTheOptionIsOff) {
  fake::FakeHost host;
  CAnalysisSupport analysis;
  analysis.InitCommons(host.Services());
  StartupOptions options;
  options.apply_memory_limit = false;
  options.memory_limit_mb = 3;
  options.max_variable_blocks = 1;
  EXPECT_EQ(options.Validate(analysis, StartupKind::kPCA), std::nullopt);
  EXPECT_EQ(options.memory_limit_mb, 3);
  EXPECT_EQ(options.max_variable_blocks, 1);
  EXPECT_TRUE(host.messages.shown.empty());
}

// A PCA Startup opened over a PCA model, driven through its twin as a script drives it.
struct PCAStartupFixture : fake::HostedAnalysis {
  explicit PCAStartupFixture(int row = 1, bool automation = false)
      : HostedAnalysis(0, true, automation) {
    Choose(row);
    EXPECT_EQ(host.steps.RunStep(host.steps.LastExit()->next_step), kDialogOpened);
    exits_before = host.steps.exits.size();
  }
  AutomationObject& twin() { return host.steps.Twin(); }
  bool Exited() const { return host.steps.exits.size() > exits_before; }

  std::size_t exits_before = 0;
};

TEST(StartupTwin, MemoryLimitIsSixteenBitsAndItsCorrectionIsWrittenBack) {
  PCAStartupFixture fixture(1, /*automation=*/true);
  fake::Put(fixture.twin(), "MemoryLimitInMB", std::int64_t{40000});
  // 40000 does not fit 16 bits and reads back negative until OK.
  EXPECT_LT(std::get<std::int64_t>(fake::Get(fixture.twin(), "MemoryLimitInMB")), 0);
  fake::Run(fixture.twin(), "OK");
  EXPECT_EQ(std::get<std::int64_t>(fake::Get(fixture.twin(), "MemoryLimitInMB")), 80);
  EXPECT_EQ(fixture.host.messages.Count(MessageId::kMemoryLimitInappropriate), 1);
}

TEST(StartupTwin, ARefusalShowsItsMessageAndKeepsTheDialogOpen) {
  PCAStartupFixture fixture;
  fake::Put(fixture.twin(), "NumberOfCrossValidationFolds", std::int64_t{1});
  EXPECT_FALSE(fake::Run(fixture.twin(), "OK"));
  ASSERT_EQ(fixture.host.messages.shown.size(), 1U);
  EXPECT_EQ(fixture.host.messages.shown[0].id, MessageId::kFoldsBelowTwo);
  EXPECT_EQ(fixture.host.messages.shown[0].kind, MessageKind::kStop);
  EXPECT_FALSE(fixture.Exited());
  // Nothing reached the model.
  EXPECT_EQ(fixture.analysis.CurrentModel()->startup_options().num_folds, 7);
}

TEST(StartupTwin, OKStoresTheOptionsInTheModelBeforeItRuns) {
  PCAStartupFixture fixture;
  AutomationObject& twin = fixture.twin();
  fake::Put(twin, "Variables", std::vector<std::string>{"x1", "x3"});
  fake::Put(twin, "FixedNumberOfComponents", true);
  fake::Put(twin, "NumberOfComponents", std::int64_t{3});
  fake::Put(twin, "KrzanowskiCrossValidation", true);
  fake::Put(twin, "MaxIterations", std::int64_t{200});
  fake::Put(twin, "EpsilonOfConvergence", std::int64_t{0});
  fake::Put(twin, "AutoRemoveCases", true);
  // The table has names but no cases: the model stops on the training-case check and the
  // dialog stays, with the options already stored in the model.
  EXPECT_FALSE(fake::Run(twin, "OK"));
  EXPECT_EQ(fixture.host.messages.Count(MessageId::kTooFewTrainingCases), 1);
  EXPECT_FALSE(fixture.Exited());

  const auto& model = dynamic_cast<const CMultivariate&>(*fixture.analysis.CurrentModel());
  EXPECT_EQ(model.startup_options().variables, (std::vector<std::string>{"x1", "x3"}));
  EXPECT_EQ(model.fit_options().component_mode, ComponentMode::FixedNumberOfComponents);
  EXPECT_EQ(model.fit_options().max_components, 3);
  EXPECT_EQ(model.fit_options().cross_validation_method, 2);
  EXPECT_EQ(model.fit_options().max_iterations, 200);
  EXPECT_EQ(model.fit_options().convergence_criterion, 0.0);
  EXPECT_EQ(model.data_reader()->AutoRemoveCases, 1);
  EXPECT_EQ(model.data_reader()->AutoRemoveVariables, 0);

  // The Startup opened again shows what the model holds.
  ASSERT_EQ(fixture.host.steps.RunStep(kStepPCAStartup), kDialogOpened);
  EXPECT_EQ(std::get<std::int64_t>(fake::Get(fixture.twin(), "NumberOfComponents")), 3);
}

TEST(StartupTwin, CancelReturnsToTheListAndKeepsTheModel) {
  PCAStartupFixture fixture;
  const CBaseModel* model = fixture.analysis.CurrentModel();
  EXPECT_TRUE(fake::Run(fixture.twin(), "Cancel"));
  const auto exit = fixture.host.steps.LastExit();
  EXPECT_EQ(exit->next_step, 101);
  EXPECT_EQ(exit->direction, kDirectionBack);
  EXPECT_EQ(fixture.analysis.CurrentModel(), model);
}

TEST(StartupTwin, PutRefusesValuesThatCanNeverBeRight) {
  PCAStartupFixture fixture;
  AutomationObject& twin = fixture.twin();
  fake::Put(twin, "Variables", std::vector<std::string>{"x1", "x2"});
  EXPECT_THROW(fake::Put(twin, "Variables", std::vector<std::string>{"x1", "nope"}),
               AutomationError);
  EXPECT_THROW(fake::Put(twin, "Variables", std::vector<std::string>{"x1", "x1"}), AutomationError);
  EXPECT_THROW(fake::Put(twin, "SampleIdentifier", std::string("nope")), AutomationError);
  EXPECT_THROW(fake::Put(twin, "UserDefinedScales", std::map<std::string, double>{{"y", 2.0}}),
               AutomationError);
  EXPECT_THROW(fake::Put(twin, "MaxIterations", std::int64_t{1} << 40), AutomationError);
  EXPECT_THROW(fake::Put(twin, "MaxIterations", 5.0), AutomationError);
  EXPECT_THROW(fake::Put(twin, "AutoRemoveCases", std::int64_t{1}), AutomationError);
  // An unknown name is named with its property.
  EXPECT_THAT(
      [&] { fake::Put(twin, "CategoricalVariables", std::vector<std::string>{"nope"}); },
      ::testing::ThrowsMessage<AutomationError>(::testing::StrEq(
          "The property CategoricalVariables names \"nope\", which is not a variable of the "
          "data table.")));
  // Nothing was half-applied.
  EXPECT_EQ(std::get<std::vector<std::string>>(fake::Get(twin, "Variables")),
            (std::vector<std::string>{"x1", "x2"}));
  EXPECT_EQ(std::get<std::int64_t>(fake::Get(twin, "MaxIterations")), 50);
}

TEST(StartupTwin, FactorCodesRoundTripAndMalformedEntriesThrow) {
  PCAStartupFixture fixture;
  AutomationObject& twin = fixture.twin();
  fake::Put(twin, "FactorCodes", std::vector<std::string>{"batch:1,2.5, -3", "time: 0.1"});
  const std::vector<std::string> expected = {"batch: 1, 2.5, -3", "time: 0.1"};
  EXPECT_EQ(std::get<std::vector<std::string>>(fake::Get(twin, "FactorCodes")), expected);
  fake::Put(twin, "FactorCodes", expected);
  EXPECT_EQ(std::get<std::vector<std::string>>(fake::Get(twin, "FactorCodes")), expected);
  for (const char* bad : {"batch 1, 2", "batch:", "batch: 1,,2", "batch: 1, x", ": 1", "nope: 1"}) {
    EXPECT_THROW(fake::Put(twin, "FactorCodes", std::vector<std::string>{bad}), AutomationError)
        << bad;
  }
  EXPECT_EQ(std::get<std::vector<std::string>>(fake::Get(twin, "FactorCodes")), expected);
}

TEST(StartupTwin, ChoicesBehaveAsRadioButtons) {
  PCAStartupFixture fixture;
  AutomationObject& twin = fixture.twin();
  fake::Put(twin, "DoNotScaleVariables", true);
  fake::Put(twin, "UnitStandardDeviations", false);
  fake::Put(twin, "UserDefinedStandardDeviations", false);
  EXPECT_TRUE(std::get<bool>(fake::Get(twin, "DoNotScaleVariables")));
  EXPECT_FALSE(std::get<bool>(fake::Get(twin, "UnitStandardDeviations")));
  fake::Put(twin, "EigenvalueLimit", true);
  EXPECT_FALSE(std::get<bool>(fake::Get(twin, "AutoFitByCrossValidation")));
  EXPECT_FALSE(std::get<bool>(fake::Get(twin, "FixedNumberOfComponents")));
  fake::Put(twin, "CrossValidationOff", true);
  EXPECT_FALSE(std::get<bool>(fake::Get(twin, "VFoldCrossValidation")));
}

TEST(StartupTwin, EachKindListsItsOwnOptionsAndTogetherTheyListEveryOption) {
  std::set<std::string> all;
  std::map<std::string, std::set<std::string>> by_twin;
  for (const int row : {1, 2, 3, 4, 5}) {
    PCAStartupFixture fixture(row);
    const std::vector<std::string> names = fake::PropertyNames(fixture.twin());
    const std::set<std::string> unique(names.begin(), names.end());
    EXPECT_EQ(unique.size(), names.size()) << "a property is listed twice";
    by_twin[fixture.twin().TwinName()] = unique;
    all.insert(names.begin(), names.end());
  }
  EXPECT_EQ(all.size(), 47U);
  EXPECT_TRUE(by_twin["PCAStartup"].count("KrzanowskiCrossValidation"));
  EXPECT_FALSE(by_twin["PCAStartup"].count("VFoldCrossValidationQuick"));
  EXPECT_FALSE(by_twin["PCAStartup"].count("BatchVariable"));
  EXPECT_TRUE(by_twin["PLSStartup"].count("PredictorVariables"));
  EXPECT_FALSE(by_twin["PLSStartup"].count("Variables"));
  EXPECT_TRUE(by_twin["TMPLSStartup"].count("DependentIdentifierCode"));
  EXPECT_FALSE(by_twin["TMPLSStartup"].count("StackedData"));
  EXPECT_TRUE(by_twin["TMPCAStartup"].count("StackedData"));
  EXPECT_TRUE(by_twin["BMPLSStartup"].count("MinimumNumberOfBatches"));
  for (const auto& [twin, names] : by_twin) {
    EXPECT_TRUE(names.count("MaxIterations")) << twin;
    EXPECT_TRUE(names.count("MemoryLimitInMB")) << twin;
  }
}

}  // namespace
}  // namespace mspc
