#include "deploy/tmpca_document.hpp"

#include <string_view>

#include "deploy/document_reading_internal.hpp"
#include "host/errors.hpp"
#include "host/messages.hpp"

namespace mspc {
namespace document {

void ReadProcessVariable(const XmlElement& element,
                         std::vector<DocumentField>& variables,
                         std::vector<DocumentColumn>& columns) {
  DocumentField field;
  field.name = NameOf(element);
  const std::size_t index = variables.size();
  if (element.Attribute("numberOfCategories") == nullptr) {
    DocumentColumn column;
    column.field = index;
    columns.push_back(column);
  } else {
    field.categorical = true;
    auto categories = ChildrenNamed(element, "Category");
    if (categories.empty()) categories = ChildrenNamed(element, "Code");
    CheckCount(element, "Category", Count(element, "numberOfCategories"), categories.size());
    for (const XmlElement* category : categories) {
      DocumentColumn column;
      column.field = index;
      column.code = Real(*category, "value");
      field.category_codes.push_back(column.code);
      field.category_labels.push_back(TextOf(*category));
      columns.push_back(column);
    }
  }
  variables.push_back(std::move(field));
}

void ReadUnfoldedScales(const XmlElement& scales_element,
                        const std::vector<std::string>& time_labels,
                        const std::vector<DocumentField>& variables,
                        const std::vector<DocumentColumn>& columns,
                        std::vector<bool>& excluded,
                        std::vector<DocumentField>& fields,
                        std::vector<DocumentColumn>& unfolded_columns) {
  const std::size_t per_time = columns.size();
  const auto times = ChildrenNamed(scales_element, "Time");
  CheckCount(scales_element, "Time", static_cast<int>(time_labels.size()), times.size());
  for (std::size_t k = 0; k < times.size(); ++k) {
    const auto scales = ChildrenNamed(*times[k], "Scale");
    if (scales.size() != per_time) throw AnalysisStop::With(MessageId::kDeployLoadingLength);
    std::size_t last_variable = variables.size();
    for (std::size_t j = 0; j < per_time; ++j) {
      const XmlElement& scale = *scales[j];
      const std::string* mark = scale.Attribute("excluded");
      excluded.push_back(mark != nullptr && *mark == "1");
      if (excluded.back()) continue;
      const DocumentColumn& template_column = columns[j];
      const DocumentField& variable = variables[template_column.field];
      if (template_column.field != last_variable || fields.empty()) {
        DocumentField field;
        field.name = FormatMessage(MessageId::kVariableAtTime, variable.name, time_labels[k]);
        field.categorical = variable.categorical;
        field.location = static_cast<int>(k * per_time + j) + 1;
        fields.push_back(std::move(field));
        last_variable = template_column.field;
      }
      DocumentColumn column = template_column;
      column.field = fields.size() - 1;
      column.scale = Real(scale, "value");
      column.mean = Real(scale, "mean");
      column.standard_deviation = Real(scale, "std");
      if (variable.categorical) {
        DocumentField& field = fields.back();
        field.category_codes.push_back(column.code);
        for (std::size_t c = 0; c < variable.category_codes.size(); ++c) {
          if (variable.category_codes[c] == column.code) {
            field.category_labels.push_back(variable.category_labels[c]);
            break;
          }
        }
        if (field.category_labels.size() < field.category_codes.size()) {
          field.category_labels.emplace_back();
        }
      }
      unfolded_columns.push_back(column);
    }
  }
}

}  // namespace document

namespace {

using namespace document;

void ReadDictionary(const XmlElement& dictionary, LoadedTMPCAModel& model) {
  const auto fields = ChildrenNamed(dictionary, "DataField");
  CheckCount(dictionary, "DataField", Count(dictionary, "numberOfFields"), fields.size());
  const std::string* stacked = dictionary.Attribute("stacked");
  model.stacked = stacked != nullptr && *stacked == "1";
  bool has_batch = false;
  bool has_time = false;
  for (const XmlElement* element : fields) {
    const std::string* optype = element->Attribute("optype");
    const std::string_view type = optype == nullptr ? std::string_view() : *optype;
    if (type == "batch") {
      model.batch_name = NameOf(*element);
      model.batches = Count(*element, "numberOfCategories");
      has_batch = true;
    } else if (type == "time") {
      model.time_name = NameOf(*element);
      const auto codes = ChildrenNamed(*element, "Code");
      CheckCount(*element, "Code", Count(*element, "numberOfCategories"), codes.size());
      for (const XmlElement* code : codes) {
        model.time_codes.push_back(Real(*code, "value"));
        model.time_labels.push_back(TextOf(*code));
      }
      has_time = true;
    } else if (type == "predictor") {
      ReadProcessVariable(*element, model.variables, model.columns);
    } else {
      throw AnalysisStop::With(
          MessageId::kDeployMissingAttribute, element->name, std::string("optype"));
    }
  }
  if (!has_batch) throw AnalysisStop::With(MessageId::kDeployMissingElement, "batch", "DataField");
  if (!has_time) throw AnalysisStop::With(MessageId::kDeployMissingElement, "time", "DataField");
  if (model.variables.empty()) throw AnalysisStop::With(MessageId::kDeployNoVariables);
}

}  // namespace

LoadedTMPCAModel ReadTMPCADocument(const XmlElement& root) {
  LoadedTMPCAModel model;
  ReadDictionary(Required(root, "DataDictionary"), model);

  const XmlElement& tmpca = Required(root, "TMPCA");
  LoadedPCAModel& unfolded = model.unfolded;
  unfolded.scaling = ReadScalingMode(tmpca);
  const std::size_t per_time = model.columns.size();
  if (static_cast<std::size_t>(Count(tmpca, "numberOfVariables")) != per_time) {
    throw AnalysisStop::With(MessageId::kDeployVariablesDoNotMatch);
  }
  const int components = Count(tmpca, "numberOfComponents");
  const XmlElement& trajectories = Required(tmpca, "Trajectories");
  model.trajectory_control = Real(trajectories, "controllimit");
  if (trajectories.Attribute("warninglimit") != nullptr) {
    model.trajectory_warning = true;
    model.trajectory_warning_limit = Real(trajectories, "warninglimit");
  }
  unfolded.t2 = ReadChartLimits(Required(tmpca, "TS"), components > 0);
  unfolded.spe = ReadChartLimits(Required(tmpca, "SPE"), true);

  ReadUnfoldedScales(Required(tmpca, "Scales"),
                     model.time_labels,
                     model.variables,
                     model.columns,
                     model.excluded,
                     unfolded.fields,
                     unfolded.columns);
  if (unfolded.columns.empty()) throw AnalysisStop::With(MessageId::kDeployNoVariables);

  const auto elements = ChildrenNamed(Required(tmpca, "Components"), "Component");
  CheckCount(tmpca, "Component", components, elements.size());
  unfolded.loadings = DMatrix(elements.size(), unfolded.columns.size());
  for (std::size_t a = 0; a < elements.size(); ++a) {
    unfolded.scores.push_back(ReadScoreLimits(Required(*elements[a], "Score")));
    const auto loadings = ChildrenNamed(Required(*elements[a], "Loadings"), "Loading");
    if (loadings.size() != model.excluded.size()) {
      throw AnalysisStop::With(MessageId::kDeployLoadingLength);
    }
    std::size_t model_column = 0;
    for (std::size_t col = 0; col < loadings.size(); ++col) {
      if (model.excluded[col]) continue;
      unfolded.loadings(a, model_column++) = Real(*loadings[col], "value");
    }
  }
  return model;
}

}  // namespace mspc
