#include "export/model_document.hpp"

#include <cstddef>
#include <cstdio>
#include <vector>

#include "frame/working_data.hpp"
#include "host/messages.hpp"
#include "models/monitoring.hpp"
#include "pca/pca_engine.hpp"
#include "pca/pca_reports.hpp"

namespace mspc {
namespace {

// The element texts of the document. They are the document's format, read back by deployment,
// and never shown to a user.
constexpr const char* kDataDictionaryStart = "<DataDictionary numberOfFields=\"%d\">\n";
constexpr const char* kContinuousField = "<DataField name=\"%s\" optype=\"%s\">\n";
constexpr const char* kCategoricalField =
    "<DataField name=\"%s\" optype=\"%s\" numberOfCategories=\"%d\">\n";
constexpr const char* kCategoryStart = "<Category text=\"%s\" value=\"%d\">\n";
constexpr const char* kPCAStart =
    "<PCA scaling=\"%s\" numberOfVariables=\"%d\" numberOfComponents=\"%d\">\n";

std::string Real(double value) { return FormatDocumentReal(value); }

void AppendScaling(std::string& text, double mean, double deviation, double scale) {
  text += FormatText("<Mean value=\"%s\"/>\n", Real(mean));
  text += FormatText("<Std value=\"%s\"/>\n", Real(deviation));
  text += FormatText("<Scale value=\"%s\"/>\n", Real(scale));
}

std::vector<double> ColumnOf(const DMatrix& matrix, std::size_t col) {
  std::vector<double> values(matrix.rows());
  for (std::size_t row = 0; row < matrix.rows(); ++row) values[row] = matrix(row, col);
  return values;
}

}  // namespace

std::string EscapeXmlAttribute(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&apos;";
        break;
      default:
        if (code < 0x20 || code == 0x7f) {
          escaped += FormatText("&#%d;", static_cast<int>(code));
        } else {
          escaped += c;
        }
    }
  }
  return escaped;
}

std::string FormatDocumentReal(double value) { return FormatText("%.14e", value); }

std::string FormatChartLimitElement(std::string_view element, const ControlLimitSet& limits) {
  const std::string name(element);
  if (!limits.warning) {
    return FormatText("<%s controllimit=\"%s\" controlline=\"%s\" warning=\"%d\"/>\n",
                      name,
                      Real(limits.control_limit),
                      Real(limits.control_line),
                      0);
  }
  return FormatText(
      "<%s controllimit=\"%s\" controlline=\"%s\" warning=\"%d\" warninglimit=\"%s\" "
      "warningline=\"%s\"/>\n",
      name,
      Real(limits.control_limit),
      Real(limits.control_line),
      1,
      Real(limits.warning_limit),
      Real(limits.warning_line));
}

std::string FormatScoreElement(int type, const ControlLimitSet& limits) {
  const std::string head = FormatText(
      "<Score type=\"%d\" std=\"%s\" df=\"%d\" controllimit=\"%s\" uppercontrol=\"%s\" "
      "lowercontrol=\"%s\"",
      type,
      Real(limits.standard_deviation),
      limits.degrees_of_freedom,
      Real(limits.control_limit),
      Real(limits.upper_control),
      Real(limits.lower_control));
  if (!limits.warning) return head + " warning=\"0\"/>\n";
  return head + FormatText(
                    " warning=\"1\" warninglimit=\"%s\" upperwarning=\"%s\" "
                    "lowerwarning=\"%s\"/>\n",
                    Real(limits.warning_limit),
                    Real(limits.upper_warning),
                    Real(limits.lower_warning));
}

void AppendDataFields(const std::vector<DocumentField>& fields,
                      const std::vector<DocumentColumn>& columns,
                      std::string_view optype,
                      std::string& text) {
  const std::string type(optype);
  for (std::size_t f = 0; f < fields.size(); ++f) {
    const DocumentField& field = fields[f];
    const std::string name = EscapeXmlAttribute(field.name);
    if (!field.categorical) {
      text += FormatText(kContinuousField, name, type);
    } else {
      text +=
          FormatText(kCategoricalField, name, type, static_cast<int>(field.category_codes.size()));
    }
    std::size_t category = 0;
    for (const DocumentColumn& column : columns) {
      if (column.field != f) continue;
      if (field.categorical) {
        text += FormatText(kCategoryStart,
                           EscapeXmlAttribute(field.category_labels[category++]),
                           static_cast<int>(column.code));
      }
      AppendScaling(text, column.mean, column.standard_deviation, column.scale);
      if (field.categorical) text += "</Category>\n";
    }
    text += "</DataField>\n";
  }
}

namespace {

// Add the category `code` of a categorical `variable` to its document field, with its label.
void AddCategory(const VariableInfo& variable, double code, DocumentField& field) {
  std::string label;
  for (std::size_t c = 0; c < variable.category_codes.size(); ++c) {
    if (variable.category_codes[c] == code && c < variable.category_labels.size()) {
      label = variable.category_labels[c];
    }
  }
  field.category_codes.push_back(code);
  field.category_labels.push_back(label);
}

}  // namespace

std::vector<std::size_t> AppendBlockFields(const WorkingData& data,
                                           const std::vector<bool>& excluded_columns,
                                           std::span<const double> means,
                                           std::span<const double> scales,
                                           std::vector<DocumentField>& fields,
                                           std::vector<DocumentColumn>& columns) {
  std::vector<std::size_t> model_columns;
  std::size_t current = data.variables.size();  // the source variable of the last field
  for (std::size_t col = 0; col < data.column_source.size(); ++col) {
    if (col < excluded_columns.size() && excluded_columns[col]) continue;
    const std::size_t source = data.column_source[col];
    const VariableInfo& variable = data.variables[source];
    if (current != source) {
      DocumentField field;
      field.name = variable.name;
      field.categorical = variable.categorical;
      field.location = static_cast<int>(variable.table_index) + 1;
      fields.push_back(std::move(field));
      current = source;
    }
    DocumentField& field = fields.back();
    DocumentColumn column;
    column.field = fields.size() - 1;
    column.mean = means[col];
    column.standard_deviation = data.standard_deviation[col];
    column.scale = scales[col];
    if (variable.categorical) {
      column.code = data.column_code[col];
      AddCategory(variable, column.code, field);
    }
    columns.push_back(column);
    model_columns.push_back(col);
  }
  return model_columns;
}

void AppendTimeColumns(const WorkingData& block,
                       std::size_t per_time,
                       std::vector<DocumentField>& variables,
                       std::vector<DocumentColumn>& columns) {
  for (std::size_t j = 0; j < per_time && j < block.column_source.size(); ++j) {
    const VariableInfo& variable = block.variables[block.column_source[j]];
    if (variables.empty() || variables.back().name != variable.name) {
      DocumentField field;
      field.name = variable.name;
      field.categorical = variable.categorical;
      field.location = static_cast<int>(variable.table_index) + 1;
      variables.push_back(field);
    }
    DocumentField& field = variables.back();
    DocumentColumn column;
    column.field = variables.size() - 1;
    column.code = block.column_code[j];
    if (field.categorical) AddCategory(variable, column.code, field);
    columns.push_back(column);
  }
}

void AppendProcessVariableFields(const std::vector<DocumentField>& variables, std::string& text) {
  for (const DocumentField& field : variables) {
    const std::string name = EscapeXmlAttribute(field.name);
    if (!field.categorical) {
      text += FormatText("<DataField name=\"%s\" optype=\"predictor\"/>\n", name);
      continue;
    }
    text += FormatText("<DataField name=\"%s\" optype=\"predictor\" numberOfCategories=\"%d\">\n",
                       name,
                       static_cast<int>(field.category_codes.size()));
    for (std::size_t c = 0; c < field.category_codes.size(); ++c) {
      text += FormatText("<Category text=\"%s\" value=\"%d\"/>\n",
                         EscapeXmlAttribute(field.category_labels[c]),
                         static_cast<int>(field.category_codes[c]));
    }
    text += "</DataField>\n";
  }
}

void AppendDocumentStart(int fields, std::string& text) {
  text += FormatText("<PMML %s=\"2.0\">\n", MessageText(MessageId::kDocumentVersionAttribute));
  text += FormatText("<Header copyright=\"%s\"/>\n",
                     EscapeXmlAttribute(MessageText(MessageId::kDocumentNotice)));
  text += FormatText(kDataDictionaryStart, fields);
  text += "\n";  // the preformatted settings line: these models have none
}

LoadedPCAModel PCADocumentModel(const PCAEngine& engine,
                                const WorkingData& data,
                                ScalingMode scaling,
                                const PCAReportOptions& options,
                                const ProbabilityFunctions& probability) {
  LoadedPCAModel model;
  model.scaling = scaling;
  model.t2 =
      ComputeT2Limits(options.chart, engine.ActiveRows(), engine.ComponentCount(), probability);
  model.spe = ComputeSPELimits(ComputeModelSPE(engine), options.chart, probability);
  const DMatrix scores = engine.Scores();
  const std::vector<double> deviations = engine.ScoreStandardDeviations();
  for (std::size_t a = 0; a < deviations.size(); ++a) {
    ControlLimitSet limits =
        ComputeScoreLimits(ColumnOf(scores, a), engine.ActiveRows(), options.score, probability);
    // The T² of deployment divides by the deviation the model's own T² uses.
    limits.standard_deviation = deviations[a];
    model.scores.push_back(limits);
  }

  std::vector<bool> excluded(engine.Cols());
  for (std::size_t col = 0; col < engine.Cols(); ++col)
    excluded[col] = engine.IsVariableExcluded(col);
  const std::vector<std::size_t> model_columns =
      AppendBlockFields(data, excluded, data.mean, data.scale, model.fields, model.columns);
  const DMatrix loadings = engine.Loadings();
  model.loadings = DMatrix(deviations.size(), model_columns.size());
  for (std::size_t a = 0; a < deviations.size(); ++a) {
    for (std::size_t j = 0; j < model_columns.size(); ++j) {
      model.loadings(a, j) = loadings(a, model_columns[j]);
    }
  }
  return model;
}

void WritePCADocument(const LoadedPCAModel& model, std::string& text) {
  AppendDocumentStart(static_cast<int>(model.fields.size()), text);
  AppendDataFields(model.fields, model.columns, "predictor", text);
  text += "</DataDictionary>\n";

  text += FormatText(kPCAStart,
                     std::string(ToString(model.scaling)),
                     static_cast<int>(model.columns.size()),
                     model.Components());
  text += FormatChartLimitElement("TS", model.t2);
  text += FormatChartLimitElement("SPE", model.spe);
  text += "<Components>\n";
  for (std::size_t a = 0; a < model.scores.size(); ++a) {
    text += "<Component>\n";
    text += FormatScoreElement(0, model.scores[a]);
    text += "<Loadings>\n";
    for (std::size_t j = 0; j < model.columns.size(); ++j) {
      text += FormatText("<Loading value=\"%s\"/>\n", Real(model.loadings(a, j)));
    }
    text += "</Loadings>\n";
    text += "</Component>\n";
  }
  text += "</Components>\n";
  text += "</PCA>\n";
  text += "</PMML>\n";
}

void ExportPCADocument(const PCAEngine& engine,
                       const WorkingData& data,
                       ScalingMode scaling,
                       const PCAReportOptions& options,
                       const ProbabilityFunctions& probability,
                       std::string& text) {
  WritePCADocument(PCADocumentModel(engine, data, scaling, options, probability), text);
}

}  // namespace mspc
