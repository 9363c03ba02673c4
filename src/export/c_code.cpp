#include "export/c_code.hpp"

#include <cmath>

#include "export/model_document.hpp"
#include "host/messages.hpp"

namespace mspc {
namespace {

std::string Real(double value) {
  // An undefined line (T² without components) is written as a not-a-number expression.
  if (std::isnan(value)) return "NAN";
  return FormatDocumentReal(value);
}

std::string Text(MessageId id) { return std::string(MessageText(id)); }

// One constant array of the generated code.
// Arrays the scoring code reads are static; the limit arrays are left for the caller.
void AppendArray(std::string& code, const std::string& name, const std::vector<double>& values) {
  const bool internal = name.front() == 'k';
  code += FormatText("%sconst double %s[%d] = {\n",
                     std::string(internal ? "static " : ""),
                     name,
                     static_cast<int>(values.size()));
  for (const double value : values) code += "    " + Real(value) + ",\n";
  code += "};\n";
}

}  // namespace

std::string CommentSafe(std::string_view text) {
  std::string safe;
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 0x20 || code == 0x7f) {
      safe += ' ';
    } else if (c == '?' && !safe.empty() && safe.back() == '?') {
      safe += " ?";
    } else {
      safe += c;
    }
  }
  // A final backslash would splice the next line into the comment.
  if (!safe.empty() && safe.back() == '\\') safe += '.';
  return safe;
}

std::string GeneratePCACCode(const LoadedPCAModel& model) {
  return GeneratePCATypeCCode(model, Text(MessageId::kCodePCACommentTitle));
}

std::string GeneratePCATypeCCode(const LoadedPCAModel& model, const std::string& comment_title) {
  const std::size_t columns = model.columns.size();
  const int components = model.Components();
  std::string code;
  code += FormatMessage(MessageId::kCodeFirstLine, CommentSafe(model.title));
  code += comment_title;
  code += Text(MessageId::kCodeDataUsed) + CommentSafe(model.data_source) + "\n";
  for (int line = static_cast<int>(MessageId::kCodeCallingConvention1);
       line <= static_cast<int>(MessageId::kCodeCallingConvention11);
       ++line) {
    code += Text(static_cast<MessageId>(line));
  }
  for (const DocumentField& field : model.fields) {
    code += Text(field.categorical ? MessageId::kCodeCategoricalVariable
                                   : MessageId::kCodeContinuousVariable);
    code += CommentSafe(field.name);
    code += FormatMessage(MessageId::kCodeLocation, field.location);
  }
  code += "\n#include <math.h>\n#include <stddef.h>\n\n";

  // The model's numbers. Arrays have at least one element so that a model without components
  // still compiles.
  std::vector<int> location;
  std::vector<double> code_value;
  std::vector<int> categorical;
  std::vector<double> mean;
  std::vector<double> scale;
  for (const DocumentColumn& column : model.columns) {
    const DocumentField& field = model.fields[column.field];
    location.push_back(field.location);
    categorical.push_back(field.categorical ? 1 : 0);
    code_value.push_back(field.categorical ? column.code : 0.0);
    mean.push_back(column.mean);
    scale.push_back(column.scale);
  }
  code += FormatText("#define MSPC_PCA_VARIABLES %d\n", static_cast<int>(columns));
  code += FormatText("#define MSPC_PCA_COMPONENTS %d\n\n", components);
  code += FormatText("static const int kLocation[%d] = {", static_cast<int>(columns));
  for (const int value : location) code += FormatText(" %d,", value);
  code += " };\n";
  code += FormatText("static const int kCategorical[%d] = {", static_cast<int>(columns));
  for (const int value : categorical) code += FormatText(" %d,", value);
  code += " };\n";
  AppendArray(code, "kCategoryCode", code_value);
  AppendArray(code, "kMean", mean);
  AppendArray(code, "kScale", scale);
  std::vector<double> loadings;
  std::vector<double> deviations;
  std::vector<double> upper;
  std::vector<double> lower;
  std::vector<double> upper_warning;
  std::vector<double> lower_warning;
  for (int a = 0; a < components; ++a) {
    const ControlLimitSet& limits = model.scores[static_cast<std::size_t>(a)];
    for (std::size_t j = 0; j < columns; ++j) {
      loadings.push_back(model.loadings(static_cast<std::size_t>(a), j));
    }
    deviations.push_back(limits.standard_deviation);
    upper.push_back(limits.upper_control);
    lower.push_back(limits.lower_control);
    upper_warning.push_back(limits.warning ? limits.upper_warning : std::nan(""));
    lower_warning.push_back(limits.warning ? limits.lower_warning : std::nan(""));
  }
  if (components == 0) {
    loadings.push_back(0.0);
    for (auto* list : {&deviations, &upper, &lower, &upper_warning, &lower_warning}) {
      list->push_back(0.0);
    }
  }
  AppendArray(code, "kLoading", loadings);
  AppendArray(code, "kScoreStd", deviations);
  code += "/* Score chart lines per component; warning lines are not-a-number when not set. */\n";
  AppendArray(code, "MSPCPCAScoreControlUpper", upper);
  AppendArray(code, "MSPCPCAScoreControlLower", lower);
  AppendArray(code, "MSPCPCAScoreWarningUpper", upper_warning);
  AppendArray(code, "MSPCPCAScoreWarningLower", lower_warning);
  code += "/* T-squared and SPE(Q) lines; a warning line is not-a-number when not set. */\n";
  code += "const double MSPCPCATSControlLine = " + Real(model.t2.control_line) + ";\n";
  code += "const double MSPCPCATSWarningLine = " +
          Real(model.t2.warning ? model.t2.warning_line : std::nan("")) + ";\n";
  code += "const double MSPCPCASPEControlLine = " + Real(model.spe.control_line) + ";\n";
  code += "const double MSPCPCASPEWarningLine = " +
          Real(model.spe.warning ? model.spe.warning_line : std::nan("")) + ";\n\n";

  code += R"(int MSPCPCAStatistics(const double *x, double *components, double *t2, double *spe);
int MSPCPCAComponents(const double *x, double *components);

/* Centre and scale the model's columns of case x; present[j] is 0 for a missing cell. */
static void MSPCPCAScale(const double *x, double *value, int *present) {
  int j;
  for (j = 0; j < MSPC_PCA_VARIABLES; ++j) {
    double cell = x[kLocation[j]];
    present[j] = cell == cell && cell - cell == 0.0;
    if (!present[j]) {
      value[j] = 0.0;
      continue;
    }
    if (kCategorical[j]) cell = cell == kCategoryCode[j] ? 1.0 : 0.0;
    cell -= kMean[j];
    value[j] = kScale[j] != 0.0 ? cell / kScale[j] : cell;
  }
}

int MSPCPCAStatistics(const double *x, double *components, double *t2, double *spe) {
  double value[MSPC_PCA_VARIABLES + 1];
  int present[MSPC_PCA_VARIABLES + 1];
  int a;
  int j;
  if (x == NULL || components == NULL || t2 == NULL || spe == NULL) return 0;
  MSPCPCAScale(x, value, present);
  *t2 = 0.0;
  for (a = 0; a < MSPC_PCA_COMPONENTS; ++a) {
    const double *p = kLoading + a * MSPC_PCA_VARIABLES;
    double numerator = 0.0;
    double denominator = 0.0;
    double score;
    for (j = 0; j < MSPC_PCA_VARIABLES; ++j) {
      if (!present[j]) continue;
      numerator += value[j] * p[j];
      denominator += p[j] * p[j];
    }
    score = denominator != 0.0 ? numerator / denominator : 0.0;
    components[a] = score;
    for (j = 0; j < MSPC_PCA_VARIABLES; ++j) {
      if (present[j]) value[j] -= score * p[j];
    }
    if (kScoreStd[a] != 0.0) *t2 += (score / kScoreStd[a]) * (score / kScoreStd[a]);
  }
  *spe = 0.0;
  for (j = 0; j < MSPC_PCA_VARIABLES; ++j) {
    if (present[j]) *spe += value[j] * value[j];
  }
  return MSPC_PCA_COMPONENTS;
}

int MSPCPCAComponents(const double *x, double *components) {
  double t2;
  double spe;
  return MSPCPCAStatistics(x, components, &t2, &spe);
}
)";
  return code;
}

std::string GenerateUnsupportedPLSCCode(MessageId code_title,
                                        const std::string& title,
                                        const std::string& data_source) {
  std::string code;
  code += FormatMessage(MessageId::kCodeFirstLine, CommentSafe(title));
  code += "//" + Text(code_title);
  code += Text(MessageId::kCodeDataUsed) + CommentSafe(data_source) + "\n";
  code += Text(MessageId::kCodePLSNotSupported1);
  code += Text(MessageId::kCodePLSNotSupported2);
  code += Text(MessageId::kCodePLSNotSupported3) + "\n";
  return code;
}

std::string GeneratePLSCCode(const LoadedPLSModel& model) {
  return GenerateUnsupportedPLSCCode(MessageId::kPLSCCodeTitle, model.title, model.data_source);
}

}  // namespace mspc
