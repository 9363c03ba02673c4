#include "export/model_document.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "export/export_test_support.hpp"
#include "models/monitoring.hpp"
#include "pca/pca_reports.hpp"
#include "platform/boost_probability.hpp"
#include "platform/pugi_xml_parser.hpp"

namespace mspc {
namespace {

using testing::Children;
using testing::Parse;

const XmlElement* Child(const XmlElement& element, const std::string& name) {
  for (const XmlElement& child : element.children) {
    if (child.name == name) return &child;
  }
  return nullptr;
}

double Number(const XmlElement& element, const std::string& attribute) {
  const std::string* value = element.Attribute(attribute);
  EXPECT_NE(value, nullptr) << element.name << " has no " << attribute;
  return value == nullptr ? std::nan("") : std::strtod(value->c_str(), nullptr);
}

TEST(ModelDocumentText, NumbersHaveFourteenDecimalsAndASignedExponent) {
  EXPECT_EQ(FormatDocumentReal(1.2345678901234), "1.23456789012340e+00");
  EXPECT_EQ(FormatDocumentReal(-0.00025), "-2.50000000000000e-04");
  EXPECT_EQ(FormatDocumentReal(0.0), "0.00000000000000e+00");
  EXPECT_EQ(FormatDocumentReal(6.02214076e123), "6.02214076000000e+123");
  // Fourteen decimals keep a value to about 1e-15 relative.
  const double value = 0.1234567890123456;
  EXPECT_NEAR(std::strtod(FormatDocumentReal(value).c_str(), nullptr), value, 1e-15);
}

TEST(ModelDocumentText, AnyNameReadsBackAsItWasWritten) {
  const std::vector<std::string> names = {"plain",
                                          "a<b>&c",
                                          "quote \" and ' apostrophe",
                                          "line\nbreak\ttab\rreturn",
                                          "\"/><PCA/><x y=\"",
                                          "comment */ end",
                                          "caf\xc3\xa9 \xe2\x82\xac"};
  for (const std::string& name : names) {
    const std::string document = "<r a=\"" + EscapeXmlAttribute(name) + "\"/>";
    const XmlElement root = Parse(document);
    ASSERT_NE(root.Attribute("a"), nullptr) << name;
    EXPECT_EQ(*root.Attribute("a"), name);
    EXPECT_TRUE(root.children.empty()) << name;
  }
}

class PCADocument : public ::testing::Test {
 protected:
  PCADocument()
      : raw_(testing::ManufacturedData(25, 4, {3.0, 1.5}, 0.3, 5)),
        data_(testing::ContinuousData(raw_, {"temp", "flow & rate", "p<1>", "level"})),
        engine_(testing::FittedEngine(data_, 2)) {}

  std::string Document(const PCAReportOptions& options) const {
    std::string text;
    ExportPCADocument(
        engine_, data_, ScalingMode::UnitStandardDeviations, options, probability_, text);
    return text;
  }

  DMatrix raw_;
  WorkingData data_;
  PCAEngine engine_;
  platform::BoostProbability probability_;
};

TEST_F(PCADocument, HoldsTheDictionaryComponentsAndLimitsOfTheModel) {
  const PCAReportOptions options;
  const XmlElement root = Parse(Document(options));

  const XmlElement* dictionary = Child(root, "DataDictionary");
  ASSERT_NE(dictionary, nullptr);
  EXPECT_EQ(Number(*dictionary, "numberOfFields"), 4.0);
  const auto fields = Children(*dictionary, "DataField");
  ASSERT_EQ(fields.size(), 4u);
  for (std::size_t j = 0; j < 4; ++j) {
    EXPECT_EQ(*fields[j]->Attribute("name"), data_.variables[j].name);
    EXPECT_EQ(*fields[j]->Attribute("optype"), "predictor");
    EXPECT_NEAR(Number(*Child(*fields[j], "Mean"), "value"), data_.mean[j], 1e-13);
    EXPECT_NEAR(Number(*Child(*fields[j], "Std"), "value"), data_.standard_deviation[j], 1e-13);
    EXPECT_NEAR(Number(*Child(*fields[j], "Scale"), "value"), data_.scale[j], 1e-13);
  }

  const XmlElement* pca = Child(root, "PCA");
  ASSERT_NE(pca, nullptr);
  EXPECT_EQ(*pca->Attribute("scaling"), "UnitStandardDeviations");
  EXPECT_EQ(Number(*pca, "numberOfVariables"), 4.0);
  EXPECT_EQ(Number(*pca, "numberOfComponents"), 2.0);

  // The limits are those the Results charts draw.
  const ControlLimitSet t2 = ComputeT2Limits(options.chart, 25, 2, probability_);
  const ControlLimitSet spe =
      ComputeSPELimits(ComputeModelSPE(engine_), options.chart, probability_);
  const XmlElement* ts = Child(*pca, "TS");
  ASSERT_NE(ts, nullptr);
  EXPECT_DOUBLE_EQ(Number(*ts, "controllimit"), 99.0);
  EXPECT_NEAR(Number(*ts, "controlline"), t2.control_line, 1e-13 * t2.control_line);
  EXPECT_EQ(*ts->Attribute("warning"), "1");
  EXPECT_NEAR(Number(*ts, "warningline"), t2.warning_line, 1e-13 * t2.warning_line);
  EXPECT_NEAR(
      Number(*Child(*pca, "SPE"), "controlline"), spe.control_line, 1e-13 * spe.control_line);

  const XmlElement* components = Child(*pca, "Components");
  ASSERT_NE(components, nullptr);
  const auto component = Children(*components, "Component");
  ASSERT_EQ(component.size(), 2u);
  const DMatrix loadings = engine_.Loadings();
  const std::vector<double> deviations = engine_.ScoreStandardDeviations();
  for (std::size_t a = 0; a < 2; ++a) {
    const XmlElement* score = Child(*component[a], "Score");
    ASSERT_NE(score, nullptr);
    EXPECT_EQ(*score->Attribute("type"), "0");
    EXPECT_NEAR(Number(*score, "std"), deviations[a], 1e-13 * deviations[a]);
    EXPECT_EQ(Number(*score, "df"), 24.0);
    // p-value limits are symmetric about zero.
    EXPECT_NEAR(Number(*score, "uppercontrol"), -Number(*score, "lowercontrol"), 1e-12);
    const auto values = Children(*Child(*component[a], "Loadings"), "Loading");
    ASSERT_EQ(values.size(), 4u);
    for (std::size_t j = 0; j < 4; ++j) {
      EXPECT_NEAR(Number(*values[j], "value"), loadings(a, j), 1e-14);
    }
  }
}

TEST_F(PCADocument, WithoutWarningLimitsEveryLimitTakesTheShortForm) {
  PCAReportOptions options;
  options.chart.warning = false;
  options.score.warning = false;
  const std::string text = Document(options);
  EXPECT_EQ(text.find("warning=\"1\""), std::string::npos);
  EXPECT_EQ(text.find("warningline"), std::string::npos);
  std::size_t count = 0;
  // The short form ends at the warning flag.
  for (std::size_t at = text.find("warning=\"0\"/>"); at != std::string::npos;
       at = text.find("warning=\"0\"/>", at + 1)) {
    ++count;
  }
  EXPECT_EQ(count, 4u);  // TS, SPE and two Score elements
}

TEST_F(PCADocument, ExcludedColumnsAreLeftOutOfTheDictionaryAndLoadings) {
  PCAFitOptions options = engine_.Options();
  PCAEngine engine(options);
  engine.CenterAndScale(raw_, data_.mean, data_.scale, {}, {false, true, false, false});
  engine.AutoFit();
  std::string text;
  ExportPCADocument(
      engine, data_, ScalingMode::UnitStandardDeviations, PCAReportOptions{}, probability_, text);
  const XmlElement root = Parse(text);
  const auto fields = Children(*Child(root, "DataDictionary"), "DataField");
  ASSERT_EQ(fields.size(), 3u);
  EXPECT_EQ(*fields[1]->Attribute("name"), "p<1>");
  EXPECT_EQ(Number(*Child(root, "PCA"), "numberOfVariables"), 3.0);
  const XmlElement* components = Child(*Child(root, "PCA"), "Components");
  ASSERT_NE(components, nullptr);
  const auto first = Children(components->children.front(), "Loadings");
  ASSERT_EQ(first.size(), 1u);
  EXPECT_EQ(Children(*first[0], "Loading").size(), 3u);
}

TEST(PCADocumentCategorical, ACategoricalVariableIsOneFieldWithItsCategoriesInCodeOrder) {
  // Column 0 continuous, columns 1-3 the dummies of a categorical variable with codes 1, 2, 5.
  DMatrix raw(6, 4);
  const double values[6] = {1.0, 2.0, 3.5, 4.0, 6.0, 5.5};
  const int codes[6] = {1, 2, 5, 1, 2, 5};
  for (std::size_t i = 0; i < 6; ++i) {
    raw(i, 0) = values[i];
    raw(i, 1) = codes[i] == 1 ? 1.0 : 0.0;
    raw(i, 2) = codes[i] == 2 ? 1.0 : 0.0;
    raw(i, 3) = codes[i] == 5 ? 1.0 : 0.0;
  }
  WorkingData data = testing::ContinuousData(raw, {"x", "g", "g", "g"});
  data.variables.resize(2);
  data.variables[1].name = "grade \"A\"";
  data.variables[1].categorical = true;
  data.variables[1].category_codes = {1, 2, 5};
  data.variables[1].category_labels = {"low", "mid & high", "top"};
  data.column_source = {0, 1, 1, 1};
  data.column_code = {std::nan(""), 1, 2, 5};
  const PCAEngine engine = testing::FittedEngine(data, 1);
  const platform::BoostProbability probability;
  std::string text;
  ExportPCADocument(
      engine, data, ScalingMode::UnitStandardDeviations, PCAReportOptions{}, probability, text);
  const XmlElement root = Parse(text);
  const XmlElement* dictionary = Child(root, "DataDictionary");
  EXPECT_EQ(*dictionary->Attribute("numberOfFields"), "2");
  const auto fields = Children(*dictionary, "DataField");
  ASSERT_EQ(fields.size(), 2u);
  EXPECT_EQ(*fields[1]->Attribute("name"), "grade \"A\"");
  EXPECT_EQ(*fields[1]->Attribute("numberOfCategories"), "3");
  const auto categories = Children(*fields[1], "Category");
  ASSERT_EQ(categories.size(), 3u);
  const std::vector<std::string> labels = {"low", "mid & high", "top"};
  const std::vector<std::string> values_text = {"1", "2", "5"};
  for (std::size_t c = 0; c < 3; ++c) {
    EXPECT_EQ(*categories[c]->Attribute("text"), labels[c]);
    EXPECT_EQ(*categories[c]->Attribute("value"), values_text[c]);
    EXPECT_NEAR(Number(*Child(*categories[c], "Mean"), "value"), 1.0 / 3.0, 1e-13);
  }
  // numberOfVariables counts the model's columns: one continuous and three dummies.
  EXPECT_EQ(*Child(root, "PCA")->Attribute("numberOfVariables"), "4");
}

}  // namespace
}  // namespace mspc
