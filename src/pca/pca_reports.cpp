#include "pca/pca_reports.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>
#include <system_error>

#include "frame/report_pieces.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"
#include "pca/contributions.hpp"
#include "pca/cross_validation.hpp"
#include "pca/pca_engine.hpp"

namespace mspc {
namespace {

constexpr double kPercent = 100.0;
constexpr int kDefaultPlotComponents = 2;

std::string Text(MessageId id) { return ReportText(id); }

ReportCell Number(double value) { return NumberCell(value); }

std::vector<std::size_t> ModelRows(const PCAEngine& engine) {
  return IncludedIndices(engine.ExcludedRows(), engine.Rows());
}

std::vector<std::size_t> ModelColumns(const PCAEngine& engine) {
  return IncludedIndices(engine.ExcludedVariables(), engine.Cols());
}

std::string ComponentsSubtitle(const PCAEngine& engine) {
  return mspc::ComponentsSubtitle(engine.ComponentCount());
}

Spreadsheet VariableSheet(std::string title, const PCAEngine& engine, const WorkingData& data) {
  return VariableRowsSheet(std::move(title), data, ModelColumns(engine));
}

Spreadsheet CaseSheet(std::string title, const PCAEngine& engine, const WorkingData& data) {
  return CaseRowsSheet(std::move(title), data, ModelRows(engine));
}

GraphSeries CaseSeries(std::string name,
                       const PCAEngine& engine,
                       const WorkingData& data,
                       const std::vector<double>& values) {
  return mspc::CaseSeries(std::move(name), data, ModelRows(engine), values);
}

GraphSeries VariableSeries(std::string name,
                           const PCAEngine& engine,
                           const WorkingData& data,
                           const std::vector<double>& values) {
  return mspc::VariableSeries(std::move(name), data, ModelColumns(engine), values);
}

const CPCANode& Node(const PCAEngine& engine, int component) {
  return engine.Nodes()[static_cast<std::size_t>(component - 1)];
}

std::vector<double> ComponentScores(const PCAEngine& engine, int component) {
  std::vector<double> scores = Node(engine, component).t;
  for (std::size_t row = 0; row < scores.size(); ++row) {
    if (engine.IsRowExcluded(row)) scores[row] = kMissingValue;
  }
  return scores;
}

ControlLimitSet T2Limits(const PCAEngine& engine,
                         const ChartLimitOptions& options,
                         const ProbabilityFunctions& probability) {
  return ComputeT2Limits(options, engine.ActiveRows(), engine.ComponentCount(), probability);
}

Graph StatisticChart(MessageId title,
                     MessageId series,
                     const PCAEngine& engine,
                     const WorkingData& data,
                     const std::vector<double>& values,
                     const ControlLimitSet& limits) {
  return mspc::StatisticChart(
      title, series, engine.ComponentCount(), data, ModelRows(engine), values, limits);
}

Spreadsheet StatisticSheet(MessageId title,
                           MessageId column,
                           const PCAEngine& engine,
                           const WorkingData& data,
                           const std::vector<double>& values,
                           const ControlLimitSet& limits) {
  return mspc::StatisticSheet(
      title, column, engine.ComponentCount(), data, ModelRows(engine), values, limits);
}

// The observation of a contribution report: its host case number and its name (may be empty).
struct Observation {
  int number;
  std::string name;
};

Observation ObservationOf(const WorkingData& data, std::size_t row) {
  return {CaseNumber(data, row), CaseName(data, row)};
}

Spreadsheet OneColumnVariableSheet(std::string title,
                                   std::string column,
                                   const PCAEngine& engine,
                                   const WorkingData& data,
                                   const std::vector<double>& values) {
  return mspc::OneColumnVariableSheet(
      std::move(title), std::move(column), data, ModelColumns(engine), values);
}

Graph VariableBarChart(std::string title,
                       std::string series,
                       std::string y_label,
                       const PCAEngine& engine,
                       const WorkingData& data,
                       const std::vector<double>& values) {
  return mspc::VariableBarChart(std::move(title),
                                std::move(series),
                                std::move(y_label),
                                engine.ComponentCount(),
                                data,
                                ModelColumns(engine),
                                values);
}

// The T² contribution spread over all K columns (not-a-number for excluded variables).
std::vector<double> T2ContributionByColumn(const PCAEngine& engine, std::size_t row) {
  const T2Contribution contribution = ComputeT2Contribution(engine, row);
  std::vector<double> values(engine.Cols(), kMissingValue);
  for (std::size_t index = 0; index < contribution.variables.size(); ++index) {
    values[contribution.variables[index]] = contribution.values[index];
  }
  return values;
}

struct SPEContributionColumns {
  std::vector<double> squared;
  std::vector<double> residual;
};

SPEContributionColumns SPEContributionByColumn(const PCAEngine& engine, std::size_t row) {
  const SPEContribution contribution = ComputeSPEContribution(engine, row);
  SPEContributionColumns columns{std::vector<double>(engine.Cols(), kMissingValue),
                                 std::vector<double>(engine.Cols(), kMissingValue)};
  for (std::size_t index = 0; index < contribution.variables.size(); ++index) {
    columns.squared[contribution.variables[index]] = contribution.squared[index];
    columns.residual[contribution.variables[index]] = contribution.residual[index];
  }
  return columns;
}

// A matrix report over observations and model variables (residuals, scaled data).
Spreadsheet CaseByVariableSheet(std::string title,
                                const PCAEngine& engine,
                                const WorkingData& data,
                                const DMatrix& values) {
  return mspc::CaseByVariableSheet(
      std::move(title), data, ModelRows(engine), ModelColumns(engine), values);
}

// The residual SS of column `col` after the first `components` components: the residual of
// the model with the later components added back.
double ResidualSSAfter(const PCAEngine& engine, std::size_t col, int components) {
  double sum = 0.0;
  for (std::size_t row = 0; row < engine.Rows(); ++row) {
    if (!engine.IsValidCell(row, col)) continue;
    double residual = engine.Residual(row, col);
    for (std::size_t b = engine.Nodes().size(); b-- > static_cast<std::size_t>(components);) {
      residual += engine.Nodes()[b].t[row] * engine.Nodes()[b].p[col];
    }
    sum += residual * residual;
  }
  return sum;
}

bool ParseCaseNumber(std::string_view text, int& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

}  // namespace

std::optional<ReportRefusal> ResolveComponentsToPlot(const std::vector<int>& requested,
                                                     int components,
                                                     std::vector<int>& resolved) {
  resolved.clear();
  if (requested.empty()) {
    for (int component = 1; component <= std::min(components, kDefaultPlotComponents);
         ++component) {
      resolved.push_back(component);
    }
    return std::nullopt;
  }
  const bool fits = requested.size() <= 2 &&
                    std::all_of(requested.begin(), requested.end(), [components](int component) {
                      return component >= 1 && component <= components;
                    });
  if (!fits) {
    return ReportRefusal{MessageId::kComponentsToPlotOutOfRange,
                         FormatMessage(MessageId::kComponentsToPlotOutOfRange, components)};
  }
  resolved = requested;
  return std::nullopt;
}

std::optional<ReportRefusal> ResolveObservation(const PCAEngine& engine,
                                                const WorkingData& data,
                                                std::string_view observation,
                                                std::size_t& row) {
  // The most out-of-control observation: the largest T², or the largest SPE(Q) when the model
  // has no component to give a T².
  const std::vector<double> statistic =
      engine.ComponentCount() > 0 ? ComputeModelT2(engine) : ComputeModelSPE(engine);
  return ResolveObservation(ModelRows(engine), data, observation, statistic, row);
}

std::optional<ReportRefusal> ResolveObservation(const std::vector<std::size_t>& rows,
                                                const WorkingData& data,
                                                std::string_view observation,
                                                const std::vector<double>& statistic,
                                                std::size_t& row) {
  if (observation.empty() && !rows.empty()) {
    // Ties keep the earlier row.
    row = rows.front();
    for (std::size_t candidate : rows) {
      if (TolerantGreater(statistic[candidate], statistic[row])) row = candidate;
    }
    return std::nullopt;
  }
  // A case name comes first; a text that names no case is read as a host case number.
  for (std::size_t candidate : rows) {
    if (CaseName(data, candidate) == observation) {
      row = candidate;
      return std::nullopt;
    }
  }
  int number = 0;
  if (ParseCaseNumber(observation, number)) {
    for (std::size_t candidate : rows) {
      if (CaseNumber(data, candidate) == number) {
        row = candidate;
        return std::nullopt;
      }
    }
  }
  return ReportRefusal{MessageId::kObservationNotInModel,
                       FormatMessage(MessageId::kObservationNotInModel, observation)};
}

std::vector<double> ComputeModelT2(const PCAEngine& engine) {
  return ComputeHotellingT2(
      engine.Scores(), engine.ScoreStandardDeviations(), engine.ExcludedRows());
}

std::vector<double> ComputeModelSPE(const PCAEngine& engine) {
  return ComputeSPE(engine.Residuals(), engine.ExcludedRows(), engine.ExcludedVariables());
}

DistanceToModel ComputeModelDistance(const PCAEngine& engine) {
  return ComputeDistanceToModel(engine.Residuals(),
                                engine.ExcludedRows(),
                                engine.ExcludedVariables(),
                                engine.ActiveRows(),
                                engine.ActiveVariables(),
                                engine.ComponentCount());
}

Spreadsheet PCASummary(const PCAEngine& engine) {
  Spreadsheet sheet;
  sheet.title = Text(MessageId::kPCASummaryTitle);
  sheet.subtitles.push_back(ComponentsSubtitle(engine));
  sheet.row_header = Text(MessageId::kColumnComponentShort);
  for (MessageId column : {MessageId::kColumnR2X,
                           MessageId::kColumnR2XCumulative,
                           MessageId::kColumnEigenvalues,
                           MessageId::kColumnQ2,
                           MessageId::kColumnQ2Cumulative,
                           MessageId::kColumnLimit,
                           MessageId::kColumnIterations,
                           MessageId::kColumnSignificance}) {
    sheet.columns.push_back(Text(column));
  }
  for (const CPCANode& node : engine.Nodes()) {
    sheet.rows.push_back({std::to_string(node.component),
                          {Number(engine.R2X(node)),
                           Number(engine.R2XCumulative(node)),
                           Number(node.eigenvalue),
                           Number(node.q2),
                           Number(node.q2_cumulative),
                           Number(node.limit),
                           Number(node.iterations),
                           std::string(SignificanceText(node.significance))}});
  }
  if (!engine.Nodes().empty()) {
    sheet.footnotes.push_back(FormatMessage(
        MessageId::kPCASummaryFootnote, kPercent * engine.R2XCumulative(engine.Nodes().back())));
  }
  return sheet;
}

Graph PCASummaryOverview(const PCAEngine& engine) {
  Graph graph;
  graph.type = GraphType::kBar;
  graph.title = Text(MessageId::kPCASummaryOverviewTitle);
  graph.subtitles.push_back(ComponentsSubtitle(engine));
  graph.x_label = Text(MessageId::kColumnComponentShort);
  GraphSeries r2x{Text(MessageId::kColumnR2XCumulative), {}, {}, {}};
  GraphSeries q2{Text(MessageId::kColumnQ2Cumulative), {}, {}, {}};
  for (const CPCANode& node : engine.Nodes()) {
    r2x.x.push_back(node.component);
    r2x.y.push_back(engine.R2XCumulative(node));
    q2.x.push_back(node.component);
    q2.y.push_back(node.q2_cumulative);
  }
  graph.series = {std::move(r2x), std::move(q2)};
  return graph;
}

Spreadsheet PCADescriptiveStatistics(const PCAEngine& engine, const WorkingData& data) {
  return DescriptiveStatisticsSheet(
      Text(MessageId::kDescriptiveStatisticsTitle), data, ModelColumns(engine));
}

Spreadsheet PCAEigenvalues(const PCAEngine& engine, const WorkingData& data) {
  // S = sum_j (s_j / f_j)²: the total variance of the scaled variables (K under unit scaling).
  double sum_of_variance = 0.0;
  for (std::size_t col : ModelColumns(engine)) {
    if (col >= data.standard_deviation.size() || col >= data.scale.size()) continue;
    const double deviation = data.standard_deviation[col];
    const double scale = data.scale[col];
    const double scaled = IsTolerantZero(scale) ? deviation : deviation / scale;
    sum_of_variance += scaled * scaled;
  }
  Spreadsheet sheet;
  sheet.title = Text(MessageId::kPCAEigenvaluesTitle);
  sheet.subtitles = {FormatMessage(MessageId::kPCASumOfVariance, sum_of_variance),
                     ComponentsSubtitle(engine)};
  sheet.row_header = Text(MessageId::kColumnComponent);
  for (MessageId column : {MessageId::kColumnEigenvalues,
                           MessageId::kColumnPercentTotalVariance,
                           MessageId::kColumnCumulativeEigenvalue,
                           MessageId::kColumnCumulativePercent}) {
    sheet.columns.push_back(Text(column));
  }
  const bool has_variance = !IsTolerantZero(sum_of_variance);
  double cumulative = 0.0;
  for (const CPCANode& node : engine.Nodes()) {
    cumulative += node.eigenvalue;
    const double share =
        has_variance ? kPercent * node.eigenvalue / sum_of_variance : kMissingValue;
    const double cumulative_share =
        has_variance ? kPercent * cumulative / sum_of_variance : kMissingValue;
    sheet.rows.push_back(
        {std::to_string(node.component),
         {Number(node.eigenvalue), Number(share), Number(cumulative), Number(cumulative_share)}});
  }
  return sheet;
}

Graph PCAScreePlot(const PCAEngine& engine, int count) {
  std::vector<double> eigenvalues;
  for (const CPCANode& node : engine.Nodes()) eigenvalues.push_back(node.eigenvalue);
  const int wanted =
      count > 0 ? std::min(count, engine.MaxComponentsAllowed()) : engine.ComponentCount();
  if (wanted > engine.ComponentCount()) {
    // The eigenvalues past the model's components are those of the components a fixed-number
    // fit would add next; they are fitted on a copy so that the model stays as it is.
    PCAEngine extended = engine;
    PCAFitOptions options = engine.Options();
    options.component_mode = ComponentMode::FixedNumberOfComponents;
    options.max_components = wanted;
    extended.SetOptions(options);
    extended.AutoFit();
    for (std::size_t a = eigenvalues.size(); a < extended.Nodes().size(); ++a) {
      eigenvalues.push_back(extended.Nodes()[a].eigenvalue);
    }
  }
  eigenvalues.resize(std::min(eigenvalues.size(), static_cast<std::size_t>(std::max(wanted, 0))));

  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = Text(MessageId::kScreePlotTitle);
  graph.subtitles.push_back(ComponentsSubtitle(engine));
  graph.x_label = Text(MessageId::kColumnComponent);
  graph.y_label = Text(MessageId::kColumnEigenvalues);
  GraphSeries series{Text(MessageId::kColumnEigenvalues), {}, eigenvalues, {}};
  for (std::size_t a = 0; a < eigenvalues.size(); ++a)
    series.x.push_back(static_cast<double>(a + 1));
  graph.series.push_back(std::move(series));
  return graph;
}

Spreadsheet PCAVariableImportance(const PCAEngine& engine, const WorkingData& data, bool sorted) {
  struct Entry {
    std::size_t col;
    double unexplained;  // r_j
  };
  std::vector<Entry> entries;
  for (std::size_t col : ModelColumns(engine)) {
    // Welford's sum of squared deviations of the residuals from their mean.
    std::size_t count = 0;
    double mean = 0.0;
    double m2 = 0.0;
    for (std::size_t row = 0; row < engine.Rows(); ++row) {
      if (!engine.IsValidCell(row, col)) continue;
      const double residual = engine.Residual(row, col);
      ++count;
      const double delta = residual - mean;
      mean += delta / static_cast<double>(count);
      m2 += delta * (residual - mean);
    }
    const double total = engine.VariableTotalSS()[col];
    // A column without a sum of squares has nothing left to explain.
    entries.push_back({col, IsTolerantZero(total) ? 0.0 : m2 / total});
  }
  if (sorted) {
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
      return TolerantLess(a.unexplained, b.unexplained);
    });
  }
  Spreadsheet sheet;
  sheet.title = Text(MessageId::kVariableImportanceTitle);
  sheet.subtitles.push_back(ComponentsSubtitle(engine));
  sheet.row_header = Text(MessageId::kRowHeaderVariable);
  sheet.columns = {Text(MessageId::kColumnPower), Text(MessageId::kColumnImportance)};
  for (const Entry& entry : entries) {
    sheet.rows.push_back({ColumnLabel(data, entry.col),
                          {Number(entry.unexplained), Number(1.0 - entry.unexplained)}});
  }
  return sheet;
}

Spreadsheet PCALoadingSpreadsheet(const PCAEngine& engine, const WorkingData& data) {
  Spreadsheet sheet = VariableSheet(Text(MessageId::kLoadingSpreadsheetTitle), engine, data);
  sheet.subtitles.push_back(ComponentsSubtitle(engine));
  for (const CPCANode& node : engine.Nodes()) {
    sheet.columns.push_back(FormatMessage(MessageId::kLoadingLabel, node.component));
  }
  const std::vector<std::size_t> cols = ModelColumns(engine);
  for (std::size_t index = 0; index < cols.size(); ++index) {
    for (const CPCANode& node : engine.Nodes()) {
      sheet.rows[index].cells.push_back(Number(node.p[cols[index]]));
    }
  }
  return sheet;
}

Graph PCALoadingLineplot(const PCAEngine& engine, const WorkingData& data, int component) {
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = FormatMessage(MessageId::kLoadingLineplotTitle, component);
  graph.subtitles.push_back(ComponentsSubtitle(engine));
  graph.x_label = Text(MessageId::kRowHeaderVariable);
  graph.y_label = FormatMessage(MessageId::kLoadingLabel, component);
  graph.series.push_back(VariableSeries(graph.y_label, engine, data, Node(engine, component).p));
  return graph;
}

Graph PCALoadingScatterplot(const PCAEngine& engine,
                            const WorkingData& data,
                            int first,
                            int second) {
  Graph graph;
  graph.type = GraphType::kScatter;
  graph.title = FormatMessage(MessageId::kLoadingScatterplotTitle, first, second);
  graph.subtitles.push_back(ComponentsSubtitle(engine));
  graph.x_label = FormatMessage(MessageId::kLoadingLabel, first);
  graph.y_label = FormatMessage(MessageId::kLoadingLabel, second);
  GraphSeries series;
  series.name = FormatMessage(MessageId::kLoadingPairLabel, first, second);
  for (std::size_t col : ModelColumns(engine)) {
    series.x.push_back(Node(engine, first).p[col]);
    series.y.push_back(Node(engine, second).p[col]);
    series.labels.push_back(ColumnLabel(data, col));
  }
  graph.series.push_back(std::move(series));
  return graph;
}

Spreadsheet PCAScoreSpreadsheet(const PCAEngine& engine, const WorkingData& data) {
  Spreadsheet sheet = CaseSheet(Text(MessageId::kScoreSpreadsheetTitle), engine, data);
  sheet.subtitles.push_back(ComponentsSubtitle(engine));
  for (const CPCANode& node : engine.Nodes()) {
    sheet.columns.push_back(FormatMessage(MessageId::kScoreLabel, node.component));
  }
  const std::vector<std::size_t> rows = ModelRows(engine);
  for (std::size_t index = 0; index < rows.size(); ++index) {
    for (const CPCANode& node : engine.Nodes()) {
      sheet.rows[index].cells.push_back(Number(node.t[rows[index]]));
    }
  }
  return sheet;
}

Graph PCAScoreLineplot(const PCAEngine& engine,
                       const WorkingData& data,
                       int component,
                       const ScoreLimitOptions& options,
                       const ProbabilityFunctions& probability) {
  const std::vector<double> scores = ComponentScores(engine, component);
  const ControlLimitSet limits =
      ComputeScoreLimits(scores, engine.ActiveRows(), options, probability);
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = FormatMessage(MessageId::kScoreLineplotTitle, component);
  graph.subtitles = {
      ComponentsSubtitle(engine),
      FormatMessage(MessageId::kScoreStandardDeviation, component, limits.standard_deviation),
      FormatScoreLimitSubtitle(options, /*warning=*/false)};
  if (options.warning) graph.subtitles.push_back(FormatScoreLimitSubtitle(options, true));
  graph.x_label = Text(data.row_header);
  graph.y_label = FormatMessage(MessageId::kScoreLabel, component);
  graph.series.push_back(CaseSeries(graph.y_label, engine, data, scores));
  AddScoreLimitLines(graph, limits, options.warning);
  return graph;
}

Graph PCAScoreScatterplot(const PCAEngine& engine,
                          const WorkingData& data,
                          int first,
                          int second,
                          const ScoreLimitOptions& options,
                          const ProbabilityFunctions& probability) {
  const std::vector<double> x = ComponentScores(engine, first);
  const std::vector<double> y = ComponentScores(engine, second);
  const int observations = engine.ActiveRows();
  Graph graph;
  graph.type = GraphType::kScatter;
  graph.title = FormatMessage(MessageId::kScoreScatterplotTitle, first, second);
  graph.subtitles = {
      ComponentsSubtitle(engine),
      FormatMessage(MessageId::kScoreStandardDeviation,
                    first,
                    ComputeScoreLimits(x, observations, options, probability).standard_deviation),
      FormatMessage(MessageId::kScoreStandardDeviation,
                    second,
                    ComputeScoreLimits(y, observations, options, probability).standard_deviation),
      FormatScoreLimitSubtitle(options, /*warning=*/false)};
  if (options.warning) graph.subtitles.push_back(FormatScoreLimitSubtitle(options, true));
  graph.x_label = FormatMessage(MessageId::kScoreLabel, first);
  graph.y_label = FormatMessage(MessageId::kScoreLabel, second);
  GraphSeries series;
  series.name = FormatMessage(MessageId::kScorePairLabel, first, second);
  for (std::size_t row : ModelRows(engine)) {
    series.x.push_back(x[row]);
    series.y.push_back(y[row]);
    series.labels.push_back(CaseLabel(data, row));
  }
  graph.series.push_back(std::move(series));
  return graph;
}

Graph PCAT2Chart(const PCAEngine& engine,
                 const WorkingData& data,
                 const ChartLimitOptions& options,
                 const ProbabilityFunctions& probability) {
  return StatisticChart(MessageId::kT2ChartTitle,
                        MessageId::kT2Series,
                        engine,
                        data,
                        ComputeModelT2(engine),
                        T2Limits(engine, options, probability));
}

Spreadsheet PCAT2Spreadsheet(const PCAEngine& engine,
                             const WorkingData& data,
                             const ChartLimitOptions& options,
                             const ProbabilityFunctions& probability) {
  return StatisticSheet(MessageId::kT2ChartTitle,
                        MessageId::kT2Series,
                        engine,
                        data,
                        ComputeModelT2(engine),
                        T2Limits(engine, options, probability));
}

Graph PCASPEChart(const PCAEngine& engine,
                  const WorkingData& data,
                  const ChartLimitOptions& options,
                  const ProbabilityFunctions& probability) {
  const std::vector<double> spe = ComputeModelSPE(engine);
  return StatisticChart(MessageId::kSPEChartTitle,
                        MessageId::kSPESeries,
                        engine,
                        data,
                        spe,
                        ComputeSPELimits(spe, options, probability));
}

Spreadsheet PCASPESpreadsheet(const PCAEngine& engine,
                              const WorkingData& data,
                              const ChartLimitOptions& options,
                              const ProbabilityFunctions& probability) {
  const std::vector<double> spe = ComputeModelSPE(engine);
  return StatisticSheet(MessageId::kSPEChartTitle,
                        MessageId::kSPESeries,
                        engine,
                        data,
                        spe,
                        ComputeSPELimits(spe, options, probability));
}

Spreadsheet PCADistanceSpreadsheet(const PCAEngine& engine, const WorkingData& data) {
  const DistanceToModel distance = ComputeModelDistance(engine);
  Spreadsheet sheet = CaseSheet(Text(MessageId::kDistanceToModelTitle), engine, data);
  sheet.subtitles.push_back(ComponentsSubtitle(engine));
  sheet.columns.push_back(Text(MessageId::kDistanceColumn));
  const std::vector<std::size_t> rows = ModelRows(engine);
  for (std::size_t index = 0; index < rows.size(); ++index) {
    sheet.rows[index].cells.push_back(Number(distance.distance[rows[index]]));
  }
  if (std::isfinite(distance.pooled)) {
    sheet.footnotes.push_back(FormatMessage(MessageId::kNormalizedDistance, distance.pooled));
  }
  return sheet;
}

Graph PCADistanceBarChart(const PCAEngine& engine, const WorkingData& data) {
  Graph graph;
  graph.type = GraphType::kBar;
  graph.title = Text(MessageId::kDistanceToModelTitle);
  graph.subtitles.push_back(ComponentsSubtitle(engine));
  graph.x_label = Text(data.row_header);
  graph.y_label = Text(MessageId::kDistanceColumn);
  graph.series.push_back(CaseSeries(
      Text(MessageId::kDistanceColumn), engine, data, ComputeModelDistance(engine).distance));
  return graph;
}

Spreadsheet PCAResiduals(const PCAEngine& engine, const WorkingData& data) {
  Spreadsheet sheet =
      CaseByVariableSheet(Text(MessageId::kPCAResidualsTitle), engine, data, engine.Residuals());
  sheet.subtitles.push_back(ComponentsSubtitle(engine));
  return sheet;
}

Spreadsheet PCAScaledData(const PCAEngine& engine, const WorkingData& data) {
  return CaseByVariableSheet(Text(MessageId::kScaledDataTitle), engine, data, engine.ScaledInput());
}

Spreadsheet PCAT2ContributionSpreadsheet(const PCAEngine& engine,
                                         const WorkingData& data,
                                         std::size_t row) {
  const Observation observation = ObservationOf(data, row);
  Spreadsheet sheet =
      OneColumnVariableSheet(T2ContributionTitle(observation.number, observation.name),
                             Text(MessageId::kT2ContributionHeader),
                             engine,
                             data,
                             T2ContributionByColumn(engine, row));
  sheet.subtitles.push_back(ComponentsSubtitle(engine));
  return sheet;
}

Graph PCAT2ContributionPlot(const PCAEngine& engine, const WorkingData& data, std::size_t row) {
  const Observation observation = ObservationOf(data, row);
  return VariableBarChart(T2ContributionTitle(observation.number, observation.name),
                          Text(MessageId::kContributionSeries),
                          Text(MessageId::kT2ContributionHeader),
                          engine,
                          data,
                          T2ContributionByColumn(engine, row));
}

Spreadsheet PCAScoreContributionSpreadsheet(const PCAEngine& engine,
                                            const WorkingData& data,
                                            std::size_t row,
                                            int component) {
  const Observation observation = ObservationOf(data, row);
  Spreadsheet sheet =
      OneColumnVariableSheet(ScoreContributionTitle(component, observation.name),
                             ScoreContributionSeries(observation.number, observation.name),
                             engine,
                             data,
                             ComputeScoreContribution(engine, row, component));
  sheet.subtitles.push_back(ComponentsSubtitle(engine));
  return sheet;
}

Graph PCAScoreContributionPlot(const PCAEngine& engine,
                               const WorkingData& data,
                               std::size_t row,
                               int component) {
  const Observation observation = ObservationOf(data, row);
  return VariableBarChart(ScoreContributionTitle(component, observation.name),
                          ScoreContributionSeries(observation.number, observation.name),
                          FormatMessage(MessageId::kScoreLabel, component),
                          engine,
                          data,
                          ComputeScoreContribution(engine, row, component));
}

Spreadsheet PCASPEContributionSpreadsheet(const PCAEngine& engine,
                                          const WorkingData& data,
                                          std::size_t row) {
  const Observation observation = ObservationOf(data, row);
  const SPEContributionColumns contribution = SPEContributionByColumn(engine, row);
  Spreadsheet sheet =
      VariableSheet(SPEContributionTitle(observation.number, observation.name), engine, data);
  sheet.subtitles.push_back(ComponentsSubtitle(engine));
  sheet.columns = {Text(MessageId::kSquaredResidualSeries), Text(MessageId::kResidualSeries)};
  const std::vector<std::size_t> cols = ModelColumns(engine);
  for (std::size_t index = 0; index < cols.size(); ++index) {
    sheet.rows[index].cells = {Number(contribution.squared[cols[index]]),
                               Number(contribution.residual[cols[index]])};
  }
  return sheet;
}

Graph PCASPEContributionPlot(const PCAEngine& engine, const WorkingData& data, std::size_t row) {
  const Observation observation = ObservationOf(data, row);
  return VariableBarChart(SPEContributionTitle(observation.number, observation.name),
                          Text(MessageId::kSquaredResidualSeries),
                          Text(MessageId::kSPEContributionHeader),
                          engine,
                          data,
                          SPEContributionByColumn(engine, row).squared);
}

Spreadsheet PCAVariableStatistics(const PCAEngine& engine, const WorkingData& data, int component) {
  Spreadsheet sheet =
      VariableSheet(FormatMessage(MessageId::kVariableStatisticsTitle, component), engine, data);
  sheet.subtitles.push_back(ComponentsSubtitle(engine));
  sheet.columns = {Text(MessageId::kColumnR2X),
                   Text(MessageId::kColumnR2XCumulative),
                   Text(MessageId::kColumnPRESS),
                   Text(MessageId::kColumnQ2)};
  const CPCANode& node = Node(engine, component);
  const std::vector<std::size_t> cols = ModelColumns(engine);
  for (std::size_t index = 0; index < cols.size(); ++index) {
    const std::size_t col = cols[index];
    const double total = engine.VariableTotalSS()[col];
    const bool has_total = !IsTolerantZero(total);
    // Explained shares as 1 - residual SS / total SS, like the summary's R²X: the squares of the
    // rank-one pieces do not add up exactly when the loadings are not exactly orthogonal.
    const double after = ResidualSSAfter(engine, col, component);
    const double before = ResidualSSAfter(engine, col, component - 1);
    sheet.rows[index].cells = {Number(has_total ? (before - after) / total : kMissingValue),
                               Number(has_total ? 1.0 - after / total : kMissingValue),
                               Number(node.press_per_variable[col]),
                               Number(node.q2_per_variable[col])};
  }
  return sheet;
}

}  // namespace mspc
