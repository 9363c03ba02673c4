#include "batch/batch_report_pieces.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "batch/unfolding.hpp"
#include "frame/report_pieces.hpp"
#include "frame/working_data.hpp"
#include "models/missing.hpp"
#include "pca/contributions.hpp"

namespace mspc {

std::string TimeName(const BatchData& data, std::size_t time) {
  if (data.has_time_variable && !data.raw) {
    return FormatMessage(MessageId::kTimeLabelName, data.time_labels[time]);
  }
  return FormatMessage(MessageId::kTimeNumberName, static_cast<int>(data.time_values[time]));
}

Spreadsheet DescriptiveStatisticsOverTime(const BatchData& batches,
                                          const WorkingData& data,
                                          const std::vector<std::size_t>& columns) {
  const std::size_t columns_per_time = batches.columns_per_time;
  const bool has_categories =
      std::any_of(batches.process_columns.begin(),
                  batches.process_columns.end(),
                  [](const BatchColumn& column) { return !std::isnan(column.code); });
  Spreadsheet sheet;
  sheet.title = ReportText(MessageId::kDescriptiveStatisticsTitle);
  sheet.row_header = ReportText(MessageId::kRowHeaderVariable);
  sheet.columns = {ReportText(MessageId::kTimeHeader),
                   ReportText(MessageId::kColumnValidN),
                   ReportText(MessageId::kColumnMean),
                   ReportText(MessageId::kColumnStdDev),
                   ReportText(MessageId::kColumnScalingFactor)};
  if (has_categories) {
    sheet.columns.push_back(ReportText(MessageId::kColumnVariableNumber));
    sheet.columns.push_back(ReportText(MessageId::kColumnCategoryValue));
  }
  for (const std::size_t col : columns) {
    const BatchColumn& column = batches.process_columns[col % columns_per_time];
    ReportRow row{column.name,
                  {batches.time_labels[col / columns_per_time],
                   NumberCell(data.valid_count[col]),
                   NumberCell(data.mean[col]),
                   NumberCell(data.standard_deviation[col]),
                   NumberCell(data.scale[col])}};
    if (has_categories) {
      // The variable's 1-based place in the selection and, for a category column, its code.
      row.cells.push_back(NumberCell(static_cast<double>(column.source + 1)));
      row.cells.push_back(NumberCell(column.code));
    }
    sheet.rows.push_back(std::move(row));
  }
  return sheet;
}

Graph BatchScoreContributionOverTime(const BatchData& data,
                                     const std::vector<double>& by_column,
                                     int components,
                                     int case_number,
                                     const std::string& batch,
                                     int component,
                                     std::size_t variable) {
  const std::string& name = data.process_columns[variable].name;
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = FormatMessage(MessageId::kBatchScoreContributionTitle, component, name, batch);
  graph.subtitles.push_back(ComponentsSubtitle(components));
  graph.x_label = std::string(MessageText(MessageId::kTimeHeader));
  graph.y_label = FormatMessage(MessageId::kScoreLabel, component);
  GraphSeries series{ScoreContributionSeries(case_number, batch), {}, {}, {}};
  for (std::size_t time = 0; time < data.num_times; ++time) {
    const std::size_t col = time * data.columns_per_time + variable;
    series.x.push_back(static_cast<double>(time + 1));
    series.y.push_back(col < by_column.size() ? by_column[col] : kMissingValue);
    series.labels.push_back(TimeName(data, time));
  }
  graph.series.push_back(std::move(series));
  return graph;
}

}  // namespace mspc
