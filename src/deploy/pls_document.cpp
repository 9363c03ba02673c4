#include "deploy/pls_document.hpp"

#include <string_view>

#include "deploy/document_reading_internal.hpp"
#include "host/errors.hpp"
#include "host/messages.hpp"

namespace mspc {
namespace {

using namespace document;

// One component's loadings: `value` of every Loading element (and `weight` when `weights` is
// given), one per column of the block.
void ReadLoadings(const XmlElement& component,
                  std::size_t columns,
                  std::size_t a,
                  DMatrix& values,
                  DMatrix* weights) {
  const auto loadings = ChildrenNamed(Required(component, "Loadings"), "Loading");
  if (loadings.size() != columns) throw AnalysisStop::With(MessageId::kDeployLoadingLength);
  for (std::size_t j = 0; j < columns; ++j) {
    values(a, j) = Real(*loadings[j], "value");
    if (weights != nullptr) (*weights)(a, j) = Real(*loadings[j], "weight");
  }
}

}  // namespace

LoadedPLSModel ReadPLSDocument(const XmlElement& root) {
  LoadedPLSModel model;
  const XmlElement& dictionary = Required(root, "DataDictionary");
  const auto fields = ChildrenNamed(dictionary, "DataField");
  CheckCount(dictionary, "DataField", Count(dictionary, "numberOfFields"), fields.size());
  for (const XmlElement* element : fields) {
    const std::string* optype = element->Attribute("optype");
    if (optype != nullptr && *optype == "dependent") {
      model.dependent_fields.push_back(
          ReadField(*element, model.dependent_fields.size(), model.dependent_columns));
    } else if (optype != nullptr && *optype == "predictor") {
      model.predictor_fields.push_back(
          ReadField(*element, model.predictor_fields.size(), model.predictor_columns));
    } else {
      throw AnalysisStop::With(
          MessageId::kDeployMissingAttribute, element->name, std::string("optype"));
    }
  }
  if (model.predictor_fields.empty() || model.dependent_fields.empty()) {
    throw AnalysisStop::With(MessageId::kDeployNoVariables);
  }

  const XmlElement& pls = Required(root, "PLS");
  model.scaling = ReadScalingMode(pls);
  const std::string* type = pls.Attribute("type");
  model.classification = type != nullptr && *type == "Classification";
  if (static_cast<std::size_t>(Count(pls, "numberOfPredictors")) !=
          model.predictor_columns.size() ||
      static_cast<std::size_t>(Count(pls, "numberOfDependents")) !=
          model.dependent_columns.size()) {
    throw AnalysisStop::With(MessageId::kDeployVariablesDoNotMatch);
  }
  ReadPLSLimitsAndComponents(pls, model);
  return model;
}

namespace document {

void ReadPLSLimitsAndComponents(const XmlElement& pls, LoadedPLSModel& model) {
  const int components = Count(pls, "numberOfComponents");
  model.t2 = ReadChartLimits(Required(pls, "TS"), components > 0);
  model.spe = ReadChartLimits(Required(pls, "SPE"), true);

  const XmlElement& list = Required(pls, "Components");
  const auto y_components = ChildrenNamed(list, "YComponent");
  const auto x_components = ChildrenNamed(list, "XComponent");
  CheckCount(pls, "YComponent", components, y_components.size());
  CheckCount(pls, "XComponent", components, x_components.size());
  const std::size_t count = y_components.size();
  model.y_loadings = DMatrix(count, model.dependent_columns.size());
  model.x_loadings = DMatrix(count, model.predictor_columns.size());
  model.weights = DMatrix(count, model.predictor_columns.size());
  for (std::size_t a = 0; a < count; ++a) {
    const XmlElement& y = *y_components[a];
    const XmlElement& x = *x_components[a];
    model.inner.push_back(Real(y, "coefficient"));
    model.y_scores.push_back(ReadScoreLimits(Required(y, "Score")));
    model.x_scores.push_back(ReadScoreLimits(Required(x, "Score")));
    ReadLoadings(y, model.dependent_columns.size(), a, model.y_loadings, nullptr);
    ReadLoadings(x, model.predictor_columns.size(), a, model.x_loadings, &model.weights);
  }
}

}  // namespace document

}  // namespace mspc
