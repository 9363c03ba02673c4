#include "frame/report_pieces.hpp"

#include <cmath>
#include <utility>

#include "models/missing.hpp"
#include "models/monitoring.hpp"
#include "models/tolerant.hpp"

namespace mspc {

std::vector<std::size_t> IncludedIndices(const std::vector<bool>& excluded, std::size_t count) {
  std::vector<std::size_t> indices;
  for (std::size_t index = 0; index < count; ++index) {
    if (index >= excluded.size() || !excluded[index]) indices.push_back(index);
  }
  return indices;
}

ReportCell NumberCell(double value) {
  return std::isfinite(value) ? ReportCell(value) : ReportCell(std::monostate{});
}

std::string ReportText(MessageId id) { return std::string(MessageText(id)); }

std::string ComponentsSubtitle(int components) {
  return FormatMessage(MessageId::kNumberOfComponents, components);
}

std::string ColumnLabel(const WorkingData& data, std::size_t col) {
  return col < data.column_names.size() ? data.column_names[col] : std::to_string(col + 1);
}

int CaseNumber(const WorkingData& data, std::size_t row) {
  return row < data.case_numbers.size() ? data.case_numbers[row] : static_cast<int>(row) + 1;
}

std::string CaseName(const WorkingData& data, std::size_t row) {
  return row < data.case_names.size() ? data.case_names[row] : std::string();
}

std::string CaseLabel(const WorkingData& data, std::size_t row) {
  std::string name = CaseName(data, row);
  return name.empty() ? std::to_string(CaseNumber(data, row)) : name;
}

Spreadsheet VariableRowsSheet(std::string title,
                              const WorkingData& data,
                              const std::vector<std::size_t>& columns) {
  Spreadsheet sheet;
  sheet.title = std::move(title);
  sheet.row_header = ReportText(MessageId::kRowHeaderVariable);
  for (std::size_t col : columns) sheet.rows.push_back({ColumnLabel(data, col), {}});
  return sheet;
}

Spreadsheet CaseRowsSheet(std::string title,
                          const WorkingData& data,
                          const std::vector<std::size_t>& rows) {
  Spreadsheet sheet;
  sheet.title = std::move(title);
  sheet.row_header = ReportText(data.row_header);
  for (std::size_t row : rows) sheet.rows.push_back({CaseLabel(data, row), {}});
  return sheet;
}

GraphSeries CaseSeries(std::string name,
                       const WorkingData& data,
                       const std::vector<std::size_t>& rows,
                       const std::vector<double>& values) {
  GraphSeries series;
  series.name = std::move(name);
  for (std::size_t row : rows) {
    series.x.push_back(CaseNumber(data, row));
    series.y.push_back(values[row]);
    series.labels.push_back(CaseLabel(data, row));
  }
  return series;
}

GraphSeries VariableSeries(std::string name,
                           const WorkingData& data,
                           const std::vector<std::size_t>& columns,
                           const std::vector<double>& values) {
  GraphSeries series;
  series.name = std::move(name);
  int position = 0;
  for (std::size_t col : columns) {
    series.x.push_back(++position);
    series.y.push_back(values[col]);
    series.labels.push_back(ColumnLabel(data, col));
  }
  return series;
}

void AddLimitLine(Graph& graph, std::string label, double value, LimitKind kind) {
  // A line that is not defined (too few degrees of freedom) is not drawn.
  if (!std::isfinite(value)) return;
  graph.lines.push_back({std::move(label), value, kind});
}

void AddScoreLimitLines(Graph& graph, const ControlLimitSet& limits, bool warning) {
  AddLimitLine(graph,
               FormatMessage(MessageId::kUpperControlLine, limits.upper_control),
               limits.upper_control,
               LimitKind::kControl);
  AddLimitLine(graph,
               FormatMessage(MessageId::kLowerControlLine, limits.lower_control),
               limits.lower_control,
               LimitKind::kControl);
  if (!warning) return;
  AddLimitLine(graph,
               FormatMessage(MessageId::kUpperWarningLine, limits.upper_warning),
               limits.upper_warning,
               LimitKind::kWarning);
  AddLimitLine(graph,
               FormatMessage(MessageId::kLowerWarningLine, limits.lower_warning),
               limits.lower_warning,
               LimitKind::kWarning);
}

std::vector<std::string> AddChartLines(Graph& graph, const ControlLimitSet& limits) {
  std::vector<std::string> labels;
  const std::string control =
      FormatLimitLineLabel(limits.control_line, limits.control_limit, /*warning=*/false);
  AddLimitLine(graph, control, limits.control_line, LimitKind::kControl);
  labels.push_back(control);
  if (limits.warning) {
    const std::string warning =
        FormatLimitLineLabel(limits.warning_line, limits.warning_limit, /*warning=*/true);
    AddLimitLine(graph, warning, limits.warning_line, LimitKind::kWarning);
    labels.push_back(warning);
  }
  return labels;
}

Graph StatisticChart(MessageId title,
                     MessageId series,
                     int components,
                     const WorkingData& data,
                     const std::vector<std::size_t>& rows,
                     const std::vector<double>& values,
                     const ControlLimitSet& limits) {
  Graph graph;
  graph.type = GraphType::kControl;
  graph.title = ReportText(title);
  graph.subtitles.push_back(ComponentsSubtitle(components));
  graph.x_label = ReportText(data.row_header);
  graph.y_label = ReportText(series);
  graph.series.push_back(CaseSeries(ReportText(series), data, rows, values));
  AddChartLines(graph, limits);
  return graph;
}

Spreadsheet StatisticSheet(MessageId title,
                           MessageId column,
                           int components,
                           const WorkingData& data,
                           const std::vector<std::size_t>& rows,
                           const std::vector<double>& values,
                           const ControlLimitSet& limits) {
  Spreadsheet sheet = CaseRowsSheet(ReportText(title), data, rows);
  sheet.subtitles.push_back(ComponentsSubtitle(components));
  Graph lines;
  for (std::string& label : AddChartLines(lines, limits)) sheet.subtitles.push_back(label);
  sheet.columns.push_back(ReportText(column));
  for (std::size_t index = 0; index < rows.size(); ++index) {
    const double value = values[rows[index]];
    sheet.rows[index].cells.push_back(NumberCell(value));
    if (std::isfinite(limits.control_line) && TolerantGreater(value, limits.control_line)) {
      sheet.highlights.emplace_back(static_cast<int>(index), 0);
    }
  }
  return sheet;
}

Spreadsheet DescriptiveStatisticsSheet(std::string title,
                                       const WorkingData& data,
                                       const std::vector<std::size_t>& columns) {
  Spreadsheet sheet = VariableRowsSheet(std::move(title), data, columns);
  for (MessageId column : {MessageId::kColumnValidN,
                           MessageId::kColumnMean,
                           MessageId::kColumnStdDev,
                           MessageId::kColumnScalingFactor}) {
    sheet.columns.push_back(ReportText(column));
  }
  const auto value = [](const std::vector<double>& values, std::size_t col) {
    return NumberCell(col < values.size() ? values[col] : kMissingValue);
  };
  for (std::size_t index = 0; index < columns.size(); ++index) {
    const std::size_t col = columns[index];
    sheet.rows[index].cells = {value(data.valid_count, col),
                               value(data.mean, col),
                               value(data.standard_deviation, col),
                               value(data.scale, col)};
  }
  return sheet;
}

Spreadsheet OneColumnVariableSheet(std::string title,
                                   std::string column,
                                   const WorkingData& data,
                                   const std::vector<std::size_t>& columns,
                                   const std::vector<double>& values) {
  Spreadsheet sheet = VariableRowsSheet(std::move(title), data, columns);
  sheet.columns.push_back(std::move(column));
  for (std::size_t index = 0; index < columns.size(); ++index) {
    sheet.rows[index].cells.push_back(NumberCell(values[columns[index]]));
  }
  return sheet;
}

Graph VariableBarChart(std::string title,
                       std::string series,
                       std::string y_label,
                       int components,
                       const WorkingData& data,
                       const std::vector<std::size_t>& columns,
                       const std::vector<double>& values) {
  Graph graph;
  graph.type = GraphType::kBar;
  graph.title = std::move(title);
  graph.subtitles.push_back(ComponentsSubtitle(components));
  graph.x_label = ReportText(MessageId::kRowHeaderVariable);
  graph.y_label = std::move(y_label);
  graph.series.push_back(VariableSeries(std::move(series), data, columns, values));
  return graph;
}

Spreadsheet CaseByVariableSheet(std::string title,
                                const WorkingData& data,
                                const std::vector<std::size_t>& rows,
                                const std::vector<std::size_t>& columns,
                                const DMatrix& values) {
  Spreadsheet sheet = CaseRowsSheet(std::move(title), data, rows);
  for (std::size_t col : columns) sheet.columns.push_back(ColumnLabel(data, col));
  for (std::size_t index = 0; index < rows.size(); ++index) {
    for (std::size_t col : columns) {
      sheet.rows[index].cells.push_back(NumberCell(values(rows[index], col)));
    }
  }
  return sheet;
}

}  // namespace mspc
