#include "deploy/pca_document.hpp"

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>

#include "deploy/document_reading_internal.hpp"
#include "host/errors.hpp"
#include "host/messages.hpp"

namespace mspc {
namespace document {

const XmlElement& Required(const XmlElement& parent, std::string_view name) {
  for (const XmlElement& child : parent.children) {
    if (child.name == name) return child;
  }
  throw AnalysisStop::With(MessageId::kDeployMissingElement, std::string(name), parent.name);
}

std::vector<const XmlElement*> ChildrenNamed(const XmlElement& parent, std::string_view name) {
  std::vector<const XmlElement*> found;
  for (const XmlElement& child : parent.children) {
    if (child.name == name) found.push_back(&child);
  }
  return found;
}

// A whole attribute value read as a number; not-a-number when it is missing or not one.
double ParseNumber(const XmlElement& element, std::string_view attribute) {
  const std::string* text = element.Attribute(attribute);
  if (text == nullptr || text->empty()) return std::numeric_limits<double>::quiet_NaN();
  double value = 0.0;
  const char* end = text->data() + text->size();
  const auto [stop, error] = std::from_chars(text->data(), end, value);
  if (error != std::errc() || stop != end) return std::numeric_limits<double>::quiet_NaN();
  return value;
}

double Real(const XmlElement& element, std::string_view attribute) {
  const double value = ParseNumber(element, attribute);
  if (!std::isfinite(value)) {
    throw AnalysisStop::With(MessageId::kDeployBadNumber, std::string(attribute), element.name);
  }
  return value;
}

int Count(const XmlElement& element, std::string_view attribute) {
  const double value = Real(element, attribute);
  if (value < 0 || value > std::numeric_limits<int>::max() || value != std::floor(value)) {
    throw AnalysisStop::With(MessageId::kDeployBadNumber, std::string(attribute), element.name);
  }
  return static_cast<int>(value);
}

void CheckCount(const XmlElement& element, std::string_view what, int declared, std::size_t held) {
  if (static_cast<std::size_t>(declared) != held) {
    throw AnalysisStop::With(MessageId::kDeployCountDiffers,
                             element.name,
                             declared,
                             std::string(what),
                             static_cast<int>(held));
  }
}

bool WarningOn(const XmlElement& element) {
  const std::string* warning = element.Attribute("warning");
  return warning != nullptr && *warning == "1";
}

// The T² or SPE(Q) element. `lines_defined` is false for the T² of a model without components,
// whose lines are written as not-a-number.
ControlLimitSet ReadChartLimits(const XmlElement& element, bool lines_defined) {
  ControlLimitSet limits;
  limits.control_limit = Real(element, "controllimit");
  limits.control_line =
      lines_defined ? Real(element, "controlline") : ParseNumber(element, "controlline");
  limits.warning = WarningOn(element);
  if (limits.warning) {
    limits.warning_limit = Real(element, "warninglimit");
    limits.warning_line =
        lines_defined ? Real(element, "warningline") : ParseNumber(element, "warningline");
  }
  return limits;
}

ControlLimitSet ReadScoreLimits(const XmlElement& element) {
  ControlLimitSet limits;
  limits.standard_deviation = Real(element, "std");
  limits.degrees_of_freedom = Count(element, "df");
  limits.control_limit = Real(element, "controllimit");
  limits.upper_control = Real(element, "uppercontrol");
  limits.lower_control = Real(element, "lowercontrol");
  limits.warning = WarningOn(element);
  if (limits.warning) {
    limits.warning_limit = Real(element, "warninglimit");
    limits.upper_warning = Real(element, "upperwarning");
    limits.lower_warning = Real(element, "lowerwarning");
  }
  return limits;
}

void ReadScaling(const XmlElement& element, DocumentColumn& column) {
  column.mean = Real(Required(element, "Mean"), "value");
  column.standard_deviation = Real(Required(element, "Std"), "value");
  column.scale = Real(Required(element, "Scale"), "value");
}

std::string NameOf(const XmlElement& element) {
  const std::string* name = element.Attribute("name");
  if (name == nullptr) {
    throw AnalysisStop::With(MessageId::kDeployMissingAttribute, element.name, std::string("name"));
  }
  return *name;
}

std::string TextOf(const XmlElement& element) {
  const std::string* text = element.Attribute("text");
  return text == nullptr ? std::string() : *text;
}

DocumentField ReadField(const XmlElement& element,
                        std::size_t index,
                        std::vector<DocumentColumn>& columns) {
  DocumentField field;
  field.name = NameOf(element);
  if (element.Attribute("numberOfCategories") == nullptr) {
    DocumentColumn column;
    column.field = index;
    ReadScaling(element, column);
    columns.push_back(column);
    return field;
  }
  field.categorical = true;
  const auto categories = ChildrenNamed(element, "Category");
  CheckCount(element, "Category", Count(element, "numberOfCategories"), categories.size());
  for (const XmlElement* category : categories) {
    DocumentColumn column;
    column.field = index;
    column.code = Real(*category, "value");
    ReadScaling(*category, column);
    field.category_codes.push_back(column.code);
    field.category_labels.push_back(TextOf(*category));
    columns.push_back(column);
  }
  return field;
}

ScalingMode ReadScalingMode(const XmlElement& model) {
  const std::string* scaling = model.Attribute("scaling");
  const auto mode = scaling == nullptr ? std::nullopt : ParseScalingMode(*scaling);
  if (!mode) {
    throw AnalysisStop::With(
        MessageId::kDeployMissingAttribute, model.name, std::string("scaling"));
  }
  return *mode;
}

}  // namespace document

namespace {

void ReadDictionary(const XmlElement& dictionary, LoadedPCAModel& model) {
  using namespace document;
  const auto fields = ChildrenNamed(dictionary, "DataField");
  CheckCount(dictionary, "DataField", Count(dictionary, "numberOfFields"), fields.size());
  for (const XmlElement* element : fields) {
    model.fields.push_back(ReadField(*element, model.fields.size(), model.columns));
  }
  if (model.fields.empty()) throw AnalysisStop::With(MessageId::kDeployNoVariables);
}

}  // namespace

LoadedPCAModel ReadPCADocument(const XmlElement& root) {
  using namespace document;
  LoadedPCAModel model;
  ReadDictionary(Required(root, "DataDictionary"), model);

  const XmlElement& pca = Required(root, "PCA");
  model.scaling = ReadScalingMode(pca);
  const int variables = Count(pca, "numberOfVariables");
  if (static_cast<std::size_t>(variables) != model.columns.size()) {
    throw AnalysisStop::With(MessageId::kDeployVariablesDoNotMatch);
  }
  const int components = Count(pca, "numberOfComponents");
  model.t2 = ReadChartLimits(Required(pca, "TS"), components > 0);
  model.spe = ReadChartLimits(Required(pca, "SPE"), true);

  const XmlElement& list = Required(pca, "Components");
  const auto elements = ChildrenNamed(list, "Component");
  CheckCount(pca, "Component", components, elements.size());
  model.loadings = DMatrix(elements.size(), model.columns.size());
  for (std::size_t a = 0; a < elements.size(); ++a) {
    model.scores.push_back(ReadScoreLimits(Required(*elements[a], "Score")));
    const auto loadings = ChildrenNamed(Required(*elements[a], "Loadings"), "Loading");
    if (loadings.size() != model.columns.size()) {
      throw AnalysisStop::With(MessageId::kDeployLoadingLength);
    }
    for (std::size_t j = 0; j < loadings.size(); ++j) {
      model.loadings(a, j) = Real(*loadings[j], "value");
    }
  }
  return model;
}

}  // namespace mspc
