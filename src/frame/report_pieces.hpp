#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "frame/working_data.hpp"
#include "host/messages.hpp"
#include "host/output_sink.hpp"
#include "models/control_limits.hpp"

namespace mspc {

// Pieces the reports of every model kind build their spreadsheets and graphs from. Rows are the
// observations or the variables of a model, given by the flags of those it leaves out.

/// The indices below `count` whose flag in `excluded` is not set (a short vector excludes
/// nothing beyond its end).
std::vector<std::size_t> IncludedIndices(const std::vector<bool>& excluded, std::size_t count);

/// A value that is not a number has no cell: the spreadsheet shows it empty.
ReportCell NumberCell(double value);

std::string ReportText(MessageId id);
/// "Number of components is %d".
std::string ComponentsSubtitle(int components);

/// The name of column `col` of a block, or its 1-based number when it has none.
std::string ColumnLabel(const WorkingData& data, std::size_t col);
/// The host's case number, the case name (may be empty) and the label (name, else number).
int CaseNumber(const WorkingData& data, std::size_t row);
std::string CaseName(const WorkingData& data, std::size_t row);
std::string CaseLabel(const WorkingData& data, std::size_t row);

/// A spreadsheet with one labelled row per included column ("Variable") or row ("Case").
Spreadsheet VariableRowsSheet(std::string title,
                              const WorkingData& data,
                              const std::vector<std::size_t>& columns);
Spreadsheet CaseRowsSheet(std::string title,
                          const WorkingData& data,
                          const std::vector<std::size_t>& rows);

/// A series over observations (x: host case number) or variables (x: 1, 2, ...), taking
/// `values[row]` or `values[col]`.
GraphSeries CaseSeries(std::string name,
                       const WorkingData& data,
                       const std::vector<std::size_t>& rows,
                       const std::vector<double>& values);
GraphSeries VariableSeries(std::string name,
                           const WorkingData& data,
                           const std::vector<std::size_t>& columns,
                           const std::vector<double>& values);

/// A limit line, left out when it is not defined.
void AddLimitLine(Graph& graph, std::string label, double value, LimitKind kind);
/// The upper and lower control lines of a score chart and, with `warning`, its warning lines,
/// each labelled with its value.
void AddScoreLimitLines(Graph& graph, const ControlLimitSet& limits, bool warning);
/// The control and warning lines of a T² or SPE(Q) chart, labelled with their critical values;
/// returns the labels.
std::vector<std::string> AddChartLines(Graph& graph, const ControlLimitSet& limits);

/// A control chart of one statistic per observation with its limit lines.
Graph StatisticChart(MessageId title,
                     MessageId series,
                     int components,
                     const WorkingData& data,
                     const std::vector<std::size_t>& rows,
                     const std::vector<double>& values,
                     const ControlLimitSet& limits);
/// The same values as a spreadsheet; cells above the control line are highlighted.
Spreadsheet StatisticSheet(MessageId title,
                           MessageId column,
                           int components,
                           const WorkingData& data,
                           const std::vector<std::size_t>& rows,
                           const std::vector<double>& values,
                           const ControlLimitSet& limits);

/// Valid N., mean, standard deviation and scaling factor of the listed columns.
Spreadsheet DescriptiveStatisticsSheet(std::string title,
                                       const WorkingData& data,
                                       const std::vector<std::size_t>& columns);

/// One value per listed variable as a spreadsheet column, and as a bar chart.
Spreadsheet OneColumnVariableSheet(std::string title,
                                   std::string column,
                                   const WorkingData& data,
                                   const std::vector<std::size_t>& columns,
                                   const std::vector<double>& values);
Graph VariableBarChart(std::string title,
                       std::string series,
                       std::string y_label,
                       int components,
                       const WorkingData& data,
                       const std::vector<std::size_t>& columns,
                       const std::vector<double>& values);

/// A matrix over the listed observations and variables (residuals, scaled data).
Spreadsheet CaseByVariableSheet(std::string title,
                                const WorkingData& data,
                                const std::vector<std::size_t>& rows,
                                const std::vector<std::size_t>& columns,
                                const DMatrix& values);

}  // namespace mspc
