#include "deploy/batch_pls_document.hpp"

#include <string_view>

#include "deploy/document_reading_internal.hpp"
#include "host/errors.hpp"
#include "host/messages.hpp"

namespace mspc {
namespace {

using namespace document;

std::string_view OptypeOf(const XmlElement& element) {
  const std::string* optype = element.Attribute("optype");
  if (optype == nullptr) {
    throw AnalysisStop::With(
        MessageId::kDeployMissingAttribute, element.name, std::string("optype"));
  }
  return *optype;
}

void ReadTimeField(const XmlElement& element, BatchDocumentFrame& frame) {
  frame.time_name = NameOf(element);
  const auto codes = ChildrenNamed(element, "Code");
  CheckCount(element, "Code", Count(element, "numberOfCategories"), codes.size());
  for (const XmlElement* code : codes) {
    frame.time_codes.push_back(Real(*code, "value"));
    frame.time_labels.push_back(TextOf(*code));
  }
}

void ReadTrajectories(const XmlElement& model_element, BatchDocumentFrame& frame) {
  const XmlElement& trajectories = Required(model_element, "Trajectories");
  frame.trajectory_control = Real(trajectories, "controllimit");
  if (trajectories.Attribute("warninglimit") != nullptr) {
    frame.trajectory_warning = true;
    frame.trajectory_warning_limit = Real(trajectories, "warninglimit");
  }
}

// The dictionary of a batch PLS document: the batch and time fields (the time field of a
// BMPLS document being its dependent, `time_is_dependent`), dependents and predictors.
// The predictors of a TMPLS document (`tmpls`) are its process variables, whose scaling per
// time the Scales element holds.
void ReadDictionary(const XmlElement& root,
                    bool time_is_dependent,
                    BatchDocumentFrame& frame,
                    LoadedPLSModel& model,
                    LoadedTMPLSModel* tmpls) {
  const XmlElement& dictionary = Required(root, "DataDictionary");
  const auto fields = ChildrenNamed(dictionary, "DataField");
  CheckCount(dictionary, "DataField", Count(dictionary, "numberOfFields"), fields.size());
  const std::string* stacked = dictionary.Attribute("stacked");
  frame.stacked = stacked != nullptr && *stacked == "1";
  bool has_batch = false;
  bool has_time = false;
  for (const XmlElement* element : fields) {
    const std::string_view type = OptypeOf(*element);
    if (type == "batch") {
      frame.batch_name = NameOf(*element);
      frame.batches = Count(*element, time_is_dependent ? "numberOfBatches" : "numberOfCategories");
      has_batch = true;
    } else if (type == "time") {
      ReadTimeField(*element, frame);
      if (time_is_dependent) {
        DocumentField field;
        field.name = frame.time_name;
        DocumentColumn column;
        column.mean = Real(*element, "mean");
        column.standard_deviation = Real(*element, "std");
        column.scale = Real(*element, "scale");
        model.dependent_fields.push_back(field);
        model.dependent_columns.push_back(column);
      }
      has_time = true;
    } else if (type == "dependent" && !time_is_dependent) {
      model.dependent_fields.push_back(
          ReadField(*element, model.dependent_fields.size(), model.dependent_columns));
    } else if (type == "predictor" && tmpls != nullptr) {
      ReadProcessVariable(*element, tmpls->variables, tmpls->columns);
    } else if (type == "predictor") {
      model.predictor_fields.push_back(
          ReadField(*element, model.predictor_fields.size(), model.predictor_columns));
    } else {
      throw AnalysisStop::With(
          MessageId::kDeployMissingAttribute, element->name, std::string("optype"));
    }
  }
  if (!has_batch) throw AnalysisStop::With(MessageId::kDeployMissingElement, "batch", "DataField");
  if (!has_time) throw AnalysisStop::With(MessageId::kDeployMissingElement, "time", "DataField");
  if ((tmpls == nullptr ? model.predictor_fields.empty() : tmpls->variables.empty()) ||
      model.dependent_fields.empty()) {
    throw AnalysisStop::With(MessageId::kDeployNoVariables);
  }
}

void CheckColumnCounts(const XmlElement& element, const LoadedPLSModel& model, bool dependents) {
  if (static_cast<std::size_t>(Count(element, "numberOfPredictors")) !=
          model.predictor_columns.size() ||
      (dependents && static_cast<std::size_t>(Count(element, "numberOfDependents")) !=
                         model.dependent_columns.size())) {
    throw AnalysisStop::With(MessageId::kDeployVariablesDoNotMatch);
  }
}

// A per-time limit: its lines are not-a-number where the time had too few batches.
ControlLimitSet ReadTimeScore(const XmlElement& element) {
  ControlLimitSet limits;
  limits.standard_deviation = ParseNumber(element, "std");
  limits.degrees_of_freedom = Count(element, "df");
  limits.control_limit = Real(element, "controllimit");
  limits.upper_control = ParseNumber(element, "uppercontrol");
  limits.lower_control = ParseNumber(element, "lowercontrol");
  const std::string* warning = element.Attribute("warning");
  limits.warning = warning != nullptr && *warning == "1";
  if (limits.warning) {
    limits.warning_limit = Real(element, "warninglimit");
    limits.upper_warning = ParseNumber(element, "upperwarning");
    limits.lower_warning = ParseNumber(element, "lowerwarning");
  }
  return limits;
}

}  // namespace

LoadedTMPLSModel ReadTMPLSDocument(const XmlElement& root) {
  LoadedTMPLSModel model;
  LoadedPLSModel& unfolded = model.unfolded;
  ReadDictionary(root, false, model.frame, unfolded, &model);
  const XmlElement& tmpls = Required(root, "TMPLS");
  ReadUnfoldedScales(Required(tmpls, "Scales"),
                     model.frame.time_labels,
                     model.variables,
                     model.columns,
                     model.excluded,
                     unfolded.predictor_fields,
                     unfolded.predictor_columns);
  unfolded.scaling = ReadScalingMode(tmpls);
  const std::string* type = tmpls.Attribute("type");
  unfolded.classification = type != nullptr && *type == "Classification";
  CheckColumnCounts(tmpls, unfolded, true);
  model.dependent_time_code = Real(tmpls, "timeCodeForDependents");
  ReadTrajectories(tmpls, model.frame);
  ReadPLSLimitsAndComponents(tmpls, unfolded);
  return model;
}

LoadedBMPLSModel ReadBMPLSDocument(const XmlElement& root) {
  LoadedBMPLSModel model;
  LoadedPLSModel& pls = model.model;
  ReadDictionary(root, true, model.frame, pls, nullptr);
  const XmlElement& bmpls = Required(root, "BMPLS");
  pls.scaling = ReadScalingMode(bmpls);
  CheckColumnCounts(bmpls, pls, false);
  ReadPLSLimitsAndComponents(bmpls, pls);
  ReadTrajectories(bmpls, model.frame);

  const XmlElement& limits = Required(bmpls, "TimeLimits");
  const auto times = ChildrenNamed(limits, "Time");
  CheckCount(limits, "Time", model.frame.Times(), times.size());
  model.scores_by_time.resize(pls.inner.size());
  for (const XmlElement* time : times) {
    const XmlElement& spe = Required(*time, "SPE");
    ControlLimitSet spe_limits;
    spe_limits.control_limit = Real(spe, "controllimit");
    spe_limits.control_line = ParseNumber(spe, "controlline");
    const std::string* warning = spe.Attribute("warning");
    spe_limits.warning = warning != nullptr && *warning == "1";
    if (spe_limits.warning) {
      spe_limits.warning_limit = Real(spe, "warninglimit");
      spe_limits.warning_line = ParseNumber(spe, "warningline");
    }
    model.spe_by_time.push_back(spe_limits);
    const auto scores = ChildrenNamed(*time, "Score");
    CheckCount(*time, "Score", pls.Components(), scores.size());
    for (std::size_t a = 0; a < scores.size(); ++a) {
      model.scores_by_time[a].push_back(ReadTimeScore(*scores[a]));
    }
  }
  return model;
}

}  // namespace mspc
