#include "export/kvb_code.hpp"

#include <cmath>

#include "export/c_code.hpp"
#include "export/model_document.hpp"
#include "host/messages.hpp"

namespace mspc {
namespace {

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

std::string GeneratePCAKVBCode(const LoadedPCAModel& model) {
  const int variables = static_cast<int>(model.columns.size());
  const int components = model.Components();
  std::string code;
  code += "'" + FormatMessage(MessageId::kCodeFirstLine, CommentSafe(model.title)).substr(2);
  code += Line(MessageId::kKVBPCACommentTitle);
  code += "'" + Text(MessageId::kKVBDataUsed) + CommentSafe(model.data_source) + "\n";
  for (const DocumentField& field : model.fields) {
    code += "'" +
            Text(field.categorical ? MessageId::kCodeCategoricalVariable
                                   : MessageId::kCodeContinuousVariable)
                .substr(2) +
            CommentSafe(field.name) + FormatMessage(MessageId::kCodeLocation, field.location);
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
  code += Dim("NumberOfVariables", "Long");
  code += Dim("NumberOfComponents", "Long");
  code += FormatText("NumberOfVariables = %d\n", variables);
  code += FormatText("NumberOfComponents = %d\n", components);
  const int component_slots = components > 0 ? components : 1;
  code += Dim(FormatText("Location(%d)", variables), "Long");
  code += Dim(FormatText("Categorical(%d)", variables), "Integer");
  code += Dim(FormatText("CategoryCode(%d)", variables), "Double");
  code += Dim(FormatText("Means(%d)", variables), "Double");
  code += Dim(FormatText("Scales(%d)", variables), "Double");
  code += Dim(FormatText("Loadings(%d, %d)", variables, component_slots), "Double");
  for (const char* name : {"XScoreStds",
                           "XScoreControlUpper",
                           "XScoreControlLower",
                           "XScoreWarningUpper",
                           "XScoreWarningLower"}) {
    code += Dim(FormatText("%s(%d)", std::string(name), component_slots), "Double");
  }
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
  for (int j = 0; j < variables; ++j) {
    const DocumentColumn& column = model.columns[static_cast<std::size_t>(j)];
    const DocumentField& field = model.fields[column.field];
    code += FormatText("Location(%d) = %d\n", j + 1, field.location);
    code += FormatText("Categorical(%d) = %d\n", j + 1, field.categorical ? 1 : 0);
    code += FormatText("CategoryCode(%d) = %s\n", j + 1, Real(field.categorical ? column.code : 0));
    code += FormatText("Means(%d) = %s\n", j + 1, Real(column.mean));
    code += FormatText("Scales(%d) = %s\n", j + 1, Real(column.scale));
    for (int a = 0; a < components; ++a) {
      code += FormatText(
          "Loadings(%d, %d) = %s\n",
          j + 1,
          a + 1,
          Real(model.loadings(static_cast<std::size_t>(a), static_cast<std::size_t>(j))));
    }
  }
  for (int a = 0; a < components; ++a) {
    const ControlLimitSet& limits = model.scores[static_cast<std::size_t>(a)];
    code += FormatMessage(MessageId::kKVBXScoreStds, a + 1, limits.standard_deviation) + "\n";
    code += FormatMessage(MessageId::kKVBXScoreControlUpper, a + 1, limits.upper_control) + "\n";
    code += FormatMessage(MessageId::kKVBXScoreControlLower, a + 1, limits.lower_control) + "\n";
    if (limits.warning) {
      code += FormatMessage(MessageId::kKVBXScoreWarningUpper, a + 1, limits.upper_warning) + "\n";
      code += FormatMessage(MessageId::kKVBXScoreWarningLower, a + 1, limits.lower_warning) + "\n";
    }
  }
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
  For j = 1 To NumberOfVariables
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
  TSquare(i) = 0
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
  SPE(i) = 0
  For j = 1 To NumberOfVariables
    If Present(j) = 1 Then SPE(i) = SPE(i) + Scaled(j) ^ 2
  Next j
Next i
Dim Results As Spreadsheet
Set Results = NewSpreadsheet(NCases, 2)
For i = 1 To NCases
  Results.Value(i, 1) = TSquare(i)
  Results.Value(i, 2) = SPE(i)
Next i
TSquareControlChart Results, NumberOfComponents, TSControl, TSControlLimit, TSControlLine, _
  TSWarning, TSWarningLimit, TSWarningLine
End Sub

)";
  code += "'" + Line(MessageId::kKVBSection7);
  code += "Sub ErrorMessage(Code As Integer)\n";
  code += "MsgBox " + KVBString(Text(MessageId::kDeployVariablesDoNotMatch)) + "\n";
  code += "End Sub\n\n";

  code += "'" + Line(MessageId::kKVBSection8);
  code += "'" + Line(MessageId::kKVBCheckPCA);
  code += "Function CheckVariables(ss As Spreadsheet) As Boolean\n";
  code += "CheckVariables = False\n";
  for (const DocumentField& field : model.fields) {
    code += FormatText("If ss.NumberOfVariables < %d Then\n", field.location);
    code += "ErrorMessage 2\nExit Function\nEnd If\n";
    code +=
        FormatText("If ss.VariableName(%d) <> %s Then\n", field.location, KVBString(field.name));
    code += "ErrorMessage 2\nExit Function\nEnd If\n";
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

}  // namespace mspc
