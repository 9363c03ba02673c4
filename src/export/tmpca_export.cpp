#include "export/tmpca_export.hpp"

#include "batch/mpca_model.hpp"
#include "export/c_code.hpp"
#include "export/kvb_code.hpp"
#include "export/model_document.hpp"
#include "host/messages.hpp"
#include "pca/pca_reports.hpp"

namespace mspc {
namespace {

std::string Real(double value) { return FormatDocumentReal(value); }

}  // namespace

LoadedTMPCAModel TMPCADocumentModel(const CMPCAModel& model,
                                    const PCAReportOptions& options,
                                    const ProbabilityFunctions& probability) {
  const BatchData& data = model.batch_data();
  const PCAEngine& engine = model.engine();
  const WorkingData& block = model.working_data();
  const std::size_t per_time = data.columns_per_time;
  LoadedTMPCAModel exported;
  exported.unfolded =
      PCADocumentModel(engine, block, model.startup_options().scaling, options, probability);
  // The unfolded fields are the variables at their times ("name {time}"), located at their
  // unfolded columns: one field per variable and time, its dummy columns together.
  const std::vector<DocumentField> by_variable = exported.unfolded.fields;
  std::vector<DocumentField> fields;
  std::size_t model_index = 0;
  std::size_t last_source = block.variables.size();
  std::size_t last_time = 0;
  for (std::size_t col = 0; col < block.column_source.size(); ++col) {
    if (engine.IsVariableExcluded(col)) continue;
    DocumentColumn& column = exported.unfolded.columns[model_index++];
    const DocumentField& original = by_variable[column.field];
    const std::size_t source = block.column_source[col];
    const std::size_t time = per_time == 0 ? 0 : col / per_time;
    if (fields.empty() || source != last_source || time != last_time) {
      DocumentField field;
      const std::string label = time < data.time_labels.size() ? data.time_labels[time] : "";
      field.name = FormatMessage(MessageId::kVariableAtTime, block.variables[source].name, label);
      field.categorical = original.categorical;
      field.location = static_cast<int>(col) + 1;
      fields.push_back(std::move(field));
      last_source = source;
      last_time = time;
    }
    column.field = fields.size() - 1;
    if (original.categorical) {
      for (std::size_t c = 0; c < original.category_codes.size(); ++c) {
        if (original.category_codes[c] != column.code) continue;
        fields.back().category_codes.push_back(column.code);
        fields.back().category_labels.push_back(original.category_labels[c]);
        break;
      }
    }
  }
  exported.unfolded.fields = std::move(fields);

  const StartupOptions& startup = model.startup_options();
  exported.batch_name = startup.batch_variable;
  exported.batches = static_cast<int>(data.num_batches);
  exported.time_name = startup.time_variable;
  exported.time_codes = data.time_values;
  exported.time_labels = data.time_labels;
  exported.stacked = data.stacked;
  const TrajectoryOptions& trajectory = model.time_wise_options().trajectory;
  exported.trajectory_control = trajectory.control_constant;
  exported.trajectory_warning = trajectory.warning_limits;
  exported.trajectory_warning_limit = trajectory.warning_constant;
  for (std::size_t col = 0; col < block.column_source.size(); ++col) {
    exported.excluded.push_back(engine.IsVariableExcluded(col));
  }
  // The J columns of one time, with their variables; the scales of every time follow them.
  AppendTimeColumns(block, per_time, exported.variables, exported.columns);
  return exported;
}

void WriteTMPCADocument(const LoadedTMPCAModel& model, std::string& text) {
  const LoadedPCAModel& unfolded = model.unfolded;
  const auto& document_columns = unfolded.columns;
  text += FormatText("<PMML %s=\"2.0\">\n", MessageText(MessageId::kDocumentVersionAttribute));
  text += FormatText("<Header copyright=\"%s\"/>\n",
                     EscapeXmlAttribute(MessageText(MessageId::kDocumentNotice)));
  text += FormatText("<DataDictionary numberOfFields=\"%d\" stacked=\"%d\">\n",
                     static_cast<int>(model.variables.size()) + 2,
                     model.stacked ? 1 : 0);
  text += "\n";  // the preformatted settings line: none
  text += FormatText("<DataField name=\"%s\" optype=\"batch\" numberOfCategories=\"%d\"/>\n",
                     EscapeXmlAttribute(model.batch_name),
                     model.batches);
  text += FormatText("<DataField name=\"%s\" optype=\"time\" numberOfCategories=\"%d\">\n",
                     EscapeXmlAttribute(model.time_name),
                     model.Times());
  for (int k = 0; k < model.Times(); ++k) {
    const auto time = static_cast<std::size_t>(k);
    const std::string label = time < model.time_labels.size() ? model.time_labels[time] : "";
    text += FormatText("<Code text=\"%s\" value=\"%s\"/>\n",
                       EscapeXmlAttribute(label),
                       Real(model.time_codes[time]));
  }
  text += "</DataField>\n";
  AppendProcessVariableFields(model.variables, text);
  text += "</DataDictionary>\n";

  const std::size_t per_time = model.columns.size();
  text += FormatText("<TMPCA scaling=\"%s\" numberOfVariables=\"%d\" numberOfComponents=\"%d\">\n",
                     std::string(ToString(unfolded.scaling)),
                     static_cast<int>(per_time),
                     unfolded.Components());
  if (model.trajectory_warning) {
    text += FormatText("<Trajectories controllimit=\"%s\" warninglimit=\"%s\"/>\n",
                       Real(model.trajectory_control),
                       Real(model.trajectory_warning_limit));
  } else {
    text += FormatText("<Trajectories controllimit=\"%s\"/>\n", Real(model.trajectory_control));
  }
  text += FormatChartLimitElement("TS", unfolded.t2);
  text += FormatChartLimitElement("SPE", unfolded.spe);

  // Every unfolded column in order; the model's columns are the ones not excluded.
  std::vector<int> model_column(model.excluded.size(), -1);
  int next = 0;
  for (std::size_t col = 0; col < model.excluded.size(); ++col) {
    if (!model.excluded[col]) model_column[col] = next++;
  }
  text += "<Scales>\n";
  for (int k = 0; k < model.Times(); ++k) {
    text +=
        FormatText("<Time value=\"%s\">\n", Real(model.time_codes[static_cast<std::size_t>(k)]));
    for (std::size_t j = 0; j < per_time; ++j) {
      const std::size_t col = static_cast<std::size_t>(k) * per_time + j;
      const int index = col < model_column.size() ? model_column[col] : -1;
      if (index < 0) {
        text += "<Scale value=\"1\" mean=\"0\" std=\"0\" excluded=\"1\"/>\n";
        continue;
      }
      const DocumentColumn& column = document_columns[static_cast<std::size_t>(index)];
      text += FormatText("<Scale value=\"%s\" mean=\"%s\" std=\"%s\"/>\n",
                         Real(column.scale),
                         Real(column.mean),
                         Real(column.standard_deviation));
    }
    text += "</Time>\n";
  }
  text += "</Scales>\n";

  text += "<Components>\n";
  for (int a = 0; a < unfolded.Components(); ++a) {
    const auto component = static_cast<std::size_t>(a);
    text += "<Component>\n";
    text += FormatScoreElement(0, unfolded.scores[component]);
    text += "<Loadings>\n";
    for (std::size_t col = 0; col < model_column.size(); ++col) {
      const double loading =
          model_column[col] < 0
              ? 0.0
              : unfolded.loadings(component, static_cast<std::size_t>(model_column[col]));
      text += FormatText("<Loading value=\"%s\"/>\n", Real(loading));
    }
    text += "</Loadings>\n";
    text += "</Component>\n";
  }
  text += "</Components>\n";
  text += "</TMPCA>\n";
  text += "</PMML>\n";
}

std::string GenerateTMPCACCode(const LoadedTMPCAModel& model) {
  return GeneratePCATypeCCode(model.unfolded,
                              "//" + std::string(MessageText(MessageId::kTMPCACCodeTitle)));
}

std::string GenerateTMPCAKVBCode(const LoadedTMPCAModel& model) {
  return GeneratePCATypeKVBCode(model.unfolded,
                                "'" + std::string(MessageText(MessageId::kTMPCAKVBTitle)) + "\n");
}

}  // namespace mspc
