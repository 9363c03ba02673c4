#include "batch/mpca_reports.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "batch/batch_report_pieces.hpp"
#include "batch/mpca_model.hpp"
#include "frame/report_pieces.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"
#include "pca/contributions.hpp"
#include "pca/pca_engine.hpp"
#include "pca/pca_reports.hpp"

namespace mspc {
namespace {

std::string Text(MessageId id) { return ReportText(id); }

std::vector<std::size_t> ModelRows(const PCAEngine& engine) {
  return IncludedIndices(engine.ExcludedRows(), engine.Rows());
}

std::vector<std::size_t> ModelColumns(const PCAEngine& engine) {
  return IncludedIndices(engine.ExcludedVariables(), engine.Cols());
}

const CPCANode& Node(const PCAEngine& engine, int component) {
  return engine.Nodes()[static_cast<std::size_t>(component - 1)];
}

std::vector<std::string> ComponentColumns(const PCAEngine& engine) {
  std::vector<std::string> columns;
  for (const CPCANode& node : engine.Nodes()) {
    columns.push_back(FormatMessage(MessageId::kComponentNumberColumn, node.component));
  }
  return columns;
}

// Loadings p_a · sqrt(λ_a); λ_a = t't / (N - 1) is the variance of the scores, so under unit
// scaling the value is the covariance of the column with the standardised score.
double LoadingOf(const CPCANode& node, std::size_t col) {
  return node.p[col] * std::sqrt(std::max(node.eigenvalue, 0.0));
}

// One row per unfolded column of the model, one column per component, of `value(node, col)`.
template <typename Value>
Spreadsheet ComponentByColumnSheet(MessageId title, const CMPCAModel& model, Value value) {
  const PCAEngine& engine = model.engine();
  const std::vector<std::size_t> cols = ModelColumns(engine);
  Spreadsheet sheet = VariableRowsSheet(Text(title), model.working_data(), cols);
  sheet.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  sheet.columns = ComponentColumns(engine);
  for (std::size_t index = 0; index < cols.size(); ++index) {
    for (const CPCANode& node : engine.Nodes()) {
      sheet.rows[index].cells.push_back(NumberCell(value(node, cols[index])));
    }
  }
  return sheet;
}

// The value of a model column, not-a-number for a removed one.
double ModelValue(const PCAEngine& engine, const std::vector<double>& values, std::size_t col) {
  return engine.IsVariableExcluded(col) ? kMissingValue : values[col];
}

// One series per process variable over the times, of `value(col)` at column k × J + j.
template <typename Value>
std::vector<GraphSeries> PerVariableSeries(const CMPCAModel& model, Value value) {
  const BatchData& data = model.batch_data();
  const std::size_t columns_per_time = data.columns_per_time;
  std::vector<GraphSeries> series;
  for (std::size_t variable = 0; variable < columns_per_time; ++variable) {
    GraphSeries line;
    line.name = data.process_columns[variable].name;
    for (std::size_t time = 0; time < data.num_times; ++time) {
      const std::size_t col = time * columns_per_time + variable;
      line.x.push_back(static_cast<double>(time + 1));
      line.y.push_back(value(col));
      line.labels.push_back(TimeName(data, time));
    }
    series.push_back(std::move(line));
  }
  return series;
}

// The scores of one component, not-a-number for excluded batches.
std::vector<double> ComponentScores(const PCAEngine& engine, int component) {
  std::vector<double> scores = Node(engine, component).t;
  for (std::size_t row = 0; row < scores.size(); ++row) {
    if (engine.IsRowExcluded(row)) scores[row] = kMissingValue;
  }
  return scores;
}

ControlLimitSet ScoreLimitsOf(const PCAEngine& engine,
                              int component,
                              const ScoreLimitOptions& options,
                              const ProbabilityFunctions& probability) {
  return ComputeScoreLimits(
      ComponentScores(engine, component), engine.ActiveRows(), options, probability);
}

// A trajectory in the units the report asks for: the variables' own, or each column centred
// and divided by its scale as the model sees it.
DMatrix TrajectoryInUnits(const CMPCAModel& model, std::size_t variable) {
  DMatrix values = model.TrajectoryValues(variable);
  if (model.time_wise_options().original_scale) return values;
  const WorkingData& block = model.working_data();
  const std::size_t columns_per_time = model.batch_data().columns_per_time;
  for (std::size_t row = 0; row < values.rows(); ++row) {
    for (std::size_t time = 0; time < values.cols(); ++time) {
      const std::size_t col = time * columns_per_time + variable;
      double& cell = values(row, time);
      if (IsMissing(cell)) continue;
      cell -= block.mean[col];
      if (!IsTolerantZero(block.scale[col])) cell /= block.scale[col];
    }
  }
  return values;
}

void AddBand(Graph& graph,
             MessageId legend,
             double constant,
             const std::vector<double>& upper,
             const std::vector<double>& lower,
             bool as_region) {
  const std::string name = FormatMessage(legend, constant);
  const std::size_t times = upper.size();
  if (as_region) {
    // One closed outline: along the upper limits and back along the lower ones.
    GraphSeries region{name, {}, {}, {}};
    for (std::size_t time = 0; time < times; ++time) {
      region.x.push_back(static_cast<double>(time + 1));
      region.y.push_back(upper[time]);
    }
    for (std::size_t time = times; time-- > 0;) {
      region.x.push_back(static_cast<double>(time + 1));
      region.y.push_back(lower[time]);
    }
    if (times > 0) {
      region.x.push_back(1.0);
      region.y.push_back(upper[0]);
    }
    graph.series.push_back(std::move(region));
    return;
  }
  for (const std::vector<double>* limits : {&upper, &lower}) {
    GraphSeries line{name, {}, *limits, {}};
    for (std::size_t time = 0; time < times; ++time)
      line.x.push_back(static_cast<double>(time + 1));
    graph.series.push_back(std::move(line));
  }
}

}  // namespace

Spreadsheet WithBatchRows(Spreadsheet sheet) {
  if (sheet.row_header == Text(MessageId::kRowHeaderCase)) {
    sheet.row_header = Text(MessageId::kBatchHeader);
  }
  return sheet;
}

Spreadsheet TMPCAEigenvalues(const CMPCAModel& model) {
  Spreadsheet sheet = PCAEigenvalues(model.engine(), model.working_data());
  sheet.title = Text(MessageId::kTMPCAEigenvaluesTitle);
  // The components first, then the total variance of the scaled matrix.
  std::reverse(sheet.subtitles.begin(), sheet.subtitles.end());
  return sheet;
}

Spreadsheet TMPCAScoreSpreadsheet(const CMPCAModel& model) {
  Spreadsheet sheet = WithBatchRows(PCAScoreSpreadsheet(model.engine(), model.working_data()));
  sheet.columns = ComponentColumns(model.engine());
  return sheet;
}

Spreadsheet TMPCADescriptiveStatistics(const CMPCAModel& model) {
  return DescriptiveStatisticsOverTime(
      model.batch_data(), model.working_data(), ModelColumns(model.engine()));
}

Spreadsheet TMPCAEigenvectorSpreadsheet(const CMPCAModel& model) {
  return ComponentByColumnSheet(MessageId::kEigenvectorSpreadsheetTitle,
                                model,
                                [](const CPCANode& node, std::size_t col) { return node.p[col]; });
}

Spreadsheet TMPCALoadingSpreadsheet(const CMPCAModel& model) {
  return ComponentByColumnSheet(MessageId::kLoadingSpreadsheetTitle, model, LoadingOf);
}

Graph TMPCALoadingLineplot(const CMPCAModel& model, int component) {
  const PCAEngine& engine = model.engine();
  const CPCANode& node = Node(engine, component);
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = FormatMessage(MessageId::kLoadingLineplotTitle, component);
  graph.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  graph.x_label = Text(MessageId::kTimeHeader);
  graph.y_label = FormatMessage(MessageId::kLoadingLabel, component);
  graph.series = PerVariableSeries(model, [&](std::size_t col) {
    return engine.IsVariableExcluded(col) ? kMissingValue : LoadingOf(node, col);
  });
  return graph;
}

Graph TMPCALoadingScatterplot(const CMPCAModel& model, int first, int second) {
  const PCAEngine& engine = model.engine();
  Graph graph;
  graph.type = GraphType::kScatter;
  graph.title = FormatMessage(MessageId::kLoadingScatterplotTitle, first, second);
  graph.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  graph.x_label = FormatMessage(MessageId::kLoadingLabel, first);
  graph.y_label = FormatMessage(MessageId::kLoadingLabel, second);
  const CPCANode& x_node = Node(engine, first);
  const CPCANode& y_node = Node(engine, second);
  // The per-variable curves give the y values; the x values follow the same columns.
  graph.series = PerVariableSeries(model, [&](std::size_t col) {
    return engine.IsVariableExcluded(col) ? kMissingValue : LoadingOf(y_node, col);
  });
  const std::size_t columns_per_time = model.batch_data().columns_per_time;
  for (std::size_t variable = 0; variable < graph.series.size(); ++variable) {
    GraphSeries& series = graph.series[variable];
    for (std::size_t time = 0; time < series.x.size(); ++time) {
      const std::size_t col = time * columns_per_time + variable;
      series.x[time] = engine.IsVariableExcluded(col) ? kMissingValue : LoadingOf(x_node, col);
    }
  }
  return graph;
}

Spreadsheet TMPCAScaledData(const CMPCAModel& model) {
  Spreadsheet sheet = WithBatchRows(PCAScaledData(model.engine(), model.working_data()));
  sheet.title = Text(MessageId::kScaledProcessedDataTitle);
  return sheet;
}

Spreadsheet TMPCAResiduals(const CMPCAModel& model, bool original_units) {
  const PCAEngine& engine = model.engine();
  const WorkingData& data = model.working_data();
  DMatrix residuals = engine.Residuals();
  if (original_units) {
    // A residual is a difference of two values of the column: only the scale comes back.
    for (std::size_t row = 0; row < residuals.rows(); ++row) {
      for (std::size_t col = 0; col < residuals.cols(); ++col) {
        if (!IsTolerantZero(data.scale[col])) residuals(row, col) *= data.scale[col];
      }
    }
  }
  Spreadsheet sheet = WithBatchRows(
      CaseByVariableSheet(Text(original_units ? MessageId::kTMPCAResidualsOriginalTitle
                                              : MessageId::kTMPCAResidualsScaledTitle),
                          data,
                          ModelRows(engine),
                          ModelColumns(engine),
                          residuals));
  sheet.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  return sheet;
}

Spreadsheet TMPCADistanceSpreadsheet(const CMPCAModel& model) {
  const PCAEngine& engine = model.engine();
  Spreadsheet sheet = WithBatchRows(PCADistanceSpreadsheet(engine, model.working_data()));
  sheet.columns.push_back(Text(MessageId::kT2Series));
  const std::vector<double> t2 = ComputeModelT2(engine);
  const std::vector<std::size_t> rows = ModelRows(engine);
  for (std::size_t index = 0; index < rows.size(); ++index) {
    sheet.rows[index].cells.push_back(NumberCell(t2[rows[index]]));
  }
  return sheet;
}

Graph TMPCADistanceLineplot(const CMPCAModel& model) {
  Graph graph = PCADistanceBarChart(model.engine(), model.working_data());
  graph.type = GraphType::kLine;
  graph.x_label = Text(MessageId::kBatchHeader);
  return graph;
}

// The importance of a process variable pools its columns over time: its power is the residual
// sum of squares about each column's residual mean, summed over the variable's columns at all
// times, divided by the total (scaled) sum of squares of those columns. So each time weighs in
// by its own sum of squares, and a variable counts as explained when the model takes most of
// its variation at the times where it varies most. Importance is 1 - power. Removed columns
// take no part; a variable without any sum of squares has power 0.
std::vector<double> TMPCAVariablePower(const CMPCAModel& model) {
  const PCAEngine& engine = model.engine();
  const std::size_t columns_per_time = model.batch_data().columns_per_time;
  std::vector<double> residual_ss(columns_per_time, 0.0);
  std::vector<double> total_ss(columns_per_time, 0.0);
  for (std::size_t col : ModelColumns(engine)) {
    std::size_t count = 0;
    double mean = 0.0;
    double m2 = 0.0;  // Welford: sum of squared deviations of the residuals from their mean
    for (std::size_t row = 0; row < engine.Rows(); ++row) {
      if (!engine.IsValidCell(row, col)) continue;
      const double residual = engine.Residual(row, col);
      ++count;
      const double delta = residual - mean;
      mean += delta / static_cast<double>(count);
      m2 += delta * (residual - mean);
    }
    residual_ss[col % columns_per_time] += m2;
    total_ss[col % columns_per_time] += engine.VariableTotalSS()[col];
  }
  std::vector<double> power(columns_per_time, 0.0);
  for (std::size_t variable = 0; variable < columns_per_time; ++variable) {
    if (!IsTolerantZero(total_ss[variable]))
      power[variable] = residual_ss[variable] / total_ss[variable];
  }
  return power;
}

namespace {

// The process variables in report order: by increasing power (most important first) or as
// selected.
std::vector<std::size_t> ImportanceOrder(const std::vector<double>& power, bool sorted) {
  std::vector<std::size_t> order(power.size());
  for (std::size_t variable = 0; variable < order.size(); ++variable) order[variable] = variable;
  if (sorted) {
    std::stable_sort(order.begin(), order.end(), [&power](std::size_t a, std::size_t b) {
      return TolerantLess(power[a], power[b]);
    });
  }
  return order;
}

}  // namespace

Spreadsheet TMPCAVariableImportance(const CMPCAModel& model, bool sorted) {
  const std::vector<double> power = TMPCAVariablePower(model);
  Spreadsheet sheet;
  sheet.title = Text(MessageId::kVariableImportanceTitle);
  sheet.subtitles.push_back(ComponentsSubtitle(model.engine().ComponentCount()));
  sheet.row_header = Text(MessageId::kRowHeaderVariable);
  sheet.columns = {Text(MessageId::kColumnImportance), Text(MessageId::kColumnPower)};
  for (std::size_t variable : ImportanceOrder(power, sorted)) {
    sheet.rows.push_back({model.batch_data().process_columns[variable].name,
                          {NumberCell(1.0 - power[variable]), NumberCell(power[variable])}});
  }
  return sheet;
}

Graph TMPCAVariableImportanceChart(const CMPCAModel& model, bool sorted) {
  const std::vector<double> power = TMPCAVariablePower(model);
  Graph graph;
  graph.type = GraphType::kBar;
  graph.title = Text(MessageId::kVariableImportanceTitle);
  graph.subtitles.push_back(ComponentsSubtitle(model.engine().ComponentCount()));
  graph.x_label = Text(MessageId::kRowHeaderVariable);
  graph.y_label = Text(MessageId::kColumnImportance);
  GraphSeries series{Text(MessageId::kColumnImportance), {}, {}, {}};
  for (std::size_t variable : ImportanceOrder(power, sorted)) {
    series.x.push_back(static_cast<double>(series.x.size() + 1));
    series.y.push_back(1.0 - power[variable]);
    series.labels.push_back(model.batch_data().process_columns[variable].name);
  }
  graph.series.push_back(std::move(series));
  return graph;
}

Spreadsheet TMPCAScoreLimits(const CMPCAModel& model,
                             const ScoreLimitOptions& options,
                             const ProbabilityFunctions& probability) {
  const PCAEngine& engine = model.engine();
  Spreadsheet sheet;
  sheet.title = Text(MessageId::kXScoreLimitsTitle);
  sheet.subtitles = {ComponentsSubtitle(engine.ComponentCount()),
                     FormatScoreLimitSubtitle(options, /*warning=*/false)};
  if (options.warning) sheet.subtitles.push_back(FormatScoreLimitSubtitle(options, true));
  sheet.row_header = Text(MessageId::kColumnComponent);
  sheet.columns = {Text(MessageId::kColumnStdDev),
                   Text(MessageId::kColumnUpperControl),
                   Text(MessageId::kColumnLowerControl)};
  if (options.warning) {
    sheet.columns.push_back(Text(MessageId::kColumnUpperWarning));
    sheet.columns.push_back(Text(MessageId::kColumnLowerWarning));
  }
  for (const CPCANode& node : engine.Nodes()) {
    const ControlLimitSet limits = ScoreLimitsOf(engine, node.component, options, probability);
    ReportRow row{FormatMessage(MessageId::kScoreLabel, node.component),
                  {NumberCell(limits.standard_deviation),
                   NumberCell(limits.upper_control),
                   NumberCell(limits.lower_control)}};
    if (options.warning) {
      row.cells.push_back(NumberCell(limits.upper_warning));
      row.cells.push_back(NumberCell(limits.lower_warning));
    }
    sheet.rows.push_back(std::move(row));
  }
  return sheet;
}

Spreadsheet TMPCAScoreControlSheet(const CMPCAModel& model,
                                   const ScoreLimitOptions& options,
                                   const ProbabilityFunctions& probability) {
  Spreadsheet sheet = TMPCAScoreSpreadsheet(model);
  const PCAEngine& engine = model.engine();
  const std::vector<std::size_t> rows = ModelRows(engine);
  for (const CPCANode& node : engine.Nodes()) {
    const ControlLimitSet limits = ScoreLimitsOf(engine, node.component, options, probability);
    for (std::size_t index = 0; index < rows.size(); ++index) {
      const double score = node.t[rows[index]];
      const bool outside =
          TolerantGreater(score, limits.upper_control) || TolerantLess(score, limits.lower_control);
      if (outside) sheet.highlights.emplace_back(static_cast<int>(index), node.component - 1);
    }
  }
  return sheet;
}

Graph TMPCAScoreControlChart(const CMPCAModel& model,
                             int component,
                             bool markers,
                             const ScoreLimitOptions& options,
                             const ProbabilityFunctions& probability) {
  Graph graph =
      PCAScoreLineplot(model.engine(), model.working_data(), component, options, probability);
  graph.type = markers ? GraphType::kControl : GraphType::kLine;
  graph.x_label = Text(MessageId::kBatchHeader);
  return graph;
}

Spreadsheet TMPCAScoreScatterSpreadsheet(const CMPCAModel& model, int first, int second) {
  const PCAEngine& engine = model.engine();
  const std::vector<std::size_t> rows = ModelRows(engine);
  Spreadsheet sheet = WithBatchRows(CaseRowsSheet(
      FormatMessage(MessageId::kScoreScatterplotTitle, first, second), model.working_data(), rows));
  sheet.subtitles.push_back(ComponentsSubtitle(engine.ComponentCount()));
  sheet.columns = {FormatMessage(MessageId::kScoreLabel, first),
                   FormatMessage(MessageId::kScoreLabel, second)};
  for (std::size_t index = 0; index < rows.size(); ++index) {
    sheet.rows[index].cells = {NumberCell(Node(engine, first).t[rows[index]]),
                               NumberCell(Node(engine, second).t[rows[index]])};
  }
  return sheet;
}

Graph TMPCABatchScoreContribution(const CMPCAModel& model,
                                  std::size_t row,
                                  int component,
                                  std::size_t variable) {
  const PCAEngine& engine = model.engine();
  const std::vector<double> contribution = ComputeScoreContribution(engine, row, component);
  std::vector<double> by_column(contribution.size());
  for (std::size_t col = 0; col < by_column.size(); ++col) {
    by_column[col] = ModelValue(engine, contribution, col);
  }
  return BatchScoreContributionOverTime(model.batch_data(),
                                        by_column,
                                        engine.ComponentCount(),
                                        CaseNumber(model.working_data(), row),
                                        CaseLabel(model.working_data(), row),
                                        component,
                                        variable);
}

Spreadsheet TMPCATrajectorySpreadsheet(const CMPCAModel& model, std::size_t variable) {
  const BatchData& data = model.batch_data();
  const TrajectoryOptions& options = model.time_wise_options().trajectory;
  const DMatrix values = TrajectoryInUnits(model, variable);
  const TrajectoryBands bands = ComputeTrajectoryBands(values, options);
  const std::vector<bool> outside = OutsideControlBand(values, bands);
  const std::vector<std::size_t> rows = ModelRows(model.engine());

  Spreadsheet sheet;
  sheet.title =
      FormatMessage(MessageId::kTrajectorySpreadsheetTitle, data.process_columns[variable].name);
  sheet.subtitles = {FormatMessage(MessageId::kNumberOfBatches, static_cast<int>(rows.size()))};
  sheet.row_header = Text(MessageId::kBatchHeader);
  sheet.columns = data.time_labels;
  const auto statistic_row = [&sheet](MessageId label, const std::vector<double>& values_by_time) {
    ReportRow row{Text(label), {}};
    for (double value : values_by_time) row.cells.push_back(NumberCell(value));
    sheet.rows.push_back(std::move(row));
  };
  statistic_row(MessageId::kColumnMean, bands.mean);
  statistic_row(MessageId::kColumnStdDev, bands.standard_deviation);
  statistic_row(MessageId::kColumnUpperControl, bands.upper_control);
  statistic_row(MessageId::kColumnLowerControl, bands.lower_control);
  if (options.warning_limits) {
    statistic_row(MessageId::kColumnUpperWarning, bands.upper_warning);
    statistic_row(MessageId::kColumnLowerWarning, bands.lower_warning);
  }
  for (std::size_t row : rows) {
    ReportRow batch{CaseLabel(model.working_data(), row), {}};
    for (std::size_t time = 0; time < values.cols(); ++time) {
      batch.cells.push_back(NumberCell(values(row, time)));
      if (outside[row * values.cols() + time]) {
        sheet.highlights.emplace_back(static_cast<int>(sheet.rows.size()), static_cast<int>(time));
      }
    }
    sheet.rows.push_back(std::move(batch));
  }
  return sheet;
}

Graph TMPCATrajectoryPlot(const CMPCAModel& model,
                          std::size_t variable,
                          const std::vector<std::size_t>& batch_rows) {
  const BatchData& data = model.batch_data();
  const TimeWiseReportOptions& options = model.time_wise_options();
  const DMatrix values = TrajectoryInUnits(model, variable);
  const TrajectoryBands bands = ComputeTrajectoryBands(values, options.trajectory);

  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = FormatMessage(MessageId::kTrajectoryPlotTitle, data.process_columns[variable].name);
  graph.subtitles = {FormatMessage(MessageId::kNumberOfBatches,
                                   static_cast<int>(ModelRows(model.engine()).size()))};
  graph.x_label = Text(MessageId::kTimeHeader);
  graph.y_label = Text(MessageId::kTrajectoryAxis);
  GraphSeries mean{Text(MessageId::kColumnMean), {}, bands.mean, {}};
  for (std::size_t time = 0; time < data.num_times; ++time) {
    mean.x.push_back(static_cast<double>(time + 1));
    mean.labels.push_back(TimeName(data, time));
  }
  graph.series.push_back(std::move(mean));
  AddBand(graph,
          MessageId::kTrajectoryControlLegend,
          options.trajectory.control_constant,
          bands.upper_control,
          bands.lower_control,
          options.limits_as_regions);
  if (options.trajectory.warning_limits) {
    AddBand(graph,
            MessageId::kTrajectoryWarningLegend,
            options.trajectory.warning_constant,
            bands.upper_warning,
            bands.lower_warning,
            options.limits_as_regions);
  }
  for (std::size_t row : batch_rows) {
    GraphSeries batch{CaseLabel(model.working_data(), row), {}, {}, {}};
    for (std::size_t time = 0; time < values.cols(); ++time) {
      batch.x.push_back(static_cast<double>(time + 1));
      batch.y.push_back(values(row, time));
    }
    graph.series.push_back(std::move(batch));
  }
  return graph;
}

}  // namespace mspc
