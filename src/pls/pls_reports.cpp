#include "pls/pls_reports.hpp"

#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "frame/report_pieces.hpp"
#include "models/missing.hpp"
#include "models/tolerant.hpp"
#include "pca/contributions.hpp"
#include "pls/pls_engine.hpp"
#include "pls/pls_validation.hpp"

namespace mspc {
namespace {

constexpr double kPercent = 100.0;

double Share(double part, double total) {
  return IsTolerantZero(total) ? kMissingValue : part / total;
}

std::string SignificanceOf(const CPLSNode& node) {
  if (!std::isfinite(node.q2)) return ReportText(MessageId::kSignificanceUnknown);
  return ReportText(IsAccepted(node.status) ? MessageId::kSignificant : MessageId::kNotSignificant);
}

std::vector<std::size_t> Rows(const PLSEngine& engine) {
  return IncludedIndices(engine.ExcludedRows(), engine.Rows());
}
std::vector<std::size_t> XColumns(const PLSEngine& engine) {
  return IncludedIndices(engine.ExcludedXColumns(), engine.XCols());
}
std::vector<std::size_t> YColumns(const PLSEngine& engine) {
  return IncludedIndices(engine.ExcludedYColumns(), engine.YCols());
}

std::string Subtitle(const PLSEngine& engine) {
  return ComponentsSubtitle(engine.ComponentCount());
}

// Rows: the listed indices of `block`; columns: one per component, headed by `label`,
// holding the member vector of each node.
Spreadsheet ComponentSheet(MessageId title,
                           MessageId label,
                           const PLSEngine& engine,
                           const WorkingData& block,
                           const std::vector<std::size_t>& indices,
                           bool cases,
                           std::vector<double> CPLSNode::*member) {
  Spreadsheet sheet = cases ? CaseRowsSheet(ReportText(title), block, indices)
                            : VariableRowsSheet(ReportText(title), block, indices);
  sheet.subtitles.push_back(Subtitle(engine));
  for (const CPLSNode& node : engine.Nodes()) {
    sheet.columns.push_back(FormatMessage(label, node.component));
  }
  for (std::size_t index = 0; index < indices.size(); ++index) {
    for (const CPLSNode& node : engine.Nodes()) {
      sheet.rows[index].cells.push_back(NumberCell((node.*member)[indices[index]]));
    }
  }
  return sheet;
}

struct RowView {
  std::vector<double> residual;  // scaled X residuals, not-a-number where missing
  std::vector<double> scores;    // t per component
};

RowView ViewOf(const PLSEngine& engine, std::size_t row) {
  const DMatrix residuals = engine.XResiduals();
  RowView view;
  for (std::size_t col = 0; col < engine.XCols(); ++col)
    view.residual.push_back(residuals(row, col));
  for (const CPLSNode& node : engine.Nodes()) view.scores.push_back(node.t[row]);
  return view;
}

// The weights R = W (PᵀW)⁻¹ that give the X scores from the undeflated scaled row, t = x R,
// as an A × P matrix (row a: the weights of component a + 1).
DMatrix ScoreWeights(const PLSEngine& engine) {
  const auto& nodes = engine.Nodes();
  const std::size_t components = nodes.size();
  DMatrix system(components, components);  // (PᵀW)ᵀ: entry (a, b) = p_b · w_a
  for (std::size_t a = 0; a < components; ++a) {
    for (std::size_t b = 0; b < components; ++b) {
      double sum = 0.0;
      for (std::size_t col = 0; col < engine.XCols(); ++col)
        sum += nodes[b].p[col] * nodes[a].w[col];
      system(a, b) = sum;
    }
  }
  DMatrix weights(components, engine.XCols());
  for (std::size_t a = 0; a < components; ++a) {
    for (std::size_t col = 0; col < engine.XCols(); ++col) weights(a, col) = nodes[a].w[col];
  }
  SolveLinearSystem(system, weights);
  return weights;
}

// The scaled row rebuilt with every component: residual + sum_a t_a p_a (missing stays so).
std::vector<double> RebuiltRow(const PLSEngine& engine, const RowView& view) {
  std::vector<double> rebuilt = view.residual;
  for (std::size_t a = 0; a < engine.Nodes().size(); ++a) {
    for (std::size_t col = 0; col < rebuilt.size(); ++col) {
      rebuilt[col] += view.scores[a] * engine.Nodes()[a].p[col];
    }
  }
  return rebuilt;
}

// c_j = (1 / T²) sum_a (t_a / s_a²) x_j r_aj: with complete data the shares add up to 1,
// because t_a = sum_j x_j r_aj. Without a positive T² the factor 1 / T² is not applied.
std::vector<double> T2ContributionValues(const PLSEngine& engine, std::size_t row) {
  const RowView view = ViewOf(engine, row);
  const std::vector<double> x = RebuiltRow(engine, view);
  const DMatrix weights = ScoreWeights(engine);
  const std::vector<double> deviations = engine.XScoreStandardDeviations();
  double t2 = 0.0;
  for (std::size_t a = 0; a < view.scores.size(); ++a) {
    if (!IsTolerantZero(deviations[a])) t2 += std::pow(view.scores[a] / deviations[a], 2);
  }
  const double factor = TolerantGreater(t2, 0.0) ? 1.0 / t2 : 1.0;
  std::vector<double> values(engine.XCols(), kMissingValue);
  for (std::size_t col = 0; col < engine.XCols(); ++col) {
    if (engine.IsXColumnExcluded(col)) continue;
    double sum = 0.0;
    for (std::size_t a = 0; a < view.scores.size(); ++a) {
      if (IsTolerantZero(deviations[a])) continue;
      sum += view.scores[a] / (deviations[a] * deviations[a]) * x[col] * weights(a, col);
    }
    values[col] = factor * sum;
  }
  return values;
}

// c_j = x_j r_aj: the shares of the X score of component a, adding up to t_a.
std::vector<double> ScoreContributionValues(const PLSEngine& engine,
                                            std::size_t row,
                                            int component) {
  const RowView view = ViewOf(engine, row);
  const std::vector<double> x = RebuiltRow(engine, view);
  const DMatrix weights = ScoreWeights(engine);
  const std::size_t a = static_cast<std::size_t>(component - 1);
  std::vector<double> values(engine.XCols(), kMissingValue);
  for (std::size_t col = 0; col < engine.XCols(); ++col) {
    if (!engine.IsXColumnExcluded(col)) values[col] = x[col] * weights(a, col);
  }
  return values;
}

SPEContribution SPEContributionOf(const PLSEngine& engine, std::size_t row) {
  return ComputeSPEContribution(ViewOf(engine, row).residual, engine.ExcludedXColumns());
}

struct Observation {
  int number;
  std::string name;
};

Observation ObservationOf(const WorkingData& data, std::size_t row) {
  return {CaseNumber(data, row), CaseName(data, row)};
}

}  // namespace

Spreadsheet PLSSummary(const PLSEngine& engine) {
  Spreadsheet sheet;
  sheet.title = ReportText(MessageId::kPLSSummaryTitle);
  sheet.subtitles.push_back(Subtitle(engine));
  sheet.row_header = ReportText(MessageId::kColumnComponentShort);
  for (MessageId column : {MessageId::kColumnR2X,
                           MessageId::kColumnR2XCumulative,
                           MessageId::kColumnR2Y,
                           MessageId::kColumnR2YCumulative,
                           MessageId::kColumnQ2,
                           MessageId::kColumnQ2Cumulative,
                           MessageId::kColumnLimit,
                           MessageId::kColumnIterations,
                           MessageId::kColumnSignificance}) {
    sheet.columns.push_back(ReportText(column));
  }
  for (const CPLSNode& node : engine.Nodes()) {
    sheet.rows.push_back({std::to_string(node.component),
                          {NumberCell(Share(node.explained_ss_x, engine.TotalSSX())),
                           NumberCell(Share(node.cumulative_explained_ss_x, engine.TotalSSX())),
                           NumberCell(Share(node.explained_ss_y, engine.TotalSSY())),
                           NumberCell(Share(node.cumulative_explained_ss_y, engine.TotalSSY())),
                           NumberCell(node.q2),
                           NumberCell(node.q2_cumulative),
                           NumberCell(node.q2_limit),
                           NumberCell(node.iterations),
                           SignificanceOf(node)}});
  }
  if (!engine.Nodes().empty()) {
    const double explained =
        Share(engine.Nodes().back().cumulative_explained_ss_y, engine.TotalSSY());
    if (std::isfinite(explained)) {
      sheet.footnotes.push_back(
          FormatMessage(MessageId::kPLSSummaryFootnote, kPercent * explained));
    }
  }
  return sheet;
}

Graph PLSSummaryOverview(const PLSEngine& engine) {
  Graph graph;
  graph.type = GraphType::kBar;
  graph.title = ReportText(MessageId::kPLSSummaryOverviewTitle);
  graph.subtitles.push_back(Subtitle(engine));
  graph.x_label = ReportText(MessageId::kColumnComponentShort);
  GraphSeries r2x{ReportText(MessageId::kColumnR2XCumulative), {}, {}, {}};
  GraphSeries r2y{ReportText(MessageId::kColumnR2YCumulative), {}, {}, {}};
  GraphSeries q2{ReportText(MessageId::kColumnQ2Cumulative), {}, {}, {}};
  for (const CPLSNode& node : engine.Nodes()) {
    const double component = node.component;
    r2x.x.push_back(component);
    r2x.y.push_back(Share(node.cumulative_explained_ss_x, engine.TotalSSX()));
    r2y.x.push_back(component);
    r2y.y.push_back(Share(node.cumulative_explained_ss_y, engine.TotalSSY()));
    q2.x.push_back(component);
    q2.y.push_back(node.q2_cumulative);
  }
  graph.series = {std::move(r2x), std::move(r2y), std::move(q2)};
  return graph;
}

std::vector<Spreadsheet> PLSDescriptiveStatistics(const PLSReportData& data) {
  return {DescriptiveStatisticsSheet(ReportText(MessageId::kDescriptiveStatisticsPredictors),
                                     data.predictors,
                                     XColumns(data.engine)),
          DescriptiveStatisticsSheet(ReportText(MessageId::kDescriptiveStatisticsDependents),
                                     data.dependents,
                                     YColumns(data.engine))};
}

Spreadsheet PLSXScoreSpreadsheet(const PLSReportData& data) {
  return ComponentSheet(MessageId::kXScoreSpreadsheetTitle,
                        MessageId::kScoreLabel,
                        data.engine,
                        data.predictors,
                        Rows(data.engine),
                        true,
                        &CPLSNode::t);
}

Spreadsheet PLSYScoreSpreadsheet(const PLSReportData& data) {
  return ComponentSheet(MessageId::kYScoreSpreadsheetTitle,
                        MessageId::kYScoreLabel,
                        data.engine,
                        data.dependents,
                        Rows(data.engine),
                        true,
                        &CPLSNode::u);
}

Spreadsheet PLSXWeightSpreadsheet(const PLSReportData& data) {
  return ComponentSheet(MessageId::kXWeightSpreadsheetTitle,
                        MessageId::kXWeightLabel,
                        data.engine,
                        data.predictors,
                        XColumns(data.engine),
                        false,
                        &CPLSNode::w);
}

Spreadsheet PLSXLoadingSpreadsheet(const PLSReportData& data) {
  return ComponentSheet(MessageId::kXLoadingSpreadsheetTitle,
                        MessageId::kLoadingLabel,
                        data.engine,
                        data.predictors,
                        XColumns(data.engine),
                        false,
                        &CPLSNode::p);
}

Spreadsheet PLSYLoadingSpreadsheet(const PLSReportData& data) {
  return ComponentSheet(MessageId::kYLoadingSpreadsheetTitle,
                        MessageId::kYLoadingLabel,
                        data.engine,
                        data.dependents,
                        YColumns(data.engine),
                        false,
                        &CPLSNode::q);
}

std::vector<Spreadsheet> PLSCoefficientSpreadsheets(const PLSReportData& data) {
  const PLSCoefficients coefficients = ComputePLSCoefficients(data.engine);
  const std::vector<std::size_t> x_cols = XColumns(data.engine);
  const std::vector<std::size_t> y_cols = YColumns(data.engine);
  const auto sheet_of = [&](MessageId title, const DMatrix& values) {
    Spreadsheet sheet = VariableRowsSheet(ReportText(title), data.predictors, x_cols);
    sheet.subtitles.push_back(Subtitle(data.engine));
    for (std::size_t k : y_cols) sheet.columns.push_back(ColumnLabel(data.dependents, k));
    for (std::size_t index = 0; index < x_cols.size(); ++index) {
      for (std::size_t k : y_cols) {
        sheet.rows[index].cells.push_back(NumberCell(values(x_cols[index], k)));
      }
    }
    return sheet;
  };
  Spreadsheet scaled = sheet_of(MessageId::kScaledCoefficientsTitle, coefficients.scaled);
  Spreadsheet units = sheet_of(MessageId::kDataCoefficientsTitle, coefficients.data);
  ReportRow intercept{ReportText(MessageId::kRowHeaderIntercept), {}};
  for (std::size_t k : y_cols) intercept.cells.push_back(NumberCell(coefficients.intercept[k]));
  units.rows.push_back(std::move(intercept));
  return {std::move(scaled), std::move(units)};
}

Spreadsheet PLSPredictionSpreadsheet(const PLSReportData& data) {
  const PLSPredictions predictions = ComputePLSPredictions(data.engine);
  const std::vector<std::size_t> rows = Rows(data.engine);
  const std::vector<std::size_t> y_cols = YColumns(data.engine);
  const WorkingData& y = data.dependents;
  Spreadsheet sheet = CaseRowsSheet(ReportText(MessageId::kPredictionsTitle), y, rows);
  sheet.subtitles.push_back(Subtitle(data.engine));
  for (std::size_t k : y_cols) {
    const std::string name = ColumnLabel(y, k);
    sheet.columns.push_back(FormatMessage(MessageId::kObservedColumn, name));
    sheet.columns.push_back(FormatMessage(MessageId::kPredictedColumn, name));
    sheet.columns.push_back(FormatMessage(MessageId::kResidualColumn, name));
  }
  for (std::size_t index = 0; index < rows.size(); ++index) {
    const std::size_t row = rows[index];
    for (std::size_t k : y_cols) {
      sheet.rows[index].cells.push_back(NumberCell(y.x(row, k)));
      sheet.rows[index].cells.push_back(NumberCell(predictions.y_predicted(row, k)));
      sheet.rows[index].cells.push_back(NumberCell(predictions.y_residual(row, k)));
    }
  }
  // A categorical dependent: its dummy columns by source variable, in the order they come.
  std::map<std::size_t, std::vector<std::size_t>> dummies;
  for (std::size_t k : y_cols) {
    if (k < y.column_code.size() && !IsMissing(y.column_code[k])) {
      dummies[y.column_source[k]].push_back(k);
    }
  }
  for (const auto& [source, columns] : dummies) {
    std::vector<double> codes;
    for (std::size_t k : columns) codes.push_back(y.column_code[k]);
    const std::vector<double> classes = PredictClasses(predictions.y_predicted, columns, codes);
    const std::string name =
        source < y.variables.size() ? y.variables[source].name : ColumnLabel(y, columns.front());
    sheet.columns.push_back(FormatMessage(MessageId::kPredictedClassColumn, name));
    for (std::size_t index = 0; index < rows.size(); ++index) {
      sheet.rows[index].cells.push_back(NumberCell(classes[rows[index]]));
    }
  }
  return sheet;
}

std::vector<Spreadsheet> PLSResidualSpreadsheets(const PLSReportData& data) {
  const PLSPredictions predictions = ComputePLSPredictions(data.engine);
  const std::vector<std::size_t> rows = Rows(data.engine);
  Spreadsheet x = CaseByVariableSheet(ReportText(MessageId::kXResidualsTitle),
                                      data.predictors,
                                      rows,
                                      XColumns(data.engine),
                                      predictions.x_residual);
  Spreadsheet y = CaseByVariableSheet(ReportText(MessageId::kYResidualsTitle),
                                      data.dependents,
                                      rows,
                                      YColumns(data.engine),
                                      predictions.y_residual);
  x.subtitles.push_back(Subtitle(data.engine));
  y.subtitles.push_back(Subtitle(data.engine));
  return {std::move(x), std::move(y)};
}

Spreadsheet PLSImportanceSpreadsheet(const PLSReportData& data, bool sorted) {
  Spreadsheet sheet;
  sheet.title = ReportText(MessageId::kVariableImportanceTitle);
  sheet.subtitles.push_back(Subtitle(data.engine));
  sheet.row_header = ReportText(MessageId::kRowHeaderVariable);
  for (MessageId column : {MessageId::kColumnImportance,
                           MessageId::kColumnOneMinusImportance,
                           MessageId::kColumnVIP,
                           MessageId::kColumnCumulativeImportance}) {
    sheet.columns.push_back(ReportText(column));
  }
  const auto importance = ComputeVariableImportance(
      data.engine.Nodes(), data.engine.ExcludedXColumns(), data.predictors.column_names, sorted);
  if (!importance) return sheet;
  for (std::size_t index = 0; index < importance->order.size(); ++index) {
    const std::size_t col = importance->order[index];
    if (data.engine.IsXColumnExcluded(col)) continue;
    sheet.rows.push_back({ColumnLabel(data.predictors, col),
                          {NumberCell(importance->importance[col]),
                           NumberCell(importance->complement[col]),
                           NumberCell(importance->vip[col]),
                           NumberCell(importance->cumulative[index])}});
  }
  return sheet;
}

Graph PLSImportanceGraph(const PLSReportData& data, bool sorted) {
  Graph graph;
  graph.type = GraphType::kBar;
  graph.title = ReportText(MessageId::kVariableImportanceTitle);
  graph.subtitles.push_back(Subtitle(data.engine));
  graph.x_label = ReportText(MessageId::kRowHeaderVariable);
  graph.y_label = ReportText(MessageId::kColumnVIP);
  const auto importance = ComputeVariableImportance(
      data.engine.Nodes(), data.engine.ExcludedXColumns(), data.predictors.column_names, sorted);
  std::vector<std::size_t> order;
  if (importance) {
    for (std::size_t col : importance->order) {
      if (!data.engine.IsXColumnExcluded(col)) order.push_back(col);
    }
  }
  graph.series.push_back(VariableSeries(ReportText(MessageId::kColumnVIP),
                                        data.predictors,
                                        order,
                                        importance ? importance->vip : std::vector<double>{}));
  return graph;
}

Graph PLST2Chart(const PLSReportData& data, const PLSMonitoring& monitoring) {
  return StatisticChart(MessageId::kT2ChartTitle,
                        MessageId::kT2Series,
                        data.engine.ComponentCount(),
                        data.predictors,
                        Rows(data.engine),
                        monitoring.t2,
                        monitoring.t2_limits);
}

Spreadsheet PLST2Spreadsheet(const PLSReportData& data, const PLSMonitoring& monitoring) {
  return StatisticSheet(MessageId::kT2ChartTitle,
                        MessageId::kT2Series,
                        data.engine.ComponentCount(),
                        data.predictors,
                        Rows(data.engine),
                        monitoring.t2,
                        monitoring.t2_limits);
}

Graph PLSSPEChart(const PLSReportData& data, const PLSMonitoring& monitoring) {
  return StatisticChart(MessageId::kSPEChartTitle,
                        MessageId::kSPESeries,
                        data.engine.ComponentCount(),
                        data.predictors,
                        Rows(data.engine),
                        monitoring.spe,
                        monitoring.spe_limits);
}

Spreadsheet PLSSPESpreadsheet(const PLSReportData& data, const PLSMonitoring& monitoring) {
  return StatisticSheet(MessageId::kSPEChartTitle,
                        MessageId::kSPESeries,
                        data.engine.ComponentCount(),
                        data.predictors,
                        Rows(data.engine),
                        monitoring.spe,
                        monitoring.spe_limits);
}

Spreadsheet PLSDistanceSpreadsheet(const PLSReportData& data, const PLSMonitoring& monitoring) {
  const std::vector<std::size_t> rows = Rows(data.engine);
  Spreadsheet sheet =
      CaseRowsSheet(ReportText(MessageId::kDistanceToModelTitle), data.predictors, rows);
  sheet.subtitles.push_back(Subtitle(data.engine));
  sheet.columns.push_back(ReportText(MessageId::kDistanceColumn));
  for (std::size_t index = 0; index < rows.size(); ++index) {
    sheet.rows[index].cells.push_back(NumberCell(monitoring.distance.distance[rows[index]]));
  }
  if (std::isfinite(monitoring.distance.pooled)) {
    sheet.footnotes.push_back(
        FormatMessage(MessageId::kNormalizedDistance, monitoring.distance.pooled));
  }
  return sheet;
}

Graph PLSDistanceBarChart(const PLSReportData& data, const PLSMonitoring& monitoring) {
  Graph graph;
  graph.type = GraphType::kBar;
  graph.title = ReportText(MessageId::kDistanceToModelTitle);
  graph.subtitles.push_back(Subtitle(data.engine));
  graph.x_label = ReportText(data.predictors.row_header);
  graph.y_label = ReportText(MessageId::kDistanceColumn);
  graph.series.push_back(CaseSeries(ReportText(MessageId::kDistanceColumn),
                                    data.predictors,
                                    Rows(data.engine),
                                    monitoring.distance.distance));
  return graph;
}

Spreadsheet PLSScoreLimitSpreadsheet(const PLSReportData& data,
                                     PLSScoreType type,
                                     const ScoreLimitOptions& options,
                                     const ProbabilityFunctions& probability) {
  const std::vector<ControlLimitSet> limits =
      ComputePLSScoreLimits(data.engine, type, options, probability);
  const bool x_scores = type == PLSScoreType::kXScores;
  Spreadsheet sheet;
  sheet.title =
      ReportText(x_scores ? MessageId::kXScoreLimitsTitle : MessageId::kYScoreLimitsTitle);
  sheet.subtitles = {Subtitle(data.engine), FormatScoreLimitSubtitle(options, false)};
  if (options.warning) sheet.subtitles.push_back(FormatScoreLimitSubtitle(options, true));
  sheet.row_header = ReportText(MessageId::kColumnComponent);
  sheet.columns = {ReportText(MessageId::kColumnStdDev),
                   ReportText(MessageId::kColumnUpperControl),
                   ReportText(MessageId::kColumnLowerControl)};
  if (options.warning) {
    sheet.columns.push_back(ReportText(MessageId::kColumnUpperWarning));
    sheet.columns.push_back(ReportText(MessageId::kColumnLowerWarning));
  }
  for (std::size_t a = 0; a < limits.size(); ++a) {
    const ControlLimitSet& set = limits[a];
    const int component = static_cast<int>(a) + 1;
    ReportRow row{
        FormatMessage(x_scores ? MessageId::kScoreLabel : MessageId::kYScoreLabel, component),
        {NumberCell(set.standard_deviation),
         NumberCell(set.upper_control),
         NumberCell(set.lower_control)}};
    if (options.warning) {
      row.cells.push_back(NumberCell(set.upper_warning));
      row.cells.push_back(NumberCell(set.lower_warning));
    }
    sheet.rows.push_back(std::move(row));
  }
  return sheet;
}

Spreadsheet PLST2ContributionSpreadsheet(const PLSReportData& data, std::size_t row) {
  const Observation observation = ObservationOf(data.predictors, row);
  Spreadsheet sheet =
      OneColumnVariableSheet(T2ContributionTitle(observation.number, observation.name),
                             ReportText(MessageId::kT2ContributionHeader),
                             data.predictors,
                             XColumns(data.engine),
                             T2ContributionValues(data.engine, row));
  sheet.subtitles.push_back(Subtitle(data.engine));
  return sheet;
}

Graph PLST2ContributionPlot(const PLSReportData& data, std::size_t row) {
  const Observation observation = ObservationOf(data.predictors, row);
  return VariableBarChart(T2ContributionTitle(observation.number, observation.name),
                          ReportText(MessageId::kContributionSeries),
                          ReportText(MessageId::kT2ContributionHeader),
                          data.engine.ComponentCount(),
                          data.predictors,
                          XColumns(data.engine),
                          T2ContributionValues(data.engine, row));
}

Spreadsheet PLSScoreContributionSpreadsheet(const PLSReportData& data,
                                            std::size_t row,
                                            int component) {
  const Observation observation = ObservationOf(data.predictors, row);
  Spreadsheet sheet =
      OneColumnVariableSheet(ScoreContributionTitle(component, observation.name),
                             ScoreContributionSeries(observation.number, observation.name),
                             data.predictors,
                             XColumns(data.engine),
                             ScoreContributionValues(data.engine, row, component));
  sheet.subtitles.push_back(Subtitle(data.engine));
  return sheet;
}

Graph PLSScoreContributionPlot(const PLSReportData& data, std::size_t row, int component) {
  const Observation observation = ObservationOf(data.predictors, row);
  return VariableBarChart(ScoreContributionTitle(component, observation.name),
                          ScoreContributionSeries(observation.number, observation.name),
                          FormatMessage(MessageId::kScoreLabel, component),
                          data.engine.ComponentCount(),
                          data.predictors,
                          XColumns(data.engine),
                          ScoreContributionValues(data.engine, row, component));
}

Spreadsheet PLSSPEContributionSpreadsheet(const PLSReportData& data, std::size_t row) {
  const Observation observation = ObservationOf(data.predictors, row);
  const SPEContribution contribution = SPEContributionOf(data.engine, row);
  Spreadsheet sheet = VariableRowsSheet(
      SPEContributionTitle(observation.number, observation.name), data.predictors, {});
  sheet.subtitles.push_back(Subtitle(data.engine));
  sheet.columns = {ReportText(MessageId::kSquaredResidualSeries),
                   ReportText(MessageId::kResidualSeries)};
  for (std::size_t index = 0; index < contribution.variables.size(); ++index) {
    sheet.rows.push_back(
        {ColumnLabel(data.predictors, contribution.variables[index]),
         {NumberCell(contribution.squared[index]), NumberCell(contribution.residual[index])}});
  }
  return sheet;
}

Graph PLSSPEContributionPlot(const PLSReportData& data, std::size_t row) {
  const Observation observation = ObservationOf(data.predictors, row);
  const SPEContribution contribution = SPEContributionOf(data.engine, row);
  std::vector<double> squared(data.engine.XCols(), kMissingValue);
  for (std::size_t index = 0; index < contribution.variables.size(); ++index) {
    squared[contribution.variables[index]] = contribution.squared[index];
  }
  return VariableBarChart(SPEContributionTitle(observation.number, observation.name),
                          ReportText(MessageId::kSquaredResidualSeries),
                          ReportText(MessageId::kSPEContributionHeader),
                          data.engine.ComponentCount(),
                          data.predictors,
                          XColumns(data.engine),
                          squared);
}

std::vector<Spreadsheet> PLSVariableStatistics(const PLSReportData& data, int component) {
  const PLSEngine& engine = data.engine;
  const auto& nodes = engine.Nodes();
  const std::size_t last = static_cast<std::size_t>(component);
  const CPLSNode& node = nodes[last - 1];
  const CPLSNode* previous = last >= 2 ? &nodes[last - 2] : nullptr;

  // Shares of each column's total sum of squares, this component's and up to it.
  const auto shares = [&nodes, last](
                          std::vector<double> CPLSNode::*explained, std::size_t col, double total) {
    double cumulative = 0.0;
    for (std::size_t a = 0; a < last; ++a) cumulative += (nodes[a].*explained)[col];
    return std::pair{Share((nodes[last - 1].*explained)[col], total), Share(cumulative, total)};
  };

  const std::vector<std::size_t> x_cols = XColumns(engine);
  Spreadsheet x = VariableRowsSheet(
      FormatMessage(MessageId::kVariableStatisticsTitle, component), data.predictors, x_cols);
  x.subtitles.push_back(Subtitle(engine));
  x.columns = {ReportText(MessageId::kColumnR2X), ReportText(MessageId::kColumnR2XCumulative)};
  for (std::size_t index = 0; index < x_cols.size(); ++index) {
    const std::size_t col = x_cols[index];
    const auto [r2, cumulative] =
        shares(&CPLSNode::explained_ss_x_per_column, col, engine.XColumnTotalSS()[col]);
    x.rows[index].cells = {NumberCell(r2), NumberCell(cumulative)};
  }

  const std::vector<std::size_t> y_cols = YColumns(engine);
  const std::vector<double> q2 =
      ColumnQ2(node, previous, engine.YColumnTotalSS(), engine.ExcludedYColumns());
  Spreadsheet y = VariableRowsSheet(
      FormatMessage(MessageId::kDependentStatisticsTitle, component), data.dependents, y_cols);
  y.subtitles.push_back(Subtitle(engine));
  y.columns = {ReportText(MessageId::kColumnR2Y),
               ReportText(MessageId::kColumnR2YCumulative),
               ReportText(MessageId::kColumnPRESS),
               ReportText(MessageId::kColumnQ2)};
  for (std::size_t index = 0; index < y_cols.size(); ++index) {
    const std::size_t col = y_cols[index];
    const auto [r2, cumulative] =
        shares(&CPLSNode::explained_ss_y_per_column, col, engine.YColumnTotalSS()[col]);
    const double press =
        col < node.press_y_per_column.size() ? node.press_y_per_column[col] : kMissingValue;
    y.rows[index].cells = {
        NumberCell(r2), NumberCell(cumulative), NumberCell(press), NumberCell(q2[col])};
  }
  return {std::move(x), std::move(y)};
}

std::vector<double> PLSScoreContributions(const PLSEngine& engine, std::size_t row, int component) {
  return ScoreContributionValues(engine, row, component);
}

}  // namespace mspc
