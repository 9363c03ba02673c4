#include "export/batch_pls_export.hpp"

#include <cstddef>
#include <vector>

#include "batch/bmpls_model.hpp"
#include "batch/mpls_model.hpp"
#include "export/kvb_code.hpp"
#include "export/model_document.hpp"
#include "export/pls_model_document.hpp"
#include "frame/startup_options.hpp"
#include "frame/working_data.hpp"
#include "host/messages.hpp"
#include "pls/pls_coefficients.hpp"
#include "pls/pls_reports.hpp"

namespace mspc {
namespace {

std::string Real(double value) { return FormatDocumentReal(value); }

// Regroup the fields of an unfolded block as the variables at their slots ("name {slot}"): the
// block's columns come slot by slot, `per_slot` to a slot, and every model column keeps its
// scaling.
void RegroupBySlot(const WorkingData& block,
                   const std::vector<bool>& excluded,
                   std::size_t per_slot,
                   const std::vector<std::string>& slot_labels,
                   std::vector<DocumentField>& fields,
                   std::vector<DocumentColumn>& columns) {
  const std::vector<DocumentField> by_variable = fields;
  std::vector<DocumentField> regrouped;
  std::size_t model_index = 0;
  std::size_t last_key = 0;
  for (std::size_t col = 0; col < block.column_source.size(); ++col) {
    if (col < excluded.size() && excluded[col]) continue;
    DocumentColumn& column = columns[model_index++];
    const DocumentField& original = by_variable[column.field];
    const std::size_t source = block.column_source[col];
    const std::size_t slot = per_slot == 0 ? 0 : col / per_slot;
    const std::size_t key = slot * block.variables.size() + source;
    if (regrouped.empty() || key != last_key) {
      DocumentField field;
      const std::string label = slot < slot_labels.size() ? slot_labels[slot] : "";
      field.name = FormatMessage(MessageId::kVariableAtTime, block.variables[source].name, label);
      field.categorical = original.categorical;
      field.location = static_cast<int>(col) + 1;
      regrouped.push_back(std::move(field));
      last_key = key;
    }
    column.field = regrouped.size() - 1;
    if (original.categorical) {
      for (std::size_t c = 0; c < original.category_codes.size(); ++c) {
        if (original.category_codes[c] != column.code) continue;
        regrouped.back().category_codes.push_back(column.code);
        regrouped.back().category_labels.push_back(original.category_labels[c]);
        break;
      }
    }
  }
  fields = std::move(regrouped);
}

// The labels of the dependent slots: the time labels when the slots are the times (the unfolded
// names say so), else the slot numbers from 1 (slots of cases a dependent identifier marks).
std::vector<std::string> DependentSlotLabels(const BatchData& data) {
  const WorkingData& block = data.dependents;
  const std::size_t per_slot = data.dependents_per_slot;
  std::vector<std::string> labels;
  for (std::size_t t = 0; t < data.dependent_slots; ++t) {
    const std::size_t col = t * per_slot;
    std::string label = std::to_string(t + 1);
    if (t < data.time_labels.size() && col < block.column_names.size() &&
        block.column_source[col] < block.variables.size() &&
        block.column_names[col] == FormatMessage(MessageId::kVariableAtTime,
                                                 block.variables[block.column_source[col]].name,
                                                 data.time_labels[t])) {
      label = data.time_labels[t];
    }
    labels.push_back(std::move(label));
  }
  return labels;
}

BatchDocumentFrame FrameOf(const BatchData& data,
                           const StartupOptions& startup,
                           const TrajectoryOptions& trajectory) {
  BatchDocumentFrame frame;
  frame.batch_name = startup.batch_variable;
  frame.batches = static_cast<int>(data.num_batches);
  frame.time_name = startup.time_variable;
  frame.time_codes = data.time_values;
  frame.time_labels = data.time_labels;
  frame.stacked = data.stacked;
  frame.trajectory_control = trajectory.control_constant;
  frame.trajectory_warning = trajectory.warning_limits;
  frame.trajectory_warning_limit = trajectory.warning_constant;
  return frame;
}

void AppendTimeCodes(const BatchDocumentFrame& frame, std::string& text) {
  for (int k = 0; k < frame.Times(); ++k) {
    const auto time = static_cast<std::size_t>(k);
    const std::string label = time < frame.time_labels.size() ? frame.time_labels[time] : "";
    text += FormatText("<Code text=\"%s\" value=\"%s\"/>\n",
                       EscapeXmlAttribute(label),
                       Real(frame.time_codes[time]));
  }
  text += "</DataField>\n";
}

void AppendDocumentFrameStart(int fields, bool stacked, std::string& text) {
  text += FormatText("<PMML %s=\"2.0\">\n", MessageText(MessageId::kDocumentVersionAttribute));
  text += FormatText("<Header copyright=\"%s\"/>\n",
                     EscapeXmlAttribute(MessageText(MessageId::kDocumentNotice)));
  text += FormatText(
      "<DataDictionary numberOfFields=\"%d\" stacked=\"%d\">\n", fields, stacked ? 1 : 0);
  text += "\n";  // the preformatted settings line: none
}

void AppendTrajectories(const BatchDocumentFrame& frame, std::string& text) {
  if (frame.trajectory_warning) {
    text += FormatText("<Trajectories controllimit=\"%s\" warninglimit=\"%s\"/>\n",
                       Real(frame.trajectory_control),
                       Real(frame.trajectory_warning_limit));
  } else {
    text += FormatText("<Trajectories controllimit=\"%s\"/>\n", Real(frame.trajectory_control));
  }
}

// Per time the scaling of its J columns; a column screening removed is marked excluded.
void AppendTimeScales(const LoadedTMPLSModel& model, std::string& text) {
  const std::size_t per_time = model.columns.size();
  std::size_t model_column = 0;
  for (std::size_t k = 0; k < static_cast<std::size_t>(model.frame.Times()); ++k) {
    text += FormatText("<Time value=\"%s\">\n", Real(model.frame.time_codes[k]));
    for (std::size_t j = 0; j < per_time; ++j) {
      const std::size_t col = k * per_time + j;
      if ((col < model.excluded.size() && model.excluded[col]) ||
          model_column >= model.unfolded.predictor_columns.size()) {
        text += "<Scale value=\"1\" mean=\"0\" std=\"0\" excluded=\"1\"/>\n";
        continue;
      }
      const DocumentColumn& column = model.unfolded.predictor_columns[model_column++];
      text += FormatText("<Scale value=\"%s\" mean=\"%s\" std=\"%s\"/>\n",
                         Real(column.scale),
                         Real(column.mean),
                         Real(column.standard_deviation));
    }
    text += "</Time>\n";
  }
}

std::string ModelTypeOf(const LoadedPLSModel& model) {
  return std::string(ModelTypeText(model.classification ? PLSModelType::kClassification
                                                        : PLSModelType::kRegression));
}

}  // namespace

LoadedTMPLSModel TMPLSDocumentModel(const CMPLSModel& model,
                                    const PLSReportOptions& options,
                                    const ProbabilityFunctions& probability) {
  const BatchData& data = model.batch_data();
  const PLSEngine& engine = model.engine();
  LoadedTMPLSModel exported;
  exported.unfolded = PLSDocumentModel(engine,
                                       model.predictors(),
                                       model.dependents(),
                                       model.startup_options().scaling,
                                       options,
                                       probability);
  RegroupBySlot(model.predictors(),
                engine.ExcludedXColumns(),
                data.columns_per_time,
                data.time_labels,
                exported.unfolded.predictor_fields,
                exported.unfolded.predictor_columns);
  RegroupBySlot(model.dependents(),
                engine.ExcludedYColumns(),
                data.dependents_per_slot,
                DependentSlotLabels(data),
                exported.unfolded.dependent_fields,
                exported.unfolded.dependent_columns);
  exported.frame = FrameOf(data, model.startup_options(), model.trajectory_options());
  AppendTimeColumns(
      model.predictors(), data.columns_per_time, exported.variables, exported.columns);
  exported.excluded = engine.ExcludedXColumns();
  exported.excluded.resize(model.predictors().column_source.size(), false);
  // The dependents are measured at the batch's end unless they are recorded at every time.
  if (!data.time_values.empty()) exported.dependent_time_code = data.time_values.back();
  return exported;
}

LoadedBMPLSModel BMPLSDocumentModel(const CBMPLSModel& model,
                                    const PLSReportOptions& options,
                                    const ProbabilityFunctions& probability) {
  LoadedBMPLSModel exported;
  exported.model = PLSDocumentModel(model.engine(),
                                    model.predictors(),
                                    model.dependents(),
                                    model.startup_options().scaling,
                                    options,
                                    probability);
  exported.frame = FrameOf(model.batch_data(), model.startup_options(), model.trajectory_options());
  if (exported.frame.time_name.empty() && !exported.model.dependent_fields.empty()) {
    exported.frame.time_name = exported.model.dependent_fields.front().name;
  }
  for (int a = 1; a <= exported.model.Components(); ++a) {
    exported.scores_by_time.push_back(model.ScoreTrajectory(a, options.score, probability).limits);
  }
  exported.spe_by_time = model.SPEByTime(options.chart, probability).limits;
  return exported;
}

void WriteTMPLSDocument(const LoadedTMPLSModel& model, std::string& text) {
  const LoadedPLSModel& unfolded = model.unfolded;
  const BatchDocumentFrame& frame = model.frame;
  AppendDocumentFrameStart(
      static_cast<int>(2 + unfolded.dependent_fields.size() + model.variables.size()),
      frame.stacked,
      text);
  text += FormatText("<DataField name=\"%s\" optype=\"batch\" numberOfCategories=\"%d\"/>\n",
                     EscapeXmlAttribute(frame.batch_name),
                     frame.batches);
  text += FormatText("<DataField name=\"%s\" optype=\"time\" numberOfCategories=\"%d\">\n",
                     EscapeXmlAttribute(frame.time_name),
                     frame.Times());
  AppendTimeCodes(frame, text);
  AppendDataFields(unfolded.dependent_fields, unfolded.dependent_columns, "dependent", text);
  AppendProcessVariableFields(model.variables, text);
  text += "</DataDictionary>\n";
  text += FormatText(
      "<TMPLS type=\"%s\" scaling=\"%s\" numberOfDependents=\"%d\" numberOfPredictors=\"%d\" "
      "numberOfComponents=\"%d\" timeCodeForDependents=\"%s\">\n",
      ModelTypeOf(unfolded),
      std::string(ToString(unfolded.scaling)),
      static_cast<int>(unfolded.dependent_columns.size()),
      static_cast<int>(unfolded.predictor_columns.size()),
      unfolded.Components(),
      Real(model.dependent_time_code));
  AppendTrajectories(frame, text);
  text += "<Scales>\n";
  AppendTimeScales(model, text);
  text += "</Scales>\n";
  AppendPLSLimitsAndComponents(unfolded, text);
  text += "</TMPLS>\n";
  text += "</PMML>\n";
}

void WriteBMPLSDocument(const LoadedBMPLSModel& model, std::string& text) {
  const LoadedPLSModel& pls = model.model;
  const BatchDocumentFrame& frame = model.frame;
  AppendDocumentFrameStart(static_cast<int>(2 + pls.predictor_fields.size()), frame.stacked, text);
  text += FormatText("<DataField name=\"%s\" optype=\"batch\" numberOfBatches=\"%d\"/>\n",
                     EscapeXmlAttribute(frame.batch_name),
                     frame.batches);
  DocumentColumn time;
  if (!pls.dependent_columns.empty()) time = pls.dependent_columns.front();
  text += FormatText(
      "<DataField name=\"%s\" optype=\"time\" numberOfCategories=\"%d\" mean=\"%s\" std=\"%s\" "
      "scale=\"%s\">\n",
      EscapeXmlAttribute(frame.time_name),
      frame.Times(),
      Real(time.mean),
      Real(time.standard_deviation),
      Real(time.scale));
  AppendTimeCodes(frame, text);
  AppendDataFields(pls.predictor_fields, pls.predictor_columns, "predictor", text);
  text += "</DataDictionary>\n";
  text += FormatText("<BMPLS scaling=\"%s\" numberOfPredictors=\"%d\" numberOfComponents=\"%d\">\n",
                     std::string(ToString(pls.scaling)),
                     static_cast<int>(pls.predictor_columns.size()),
                     pls.Components());
  AppendPLSLimitsAndComponents(pls, text);
  text += FormatText("<TimeLimits numberOfTimes=\"%d\">\n", frame.Times());
  for (std::size_t k = 0; k < static_cast<std::size_t>(frame.Times()); ++k) {
    text += FormatText("<Time timecode=\"%s\">\n", Real(frame.time_codes[k]));
    ControlLimitSet spe;
    if (k < model.spe_by_time.size()) spe = model.spe_by_time[k];
    text += FormatChartLimitElement("SPE", spe);
    for (const std::vector<ControlLimitSet>& component : model.scores_by_time) {
      text += FormatScoreElement(0, k < component.size() ? component[k] : ControlLimitSet());
    }
    text += "</Time>\n";
  }
  text += "</TimeLimits>\n";
  AppendTrajectories(frame, text);
  text += "</BMPLS>\n";
  text += "</PMML>\n";
}

std::string GenerateTMPLSKVBCode(const LoadedTMPLSModel& model) {
  return GeneratePLSTypeKVBCode(model.unfolded,
                                "'" + std::string(MessageText(MessageId::kTMPLSKVBTitle)) + "\n");
}

std::string GenerateBMPLSKVBCode(const LoadedBMPLSModel& model) {
  return GeneratePLSTypeKVBCode(model.model,
                                "'" + std::string(MessageText(MessageId::kBMPLSKVBTitle)) + "\n");
}

}  // namespace mspc
