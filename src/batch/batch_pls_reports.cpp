#include "batch/batch_pls_reports.hpp"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "batch/batch_report_pieces.hpp"
#include "frame/report_pieces.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"
#include "pls/pls_engine.hpp"
#include "pls/pls_validation.hpp"

namespace mspc {
namespace {

std::vector<std::size_t> ModelRows(const PLSEngine& engine) {
  return IncludedIndices(engine.ExcludedRows(), engine.Rows());
}

std::vector<double> ColumnOf(const DMatrix& matrix, std::size_t col) {
  std::vector<double> values(matrix.rows());
  for (std::size_t row = 0; row < matrix.rows(); ++row) values[row] = matrix(row, col);
  return values;
}

// The X scores of component `component` (1-based), not-a-number in excluded rows.
std::vector<double> XScoresOf(const PLSEngine& engine, int component) {
  return ColumnOf(engine.XScores(), static_cast<std::size_t>(component - 1));
}

const std::vector<double>& LoadingsOf(const PLSEngine& engine, int component) {
  return engine.Nodes()[static_cast<std::size_t>(component - 1)].p;
}

bool OneRowPerBatch(const BatchData& data) { return data.layout == BatchLayout::kBatchRows; }

// The time axis of the batch-time reports: the time values (codes, interval numbers, or the
// counts 0, 1, ...), each point named by its interval.
void TimeAxis(const BatchData& data, GraphSeries& series) {
  for (std::size_t time = 0; time < data.num_times; ++time) {
    series.x.push_back(data.time_values[time]);
    series.labels.push_back(TimeName(data, time));
  }
}

GraphSeries TimeSeries(const BatchData& data, std::string name, const std::vector<double>& y) {
  GraphSeries series;
  series.name = std::move(name);
  TimeAxis(data, series);
  series.y = y;
  return series;
}

// A band as one closed outline: along the upper edge and back along the lower edge.
GraphSeries RegionSeries(const BatchData& data,
                         std::string name,
                         const std::vector<double>& upper,
                         const std::vector<double>& lower) {
  // One closed outline: along the upper limits, back along the lower ones, and to the start.
  GraphSeries series = TimeSeries(data, std::move(name), upper);
  for (std::size_t time = data.num_times; time-- > 0;) {
    series.x.push_back(data.time_values[time]);
    series.y.push_back(lower[time]);
    series.labels.push_back(TimeName(data, time));
  }
  if (data.num_times > 0) {
    series.x.push_back(series.x.front());
    series.y.push_back(series.y.front());
    series.labels.push_back(series.labels.front());
  }
  return series;
}

std::vector<double> BatchRow(const DMatrix& values, std::size_t batch) {
  std::vector<double> row(values.cols());
  for (std::size_t time = 0; time < values.cols(); ++time) row[time] = values(batch, time);
  return row;
}

// A spreadsheet over the times: statistic rows, then one row per batch; `outside(batch, time)`
// marks the batch cells to highlight.
template <typename Outside>
Spreadsheet TimeTable(std::string title,
                      const BatchData& data,
                      std::vector<ReportRow> statistics,
                      const DMatrix& values,
                      Outside outside) {
  Spreadsheet sheet;
  sheet.title = std::move(title);
  sheet.row_header = ReportText(MessageId::kBatchHeader);
  sheet.columns = data.time_labels;
  const int first_batch_row = static_cast<int>(statistics.size());
  sheet.rows = std::move(statistics);
  for (std::size_t batch = 0; batch < values.rows(); ++batch) {
    ReportRow row{batch < data.batch_labels.size() ? data.batch_labels[batch] : "", {}};
    for (std::size_t time = 0; time < values.cols(); ++time) {
      row.cells.push_back(NumberCell(values(batch, time)));
      if (outside(batch, time)) {
        sheet.highlights.emplace_back(first_batch_row + static_cast<int>(batch),
                                      static_cast<int>(time));
      }
    }
    sheet.rows.push_back(std::move(row));
  }
  return sheet;
}

ReportRow StatisticRow(MessageId label, const std::vector<double>& values) {
  ReportRow row{ReportText(label), {}};
  for (const double value : values) row.cells.push_back(NumberCell(value));
  return row;
}

template <typename Field>
std::vector<double> FieldOf(const std::vector<ControlLimitSet>& limits, Field field) {
  std::vector<double> values;
  for (const ControlLimitSet& set : limits) values.push_back(field(set));
  return values;
}

// The mean of every time column over the values present.
std::vector<double> TimeMeans(const DMatrix& values) {
  std::vector<double> means(values.cols(), kMissingValue);
  for (std::size_t time = 0; time < values.cols(); ++time) {
    double sum = 0.0;
    int count = 0;
    for (std::size_t batch = 0; batch < values.rows(); ++batch) {
      if (IsMissing(values(batch, time))) continue;
      sum += values(batch, time);
      ++count;
    }
    if (count > 0) means[time] = sum / count;
  }
  return means;
}

void AddBatchSeries(const BatchData& data,
                    const DMatrix& values,
                    const std::vector<std::size_t>& batch_rows,
                    Graph& graph) {
  for (const std::size_t batch : batch_rows) {
    if (batch >= values.rows()) continue;
    graph.series.push_back(TimeSeries(data, data.batch_labels[batch], BatchRow(values, batch)));
  }
}

}  // namespace

Spreadsheet BatchPLSEigenvalues(const PLSEngine& engine) {
  Spreadsheet sheet;
  sheet.title = ReportText(MessageId::kColumnEigenvalues);
  sheet.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  sheet.row_header = ReportText(MessageId::kColumnComponent);
  for (MessageId column : {MessageId::kColumnEigenvalues,
                           MessageId::kColumnPercentTotalVariance,
                           MessageId::kColumnCumulativeEigenvalue,
                           MessageId::kColumnCumulativePercent}) {
    sheet.columns.push_back(ReportText(column));
  }
  const double total = engine.TotalSSX();
  // A block without any sum of squares has no shares to give.
  const auto percent = [total](double part) {
    return IsTolerantZero(total) ? kMissingValue : part / total * 100.0;
  };
  double cumulative = 0.0;
  for (const CPLSNode& node : engine.Nodes()) {
    cumulative += node.lambda;
    sheet.rows.push_back({std::to_string(node.component),
                          {NumberCell(node.lambda),
                           NumberCell(percent(node.explained_ss_x)),
                           NumberCell(cumulative),
                           NumberCell(percent(node.cumulative_explained_ss_x))}});
  }
  return sheet;
}

Graph BatchPLSScreePlot(const PLSEngine& engine, int count) {
  const int components = engine.ComponentCount();
  const int shown = count <= 0 || count > components ? components : count;
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = ReportText(MessageId::kScreePlotTitle);
  graph.subtitles.push_back(ComponentsSubtitle(components));
  graph.x_label = ReportText(MessageId::kColumnComponent);
  graph.y_label = ReportText(MessageId::kColumnEigenvalues);
  GraphSeries series{ReportText(MessageId::kColumnEigenvalues), {}, {}, {}};
  for (int a = 0; a < shown; ++a) {
    series.x.push_back(a + 1);
    series.y.push_back(engine.Nodes()[static_cast<std::size_t>(a)].lambda);
  }
  graph.series.push_back(std::move(series));
  return graph;
}

Graph BatchPLSScoreLineplot(const BatchPLSReportData& data,
                            int component,
                            const ControlLimitSet& limits,
                            const ScoreLimitOptions& options,
                            bool markers,
                            bool labels) {
  const PLSEngine& engine = data.pls.engine;
  Graph graph;
  graph.type = markers ? GraphType::kControl : GraphType::kLine;
  graph.title = FormatMessage(MessageId::kScoreLineplotTitle, component);
  graph.subtitles = {ComponentsSubtitle(engine.ComponentCount()),
                     FormatScoreLimitSubtitle(options, false)};
  if (options.warning) graph.subtitles.push_back(FormatScoreLimitSubtitle(options, true));
  graph.x_label = ReportText(data.pls.predictors.row_header);
  graph.y_label = FormatMessage(MessageId::kScoreLabel, component);
  GraphSeries series = CaseSeries(FormatMessage(MessageId::kScoreLabel, component),
                                  data.pls.predictors,
                                  ModelRows(engine),
                                  XScoresOf(engine, component));
  if (!labels) series.labels.clear();
  graph.series.push_back(std::move(series));
  AddScoreLimitLines(graph, limits, options.warning);
  return graph;
}

Graph BatchPLSScoreScatterplot(const BatchPLSReportData& data, int first, int second, bool labels) {
  const PLSEngine& engine = data.pls.engine;
  const std::vector<double> x = XScoresOf(engine, first);
  const std::vector<double> y = XScoresOf(engine, second);
  Graph graph;
  graph.type = GraphType::kScatter;
  graph.title = FormatMessage(MessageId::kScoreScatterplotTitle, first, second);
  graph.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  graph.x_label = FormatMessage(MessageId::kScoreLabel, first);
  graph.y_label = FormatMessage(MessageId::kScoreLabel, second);
  GraphSeries series;
  series.name = FormatMessage(MessageId::kScorePairLabel, first, second);
  for (const std::size_t row : ModelRows(engine)) {
    series.x.push_back(x[row]);
    series.y.push_back(y[row]);
    if (labels) series.labels.push_back(CaseLabel(data.pls.predictors, row));
  }
  graph.series.push_back(std::move(series));
  return graph;
}

Spreadsheet BatchPLSScoreScatterSpreadsheet(const BatchPLSReportData& data, int first, int second) {
  const PLSEngine& engine = data.pls.engine;
  const std::vector<std::size_t> rows = ModelRows(engine);
  Spreadsheet sheet = CaseRowsSheet(
      FormatMessage(MessageId::kScoreScatterplotTitle, first, second), data.pls.predictors, rows);
  sheet.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  sheet.columns = {FormatMessage(MessageId::kScoreLabel, first),
                   FormatMessage(MessageId::kScoreLabel, second)};
  const std::vector<double> x = XScoresOf(engine, first);
  const std::vector<double> y = XScoresOf(engine, second);
  for (std::size_t index = 0; index < rows.size(); ++index) {
    sheet.rows[index].cells = {NumberCell(x[rows[index]]), NumberCell(y[rows[index]])};
  }
  return sheet;
}

Graph BatchPLSLoadingLineplot(const BatchPLSReportData& data, int component) {
  const PLSEngine& engine = data.pls.engine;
  const std::vector<double>& p = LoadingsOf(engine, component);
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = FormatMessage(MessageId::kLoadingLineplotTitle, component);
  graph.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  graph.y_label = FormatMessage(MessageId::kLoadingLabel, component);
  const BatchData& batch = data.batch;
  if (!OneRowPerBatch(batch)) {
    graph.x_label = ReportText(MessageId::kRowHeaderVariable);
    graph.series.push_back(VariableSeries(graph.y_label,
                                          data.pls.predictors,
                                          IncludedIndices(engine.ExcludedXColumns(), p.size()),
                                          p));
    return graph;
  }
  graph.x_label = ReportText(MessageId::kTimeHeader);
  const std::size_t columns_per_time = batch.columns_per_time;
  for (std::size_t j = 0; j < columns_per_time; ++j) {
    std::vector<double> curve(batch.num_times, kMissingValue);
    for (std::size_t time = 0; time < batch.num_times; ++time) {
      const std::size_t col = time * columns_per_time + j;
      if (!engine.IsXColumnExcluded(col)) curve[time] = p[col];
    }
    graph.series.push_back(TimeSeries(batch, batch.process_columns[j].name, curve));
  }
  return graph;
}

Graph BatchPLSLoadingScatterplot(const BatchPLSReportData& data, int first, int second) {
  const PLSEngine& engine = data.pls.engine;
  const std::vector<double>& x = LoadingsOf(engine, first);
  const std::vector<double>& y = LoadingsOf(engine, second);
  Graph graph;
  graph.type = GraphType::kScatter;
  graph.title = FormatMessage(MessageId::kLoadingScatterplotTitle, first, second);
  graph.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  graph.x_label = FormatMessage(MessageId::kLoadingLabel, first);
  graph.y_label = FormatMessage(MessageId::kLoadingLabel, second);
  const BatchData& batch = data.batch;
  const bool over_time = OneRowPerBatch(batch);
  const std::size_t columns_per_time = batch.columns_per_time;
  for (std::size_t j = 0; j < columns_per_time; ++j) {
    GraphSeries series;
    series.name = batch.process_columns[j].name;
    const std::size_t num_points = over_time ? batch.num_times : 1;
    for (std::size_t time = 0; time < num_points; ++time) {
      const std::size_t col = over_time ? time * columns_per_time + j : j;
      if (engine.IsXColumnExcluded(col)) continue;
      series.x.push_back(x[col]);
      series.y.push_back(y[col]);
      series.labels.push_back(over_time ? TimeName(batch, time) : series.name);
    }
    graph.series.push_back(std::move(series));
  }
  return graph;
}

Spreadsheet BatchDescriptiveStatistics(const BatchPLSReportData& data) {
  const PLSEngine& engine = data.pls.engine;
  return DescriptiveStatisticsOverTime(
      data.batch, data.pls.predictors, IncludedIndices(engine.ExcludedXColumns(), engine.XCols()));
}

Spreadsheet BatchVariableImportance(const BatchPLSReportData& data, bool sorted) {
  const PLSEngine& engine = data.pls.engine;
  const std::size_t columns_per_time = data.batch.columns_per_time;
  Spreadsheet sheet;
  sheet.title = ReportText(MessageId::kVariableImportanceTitle);
  sheet.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  sheet.row_header = ReportText(MessageId::kRowHeaderVariable);
  sheet.columns = {ReportText(MessageId::kColumnImportance), ReportText(MessageId::kColumnPower)};
  const std::optional<VariableImportance> columns = ComputeVariableImportance(
      engine.Nodes(), engine.ExcludedXColumns(), data.pls.predictors.column_names, false);
  if (!columns || columns_per_time == 0) return sheet;
  std::vector<double> importance(columns_per_time, 0.0);
  for (std::size_t col = 0; col < columns->importance.size(); ++col) {
    importance[col % columns_per_time] += columns->importance[col];
  }
  std::vector<std::size_t> order(columns_per_time);
  for (std::size_t j = 0; j < columns_per_time; ++j) order[j] = j;
  if (sorted) {
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      return TolerantGreater(importance[a], importance[b]);
    });
  }
  for (const std::size_t j : order) {
    const double power = std::sqrt(static_cast<double>(columns_per_time) * importance[j]);
    sheet.rows.push_back(
        {data.batch.process_columns[j].name, {NumberCell(importance[j]), NumberCell(power)}});
  }
  return sheet;
}

Spreadsheet BatchPLSScaledData(const BatchPLSReportData& data) {
  const PLSEngine& engine = data.pls.engine;
  return CaseByVariableSheet(ReportText(MessageId::kScaledProcessedDataTitle),
                             data.pls.predictors,
                             ModelRows(engine),
                             IncludedIndices(engine.ExcludedXColumns(), engine.XCols()),
                             engine.ScaledX());
}

Spreadsheet BatchPLSDistanceSpreadsheet(const BatchPLSReportData& data,
                                        const PLSMonitoring& monitoring) {
  Spreadsheet sheet = PLSDistanceSpreadsheet(data.pls, monitoring);
  sheet.columns.push_back(ReportText(MessageId::kT2Series));
  const std::vector<std::size_t> rows = ModelRows(data.pls.engine);
  for (std::size_t index = 0; index < rows.size() && index < sheet.rows.size(); ++index) {
    sheet.rows[index].cells.push_back(NumberCell(monitoring.t2[rows[index]]));
  }
  return sheet;
}

Graph BatchPLSDistanceLineplot(const BatchPLSReportData& data, const PLSMonitoring& monitoring) {
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = ReportText(MessageId::kDistanceToModelTitle);
  graph.subtitles.push_back(ComponentsSubtitle(data.pls.engine.ComponentCount()));
  graph.x_label = ReportText(data.pls.predictors.row_header);
  graph.y_label = ReportText(MessageId::kDistanceColumn);
  graph.series.push_back(CaseSeries(ReportText(MessageId::kDistanceColumn),
                                    data.pls.predictors,
                                    ModelRows(data.pls.engine),
                                    monitoring.distance.distance));
  return graph;
}

Spreadsheet TrajectorySheet(const BatchData& data,
                            const std::string& variable,
                            const DMatrix& values,
                            const TrajectoryBands& bands) {
  std::vector<ReportRow> statistics = {
      StatisticRow(MessageId::kColumnMean, bands.mean),
      StatisticRow(MessageId::kColumnStdDev, bands.standard_deviation),
      StatisticRow(MessageId::kColumnUpperControl, bands.upper_control),
      StatisticRow(MessageId::kColumnLowerControl, bands.lower_control)};
  if (!bands.upper_warning.empty()) {
    statistics.push_back(StatisticRow(MessageId::kColumnUpperWarning, bands.upper_warning));
    statistics.push_back(StatisticRow(MessageId::kColumnLowerWarning, bands.lower_warning));
  }
  const std::vector<bool> outside = OutsideControlBand(values, bands);
  return TimeTable(
      FormatMessage(MessageId::kTrajectorySpreadsheetTitle, variable),
      data,
      std::move(statistics),
      values,
      [&](std::size_t batch, std::size_t time) { return outside[batch * values.cols() + time]; });
}

Graph TrajectoryPlot(const BatchData& data,
                     const std::string& variable,
                     const DMatrix& values,
                     const TrajectoryBands& bands,
                     const TrajectoryOptions& options,
                     bool as_regions,
                     const std::vector<std::size_t>& batch_rows) {
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = FormatMessage(MessageId::kTrajectoryPlotTitle, variable);
  graph.subtitles.push_back(
      FormatMessage(MessageId::kNumberOfBatches, static_cast<int>(data.num_batches)));
  graph.x_label = ReportText(MessageId::kTimeHeader);
  graph.y_label = ReportText(MessageId::kTrajectoryAxis);
  graph.series.push_back(TimeSeries(data, ReportText(MessageId::kColumnMean), bands.mean));
  const auto add_band = [&](const std::string& legend,
                            const std::vector<double>& upper,
                            const std::vector<double>& lower) {
    if (as_regions) {
      graph.series.push_back(RegionSeries(data, legend, upper, lower));
    } else {
      graph.series.push_back(TimeSeries(data, legend, upper));
      graph.series.push_back(TimeSeries(data, legend, lower));
    }
  };
  add_band(FormatMessage(MessageId::kTrajectoryControlLegend, options.control_constant),
           bands.upper_control,
           bands.lower_control);
  if (!bands.upper_warning.empty()) {
    add_band(FormatMessage(MessageId::kTrajectoryWarningLegend, options.warning_constant),
             bands.upper_warning,
             bands.lower_warning);
  }
  AddBatchSeries(data, values, batch_rows, graph);
  return graph;
}

Spreadsheet ScoreTrajectorySheet(const BatchData& data,
                                 int component,
                                 const DMatrix& scores,
                                 const std::vector<ControlLimitSet>& limits,
                                 const ScoreLimitOptions& options) {
  std::vector<ReportRow> statistics = {
      StatisticRow(MessageId::kColumnMean, TimeMeans(scores)),
      StatisticRow(
          MessageId::kColumnStdDev,
          FieldOf(limits, [](const ControlLimitSet& set) { return set.standard_deviation; })),
      StatisticRow(MessageId::kColumnDegreesOfFreedom,
                   FieldOf(limits,
                           [](const ControlLimitSet& set) {
                             return static_cast<double>(set.degrees_of_freedom);
                           })),
      StatisticRow(MessageId::kColumnUpperControl,
                   FieldOf(limits, [](const ControlLimitSet& set) { return set.upper_control; })),
      StatisticRow(MessageId::kColumnLowerControl,
                   FieldOf(limits, [](const ControlLimitSet& set) { return set.lower_control; }))};
  if (options.warning) {
    statistics.push_back(StatisticRow(
        MessageId::kColumnUpperWarning,
        FieldOf(limits, [](const ControlLimitSet& set) { return set.upper_warning; })));
    statistics.push_back(StatisticRow(
        MessageId::kColumnLowerWarning,
        FieldOf(limits, [](const ControlLimitSet& set) { return set.lower_warning; })));
  }
  Spreadsheet sheet = TimeTable(
      FormatMessage(MessageId::kScoreTrajectorySpreadsheetTitle, component),
      data,
      std::move(statistics),
      scores,
      [&](std::size_t batch, std::size_t time) {
        return !IsInsideBand(
                   scores(batch, time), limits[time].lower_control, limits[time].upper_control) &&
               !IsMissing(scores(batch, time)) && !IsMissing(limits[time].upper_control);
      });
  sheet.subtitles.push_back(FormatScoreLimitSubtitle(options, false));
  if (options.warning) sheet.subtitles.push_back(FormatScoreLimitSubtitle(options, true));
  return sheet;
}

Graph ScoreTrajectoryPlot(const BatchData& data,
                          int component,
                          const DMatrix& scores,
                          const std::vector<ControlLimitSet>& limits,
                          const ScoreLimitOptions& options,
                          const std::vector<std::size_t>& batch_rows) {
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = FormatMessage(MessageId::kScoreTrajectoryPlotTitle, component);
  graph.subtitles = {FormatScoreLimitSubtitle(options, false)};
  if (options.warning) graph.subtitles.push_back(FormatScoreLimitSubtitle(options, true));
  graph.x_label = ReportText(MessageId::kTimeHeader);
  graph.y_label = FormatMessage(MessageId::kScoreLabel, component);
  graph.series.push_back(TimeSeries(data, ReportText(MessageId::kColumnMean), TimeMeans(scores)));
  const auto add = [&](MessageId name, auto field) {
    graph.series.push_back(TimeSeries(data, ReportText(name), FieldOf(limits, field)));
  };
  add(MessageId::kColumnUpperControl, [](const ControlLimitSet& set) { return set.upper_control; });
  add(MessageId::kColumnLowerControl, [](const ControlLimitSet& set) { return set.lower_control; });
  if (options.warning) {
    add(MessageId::kColumnUpperWarning,
        [](const ControlLimitSet& set) { return set.upper_warning; });
    add(MessageId::kColumnLowerWarning,
        [](const ControlLimitSet& set) { return set.lower_warning; });
  }
  AddBatchSeries(data, scores, batch_rows, graph);
  return graph;
}

Spreadsheet SPEByTimeSheet(const BatchData& data,
                           const DMatrix& spe,
                           const std::vector<ControlLimitSet>& limits) {
  const bool warning = !limits.empty() && limits.front().warning;
  std::vector<ReportRow> statistics = {
      StatisticRow(MessageId::kSeriesControlLine,
                   FieldOf(limits, [](const ControlLimitSet& set) { return set.control_line; }))};
  if (warning) {
    statistics.push_back(
        StatisticRow(MessageId::kSeriesWarningLine,
                     FieldOf(limits, [](const ControlLimitSet& set) { return set.warning_line; })));
  }
  Spreadsheet sheet =
      TimeTable(ReportText(MessageId::kSPEByTimeTitle),
                data,
                std::move(statistics),
                spe,
                [&](std::size_t batch, std::size_t time) {
                  return !IsMissing(spe(batch, time)) && !IsMissing(limits[time].control_line) &&
                         TolerantGreater(spe(batch, time), limits[time].control_line);
                });
  if (!limits.empty()) {
    sheet.subtitles.push_back(
        FormatLimitLineLabel(limits.front().control_line, limits.front().control_limit, false));
  }
  return sheet;
}

Graph SPEByTimeChart(const BatchData& data,
                     const DMatrix& spe,
                     const std::vector<ControlLimitSet>& limits,
                     const std::vector<std::size_t>& batch_rows) {
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = ReportText(MessageId::kSPEByTimeTitle);
  graph.x_label = ReportText(MessageId::kTimeHeader);
  graph.y_label = ReportText(MessageId::kSPESeries);
  graph.series.push_back(
      TimeSeries(data,
                 ReportText(MessageId::kSeriesControlLine),
                 FieldOf(limits, [](const ControlLimitSet& set) { return set.control_line; })));
  if (!limits.empty() && limits.front().warning) {
    graph.series.push_back(
        TimeSeries(data,
                   ReportText(MessageId::kSeriesWarningLine),
                   FieldOf(limits, [](const ControlLimitSet& set) { return set.warning_line; })));
  }
  AddBatchSeries(data, spe, batch_rows, graph);
  return graph;
}

Spreadsheet TimePredictionSpreadsheet(const PLSReportData& data) {
  Spreadsheet sheet = PLSPredictionSpreadsheet(data);
  // The one dependent is the time: its fitted values are the time the model predicts.
  const std::string predicted =
      FormatMessage(MessageId::kPredictedColumn, ColumnLabel(data.dependents, 0));
  std::replace(sheet.columns.begin(),
               sheet.columns.end(),
               predicted,
               std::string(ReportText(MessageId::kTimePredictedColumn)));
  return sheet;
}

}  // namespace mspc
