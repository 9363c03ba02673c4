#include "pls/pls_model.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "frame/analysis_support.hpp"
#include "models/missing.hpp"
#include "support/fake_data_table.hpp"
#include "support/recording_host.hpp"

namespace mspc {
namespace {

const double kNaN = kMissingValue;

// A table of 30 cases: three predictors, a dependent y = 2 a - b + noise, a constant column and
// a two-group factor that follows a.
class PLSModelTest : public ::testing::Test {
 protected:
  PLSModelTest() {
    std::mt19937_64 engine(7);
    std::normal_distribution<double> normal(0.0, 1.0);
    std::vector<double> a(30), b(30), c(30), y(30), constant(30, 4.0), group(30);
    for (std::size_t i = 0; i < 30; ++i) {
      a[i] = normal(engine);
      b[i] = normal(engine);
      c[i] = normal(engine);
      y[i] = 10.0 + 2.0 * a[i] - b[i] + 0.1 * normal(engine);
      group[i] = a[i] > 0.0 ? 2.0 : 1.0;
    }
    y[6] = kNaN;  // a case without its dependent
    b[11] = kNaN;
    table_.AddVariable("a", a);
    table_.AddVariable("b", b);
    table_.AddVariable("c", c);
    table_.AddVariable("y", y);
    table_.AddVariable("constant", constant);
    table_.AddCategorical("group", group, {{1, "low"}, {2, "high"}});
    analysis_.InitCommons(host_.Services(&table_));
    options_.predictor_variables = {"a", "b", "c"};
    options_.dependent_variables = {"y"};
    options_.component_mode = ComponentMode::FixedNumberOfComponents;
    options_.num_components = 1;
    options_.auto_remove_cases = true;
  }

  FakeDataTable table_;
  RecordingHost host_;
  CAnalysisSupport analysis_;
  StartupOptions options_;
};

// One dependent passes the case screen (only a case without any dependent value is removed,
// with the dependents' cause); the model fits and predicts the dependent from its predictors.
TEST_F(PLSModelTest, SingleDependentFitsAndRemovesOnlyTheCaseWithoutIt) {
  CPLSModel model(&analysis_);
  model.ApplyOptions(options_);
  model.Run(options_);
  ASSERT_TRUE(model.IsFitted());
  EXPECT_EQ(model.ModelType(), PLSModelType::kRegression);
  EXPECT_EQ(model.engine().ActiveRows(), 29);
  EXPECT_TRUE(model.engine().IsRowExcluded(6));
  EXPECT_FALSE(model.engine().IsRowExcluded(11));

  ASSERT_EQ(host_.spreadsheets().size(), 1u);
  const Spreadsheet& removed = host_.spreadsheets()[0];
  ASSERT_EQ(removed.rows.size(), 1u);
  EXPECT_EQ(std::get<std::string>(removed.rows[0].cells[0]), "7");
  EXPECT_EQ(std::get<std::string>(removed.rows[0].cells[1]), CauseText(17));

  // The first component already carries most of y: predictions follow the observations.
  const PLSPredictions predictions = ComputePLSPredictions(model.engine());
  double residual_ss = 0.0;
  double total_ss = 0.0;
  for (std::size_t i = 0; i < 30; ++i) {
    if (model.engine().IsRowExcluded(i)) continue;
    residual_ss += std::pow(predictions.y_residual(i, 0), 2);
    total_ss += std::pow(predictions.y_predicted(i, 0) + predictions.y_residual(i, 0) - 10.0, 2);
  }
  EXPECT_LT(residual_ss, 0.2 * total_ss);
}

TEST_F(PLSModelTest, RolesAndDependentsThatCannotMakeAModel) {
  const auto stop_with = [this](auto change) {
    StartupOptions options = options_;
    change(options);
    CPLSModel model(&analysis_);
    model.ApplyOptions(options);
    const auto stop = StopId([&] { model.Run(options); });
    EXPECT_FALSE(model.IsFitted());
    return stop;
  };
  // The case without its dependent is not removed.
  EXPECT_EQ(stop_with([](StartupOptions& o) { o.auto_remove_cases = false; }),
            MessageId::kCaseTooFewValidVariables);
  EXPECT_EQ(stop_with([](StartupOptions& o) { o.dependent_variables = {"a"}; }),
            MessageId::kPLSVariableInBothRoles);
  EXPECT_EQ(stop_with([](StartupOptions& o) { o.dependent_variables.clear(); }),
            MessageId::kPLSNoDependentSelected);
  EXPECT_EQ(stop_with([](StartupOptions& o) { o.dependent_variables = {"constant"}; }),
            MessageId::kVariableNoVariance);
  EXPECT_EQ(stop_with([](StartupOptions& o) {
              o.dependent_variables = {"constant"};
              o.auto_remove_variables = true;
            }),
            MessageId::kNoDependentLeft);
}

// A categorical dependent enters as its dummy columns and makes a classification model.
TEST_F(PLSModelTest, CategoricalDependentMakesAClassificationModel) {
  options_.dependent_variables = {"group"};
  CPLSModel model(&analysis_);
  model.ApplyOptions(options_);
  model.Run(options_);
  ASSERT_TRUE(model.IsFitted());
  EXPECT_EQ(model.ModelType(), PLSModelType::kClassification);
  EXPECT_EQ(model.engine().YCols(), 2u);
  EXPECT_EQ(model.engine().ActiveRows(), 30);
}

}  // namespace
}  // namespace mspc
