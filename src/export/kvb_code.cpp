#include "export/kvb_code.hpp"

#include <cmath>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "export/c_code.hpp"
#include "export/model_document.hpp"
#include "host/messages.hpp"

namespace mspc {
namespace {

// The loop body that scales case i over its present cells, shared by every kind's program.
// The SPE(Q) of case i from its deflated scaled cells.
constexpr std::string_view kSPELines = R"(  SPE(i) = 0
  For j = 1 To NumberOfVariables
    If Present(j) = 1 Then SPE(i) = SPE(i) + Scaled(j) ^ 2
  Next j
)";

// The T² control chart of the results, closing the routine.
constexpr std::string_view kChartCallLines =
    R"(TSquareControlChart Results, NumberOfComponents, TSControl, TSControlLimit, TSControlLine, _
  TSWarning, TSWarningLimit, TSWarningLine
End Sub

)";

constexpr std::string_view kScaleCaseLines = R"(  For j = 1 To NumberOfVariables
    Present(j) = 0
    Scaled(j) = 0
    If Not ss.MissingData(i, Location(j)) Then
      Present(j) = 1
      Scaled(j) = ss.Value(i, Location(j))
      If Categorical(j) = 1 Then Scaled(j) = IIf(Scaled(j) = CategoryCode(j), 1, 0)
      Scaled(j) = Scaled(j) - Means(j)
      If Scales(j) <> 0 Then Scaled(j) = Scaled(j) / Scales(j)
    End If
  Next j
)";

std::string Text(MessageId id) { return std::string(MessageText(id)); }

std::string Line(MessageId id) { return Text(id) + "\n"; }

std::string Real(double value) {
  // An undefined line (T² of a model without components) is never exceeded.
  return FormatDocumentReal(std::isfinite(value) ? value : 0.0);
}

std::string Dim(const std::string& name, const std::string& type) {
  return FormatMessage(MessageId::kKVBDeclaration, name, type) + "\n";
}

// The control settings of one chart: "TSControl=1", "TSControlLimit=..." and so on.
std::string ChartSettings(const ControlLimitSet& limits, bool spe) {
  std::string code;
  code += Line(spe ? MessageId::kKVBSPEControl : MessageId::kKVBTSControl);
  code += Text(spe ? MessageId::kKVBSPEControlLimit : MessageId::kKVBTSControlLimit) +
          Real(limits.control_limit) + "\n";
  code += Text(spe ? MessageId::kKVBSPEControlLine : MessageId::kKVBTSControlLine) +
          Real(limits.control_line) + "\n";
  if (!limits.warning) {
    code += Line(spe ? MessageId::kKVBSPEWarning0 : MessageId::kKVBTSWarning0);
    return code;
  }
  code += Line(spe ? MessageId::kKVBSPEWarning1 : MessageId::kKVBTSWarning1);
  code += Text(spe ? MessageId::kKVBSPEWarningLimit : MessageId::kKVBTSWarningLimit) +
          Real(limits.warning_limit) + "\n";
  code += Text(spe ? MessageId::kKVBSPEWarningLine : MessageId::kKVBTSWarningLine) +
          Real(limits.warning_line) + "\n";
  return code;
}

// `CommentSafe`, and a final underscore followed by a period: at the end of a line it would
// continue the comment onto the next one.
std::string KVBCommentSafe(std::string_view text) {
  std::string safe = CommentSafe(text);
  if (!safe.empty() && safe.back() == '_') safe += '.';
  return safe;
}

// The comment header (title, data source, one line per variable), "Option Base 1" and
// sections 1 to 3's openings: the active spreadsheet and the check of its variables.
std::string KVBHeader(const std::string& comment_title,
                      const std::string& title,
                      const std::string& data_source,
                      std::initializer_list<const std::vector<DocumentField>*> blocks) {
  std::string code;
  code += "'" + FormatMessage(MessageId::kCodeFirstLine, KVBCommentSafe(title)).substr(2);
  code += comment_title;
  code += "'" + Text(MessageId::kKVBDataUsed) + KVBCommentSafe(data_source) + "\n";
  for (const std::vector<DocumentField>* block : blocks) {
    for (const DocumentField& field : *block) {
      code += "'" +
              Text(field.categorical ? MessageId::kCodeCategoricalVariable
                                     : MessageId::kCodeContinuousVariable)
                  .substr(2) +
              CommentSafe(field.name) + FormatMessage(MessageId::kCodeLocation, field.location);
    }
  }
  code += "Option Base 1\n\n";

  code += "'" + Line(MessageId::kKVBSection1);
  code += "Sub Main\n";
  code += Dim("ss", "Spreadsheet");
  code += "Set ss = ActiveDataSet\n";
  code += "If ss Is Nothing Then\nErrorMessage 1\nExit Sub\nEnd If\n\n";

  code += "'" + Line(MessageId::kKVBSection2);
  code += "If Not CheckVariables(ss) Then Exit Sub\n\n";

  code += "'" + Line(MessageId::kKVBSection3);
  return code;
}

// Sections 7 and 8 (the error messages and the check of the variables by name at their
// locations), the number formatting function and the T² chart routine.
std::string KVBTail(MessageId check_title,
                    std::initializer_list<const std::vector<DocumentField>*> blocks) {
  std::string code;
  code += "'" + Line(MessageId::kKVBSection7);
  code += "Sub ErrorMessage(Code As Integer)\n";
  code += "MsgBox " + KVBString(Text(MessageId::kDeployVariablesDoNotMatch)) + "\n";
  code += "End Sub\n\n";

  code += "'" + Line(MessageId::kKVBSection8);
  code += "'" + Line(check_title);
  code += "Function CheckVariables(ss As Spreadsheet) As Boolean\n";
  code += "CheckVariables = False\n";
  for (const std::vector<DocumentField>* block : blocks) {
    for (const DocumentField& field : *block) {
      code += FormatText("If ss.NumberOfVariables < %d Then\n", field.location);
      code += "ErrorMessage 2\nExit Function\nEnd If\n";
      code +=
          FormatText("If ss.VariableName(%d) <> %s Then\n", field.location, KVBString(field.name));
      code += "ErrorMessage 2\nExit Function\nEnd If\n";
    }
  }
  code += "CheckVariables = True\nEnd Function\n\n";

  for (int line = static_cast<int>(MessageId::kKVBFormatDoubleFirst);
       line <= static_cast<int>(MessageId::kKVBFormatDoubleLast);
       ++line) {
    code += Line(static_cast<MessageId>(line));
  }
  code += "\n";

  code += Line(MessageId::kKVBChartHeader1);
  code += Line(MessageId::kKVBChartHeader2);
  code += Line(MessageId::kKVBChartHeader3);
  code += Line(MessageId::kKVBChartHeader4);
  code += Dim("Subtitle1", "String");
  code += Dim("Subtitle2", "String");
  code += "Subtitle1 = " + KVBString(Text(MessageId::kKVBComponentsSubtitle)) +
          " & CStr(NumberOfComponents)\n";
  code += "If TSWarning = 1 Then\n";
  code += "Subtitle2 = " + KVBString(Text(MessageId::kKVBControlLimitText)) +
          " & FormatDouble(TSControlLimit, 4) & " +
          KVBString(Text(MessageId::kKVBWarningLimitText)) +
          " & FormatDouble(TSWarningLimit, 4) & " + KVBString(Text(MessageId::kKVBPercent)) + "\n";
  code += "Else\n";
  code += "Subtitle2 = " + KVBString(Text(MessageId::kKVBControlLimitText)) +
          " & FormatDouble(TSControlLimit, 4) & " + KVBString(Text(MessageId::kKVBPercent)) + "\n";
  code += "End If\n";
  code += R"(Dim g As Graph
Set g = NewLineGraph(ss, 1)
g.Title = )" +
          KVBString(Text(MessageId::kT2ChartTitle)) + R"(
g.Subtitles.Add Subtitle1
g.Subtitles.Add Subtitle2
If TSControl = 1 Then g.AddReferenceLine TSControlLine
If TSWarning = 1 Then g.AddReferenceLine TSWarningLine
End Sub
)";
  return code;
}

}  // namespace

std::string KVBString(std::string_view text) {
  std::string literal = "\"";
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 0x20 || code == 0x7f) {
      literal += ' ';
    } else if (c == '"') {
      literal += "\"\"";
    } else {
      literal += c;
    }
  }
  return literal + "\"";
}

namespace {

// The score limit assignments of every component: "XScoreStds (1) = ..." and so on, or the
// "YScore" ones.
std::string ScoreLimitAssignments(const std::vector<ControlLimitSet>& scores, bool y) {
  const MessageId stds = y ? MessageId::kKVBYScoreStds : MessageId::kKVBXScoreStds;
  const MessageId upper = y ? MessageId::kKVBYScoreControlUpper : MessageId::kKVBXScoreControlUpper;
  const MessageId lower = y ? MessageId::kKVBYScoreControlLower : MessageId::kKVBXScoreControlLower;
  const MessageId warning_upper =
      y ? MessageId::kKVBYScoreWarningUpper : MessageId::kKVBXScoreWarningUpper;
  const MessageId warning_lower =
      y ? MessageId::kKVBYScoreWarningLower : MessageId::kKVBXScoreWarningLower;
  std::string code;
  for (std::size_t a = 0; a < scores.size(); ++a) {
    const int number = static_cast<int>(a) + 1;
    const ControlLimitSet& limits = scores[a];
    code += FormatMessage(stds, number, limits.standard_deviation) + "\n";
    code += FormatMessage(upper, number, limits.upper_control) + "\n";
    code += FormatMessage(lower, number, limits.lower_control) + "\n";
    if (limits.warning) {
      code += FormatMessage(warning_upper, number, limits.upper_warning) + "\n";
      code += FormatMessage(warning_lower, number, limits.lower_warning) + "\n";
    }
  }
  return code;
}

// The per-column arrays of one block: location, category coding, mean and scale.
std::string BlockAssignments(const std::string& prefix,
                             const std::vector<DocumentField>& fields,
                             const std::vector<DocumentColumn>& columns) {
  std::string code;
  for (std::size_t j = 0; j < columns.size(); ++j) {
    const int number = static_cast<int>(j) + 1;
    const DocumentColumn& column = columns[j];
    const DocumentField& field = fields[column.field];
    code += FormatText("%sLocation(%d) = %d\n", prefix, number, field.location);
    code += FormatText("%sCategorical(%d) = %d\n", prefix, number, field.categorical ? 1 : 0);
    code += FormatText(
        "%sCategoryCode(%d) = %s\n", prefix, number, Real(field.categorical ? column.code : 0));
    code += FormatText("%sMeans(%d) = %s\n", prefix, number, Real(column.mean));
    code += FormatText("%sScales(%d) = %s\n", prefix, number, Real(column.scale));
  }
  return code;
}

std::string BlockDeclarations(const std::string& prefix, int columns) {
  std::string code;
  code += Dim(FormatText("%sLocation(%d)", prefix, columns), "Long");
  code += Dim(FormatText("%sCategorical(%d)", prefix, columns), "Integer");
  code += Dim(FormatText("%sCategoryCode(%d)", prefix, columns), "Double");
  code += Dim(FormatText("%sMeans(%d)", prefix, columns), "Double");
  code += Dim(FormatText("%sScales(%d)", prefix, columns), "Double");
  return code;
}

// The score limit arrays of one block ("X" or "Y") for `slots` components.
std::string ScoreLimitDeclarations(const std::string& block, int slots) {
  std::string code;
  for (const char* name : {"ScoreStds",
                           "ScoreControlUpper",
                           "ScoreControlLower",
                           "ScoreWarningUpper",
                           "ScoreWarningLower"}) {
    code += Dim(FormatText("%s%s(%d)", block, std::string(name), slots), "Double");
  }
  return code;
}

// The control settings of the T² and SPE(Q) charts.
std::string ChartSettingDeclarations() {
  std::string code;
  for (const char* name : {"TSControl", "TSWarning", "SPEControl", "SPEWarning"}) {
    code += Dim(name, "Integer");
  }
  for (const char* name : {"TSControlLimit",
                           "TSControlLine",
                           "TSWarningLimit",
                           "TSWarningLine",
                           "SPEControlLimit",
                           "SPEControlLine",
                           "SPEWarningLimit",
                           "SPEWarningLine"}) {
    code += Dim(name, "Double");
  }
  return code;
}

}  // namespace

std::string GeneratePCAKVBCode(const LoadedPCAModel& model) {
  return GeneratePCATypeKVBCode(model, Line(MessageId::kKVBPCACommentTitle));
}

std::string GeneratePCATypeKVBCode(const LoadedPCAModel& model, const std::string& comment_title) {
  const int variables = static_cast<int>(model.columns.size());
  const int components = model.Components();
  std::string code = KVBHeader(comment_title, model.title, model.data_source, {&model.fields});
  code += Dim("NumberOfVariables", "Long");
  code += Dim("NumberOfComponents", "Long");
  code += FormatText("NumberOfVariables = %d\n", variables);
  code += FormatText("NumberOfComponents = %d\n", components);
  const int component_slots = components > 0 ? components : 1;
  code += BlockDeclarations("", variables);
  code += Dim(FormatText("Loadings(%d, %d)", variables, component_slots), "Double");
  code += ScoreLimitDeclarations("X", component_slots);
  code += ChartSettingDeclarations();
  code += BlockAssignments("", model.fields, model.columns);
  for (int j = 0; j < variables; ++j) {
    for (int a = 0; a < components; ++a) {
      code += FormatText(
          "Loadings(%d, %d) = %s\n",
          j + 1,
          a + 1,
          Real(model.loadings(static_cast<std::size_t>(a), static_cast<std::size_t>(j))));
    }
  }
  code += ScoreLimitAssignments(model.scores, false);
  code += ChartSettings(model.t2, false);
  code += ChartSettings(model.spe, true);
  code += "\n'" + Line(MessageId::kKVBSection4);
  code += R"(Dim NCases As Long
Dim i As Long
Dim j As Long
Dim a As Long
NCases = ss.NumberOfCases
Dim Scaled() As Double
Dim Present() As Integer
Dim Scores() As Double
Dim TSquare() As Double
Dim SPE() As Double
ReDim Scaled(NumberOfVariables)
ReDim Present(NumberOfVariables)
ReDim Scores(NCases, NumberOfComponents + 1)
ReDim TSquare(NCases)
ReDim SPE(NCases)
For i = 1 To NCases
)" + std::string(kScaleCaseLines) +
          R"(  TSquare(i) = 0
  For a = 1 To NumberOfComponents
    Dim Numerator As Double
    Dim Denominator As Double
    Numerator = 0
    Denominator = 0
    For j = 1 To NumberOfVariables
      If Present(j) = 1 Then
        Numerator = Numerator + Scaled(j) * Loadings(j, a)
        Denominator = Denominator + Loadings(j, a) * Loadings(j, a)
      End If
    Next j
    Scores(i, a) = 0
    If Denominator <> 0 Then Scores(i, a) = Numerator / Denominator
    For j = 1 To NumberOfVariables
      If Present(j) = 1 Then Scaled(j) = Scaled(j) - Scores(i, a) * Loadings(j, a)
    Next j
    If XScoreStds(a) <> 0 Then TSquare(i) = TSquare(i) + (Scores(i, a) / XScoreStds(a)) ^ 2
  Next a
)" + std::string(kSPELines) +
          R"(Next i
Dim Results As Spreadsheet
Set Results = NewSpreadsheet(NCases, 2)
For i = 1 To NCases
  Results.Value(i, 1) = TSquare(i)
  Results.Value(i, 2) = SPE(i)
Next i
)" + std::string(kChartCallLines);
  code += KVBTail(MessageId::kKVBCheckPCA, {&model.fields});
  return code;
}

std::string GeneratePLSKVBCode(const LoadedPLSModel& model) {
  return GeneratePLSTypeKVBCode(model, "'" + Line(MessageId::kPLSKVBTitle));
}

std::string GeneratePLSTypeKVBCode(const LoadedPLSModel& model, const std::string& comment_title) {
  const int predictors = static_cast<int>(model.predictor_columns.size());
  const int dependents = static_cast<int>(model.dependent_columns.size());
  const int components = model.Components();
  const int slots = components > 0 ? components : 1;
  std::string code = KVBHeader(comment_title,
                               model.title,
                               model.data_source,
                               {&model.dependent_fields, &model.predictor_fields});
  code += Dim("NumberOfVariables", "Long");
  code += Dim("NumberOfDependents", "Long");
  code += Dim("NumberOfComponents", "Long");
  code += FormatText("NumberOfVariables = %d\n", predictors);
  code += FormatText("NumberOfDependents = %d\n", dependents);
  code += FormatText("NumberOfComponents = %d\n", components);
  code += BlockDeclarations("", predictors);
  code += BlockDeclarations("Y", dependents);
  code += Dim(FormatText("Weights(%d, %d)", predictors, slots), "Double");
  code += Dim(FormatText("Loadings(%d, %d)", predictors, slots), "Double");
  code += Dim(FormatText("YLoadings(%d, %d)", dependents, slots), "Double");
  code += Dim(FormatText("Inner(%d)", slots), "Double");
  code += ScoreLimitDeclarations("X", slots);
  code += ScoreLimitDeclarations("Y", slots);
  code += ChartSettingDeclarations();
  code += BlockAssignments("", model.predictor_fields, model.predictor_columns);
  code += BlockAssignments("Y", model.dependent_fields, model.dependent_columns);
  for (int a = 0; a < components; ++a) {
    const auto component = static_cast<std::size_t>(a);
    code += FormatText("Inner(%d) = %s\n", a + 1, Real(model.inner[component]));
    for (int j = 0; j < predictors; ++j) {
      const auto col = static_cast<std::size_t>(j);
      code +=
          FormatText("Weights(%d, %d) = %s\n", j + 1, a + 1, Real(model.weights(component, col)));
      code += FormatText(
          "Loadings(%d, %d) = %s\n", j + 1, a + 1, Real(model.x_loadings(component, col)));
    }
    for (int k = 0; k < dependents; ++k) {
      code += FormatText("YLoadings(%d, %d) = %s\n",
                         k + 1,
                         a + 1,
                         Real(model.y_loadings(component, static_cast<std::size_t>(k))));
    }
  }
  code += ScoreLimitAssignments(model.x_scores, false);
  code += ScoreLimitAssignments(model.y_scores, true);
  code += ChartSettings(model.t2, false);
  code += ChartSettings(model.spe, true);
  code += "\n'" + Line(MessageId::kKVBSection4);
  code += R"(Dim NCases As Long
Dim i As Long
Dim j As Long
Dim k As Long
Dim a As Long
Dim Score As Double
NCases = ss.NumberOfCases
Dim Scaled() As Double
Dim Present() As Integer
Dim Predicted() As Double
Dim TSquare() As Double
Dim SPE() As Double
ReDim Scaled(NumberOfVariables)
ReDim Present(NumberOfVariables)
ReDim Predicted(NCases, NumberOfDependents)
ReDim TSquare(NCases)
ReDim SPE(NCases)
For i = 1 To NCases
)" + std::string(kScaleCaseLines) +
          R"(  TSquare(i) = 0
  For k = 1 To NumberOfDependents
    Predicted(i, k) = 0
  Next k
  For a = 1 To NumberOfComponents
    Dim Numerator As Double
    Dim Denominator As Double
    Numerator = 0
    Denominator = 0
    For j = 1 To NumberOfVariables
      If Present(j) = 1 Then
        Numerator = Numerator + Scaled(j) * Weights(j, a)
        Denominator = Denominator + Weights(j, a) * Weights(j, a)
      End If
    Next j
    Score = 0
    If Denominator <> 0 Then Score = Numerator / Denominator
    For j = 1 To NumberOfVariables
      If Present(j) = 1 Then Scaled(j) = Scaled(j) - Score * Loadings(j, a)
    Next j
    For k = 1 To NumberOfDependents
      Predicted(i, k) = Predicted(i, k) + Inner(a) * Score * YLoadings(k, a)
    Next k
    If XScoreStds(a) <> 0 Then TSquare(i) = TSquare(i) + (Score / XScoreStds(a)) ^ 2
  Next a
)" + std::string(kSPELines) +
          R"(  For k = 1 To NumberOfDependents
    Predicted(i, k) = Predicted(i, k) * IIf(YScales(k) <> 0, YScales(k), 1) + YMeans(k)
  Next k
Next i
Dim Results As Spreadsheet
Set Results = NewSpreadsheet(NCases, 2 + NumberOfDependents)
For i = 1 To NCases
  Results.Value(i, 1) = TSquare(i)
  Results.Value(i, 2) = SPE(i)
  For k = 1 To NumberOfDependents
    Results.Value(i, 2 + k) = Predicted(i, k)
  Next k
Next i
)" + std::string(kChartCallLines);
  code += KVBTail(MessageId::kKVBCheckPLS, {&model.predictor_fields});
  return code;
}

}  // namespace mspc
