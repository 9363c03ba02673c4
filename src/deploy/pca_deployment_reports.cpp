#include "deploy/pca_deployment_reports.hpp"

#include <cmath>

#include "frame/report_pieces.hpp"
#include "host/messages.hpp"
#include "models/monitoring.hpp"

namespace mspc {
namespace {

std::string Text(MessageId id) { return std::string(MessageText(id)); }

std::string CaseLabel(const DeployedCases& cases, std::size_t row) {
  return DeployedCaseLabel(cases, row);
}

GraphSeries CaseSeries(std::string name,
                       const DeployedCases& cases,
                       const std::vector<double>& values) {
  GraphSeries series;
  series.name = std::move(name);
  for (std::size_t row = 0; row < values.size(); ++row) {
    series.x.push_back(cases.numbers[row]);
    series.y.push_back(values[row]);
    series.labels.push_back(CaseLabel(cases, row));
  }
  return series;
}

void AddSubtitle(std::vector<std::string>& subtitles, const std::string& model_name) {
  if (!model_name.empty())
    subtitles.push_back(FormatMessage(MessageId::kDeployModelSubtitle, model_name));
}

bool Above(double value, double line) {
  return std::isfinite(value) && std::isfinite(line) && value > line;
}

ReportCell Cell(double value) {
  if (std::isnan(value)) return std::monostate{};
  return value;
}

}  // namespace

std::string DeployedColumnName(const std::vector<DocumentField>& fields,
                               const DocumentColumn& column) {
  const DocumentField& field = fields[column.field];
  std::string name = field.name;
  if (field.categorical) {
    for (std::size_t c = 0; c < field.category_codes.size(); ++c) {
      if (field.category_codes[c] == column.code) name += ": " + field.category_labels[c];
    }
  }
  return name;
}

Spreadsheet DeployedColumnSheet(MessageId title,
                                const std::vector<DocumentField>& fields,
                                const std::vector<DocumentColumn>& columns,
                                const DeployedCases& cases,
                                const std::vector<std::size_t>& flagged) {
  Spreadsheet sheet;
  sheet.title = Text(title);
  sheet.row_header = Text(MessageId::kRowHeaderCase);
  for (const DocumentColumn& column : columns) {
    sheet.columns.push_back(DeployedColumnName(fields, column));
  }
  for (std::size_t row : flagged) sheet.rows.push_back({CaseLabel(cases, row), {}});
  return sheet;
}

bool AboveLine(double value, double line) { return Above(value, line); }

ReportCell DeployedCell(double value) { return Cell(value); }

std::string DeployedCaseLabel(const DeployedCases& cases, std::size_t row) {
  if (row < cases.names.size() && !cases.names[row].empty()) return cases.names[row];
  return std::to_string(cases.numbers[row]);
}

Graph DeployedStatisticChart(MessageId title,
                             MessageId series,
                             const std::vector<double>& values,
                             const ControlLimitSet& limits,
                             const DeployedCases& cases,
                             const std::string& model_name) {
  Graph graph;
  graph.type = GraphType::kControl;
  graph.title = Text(title);
  AddSubtitle(graph.subtitles, model_name);
  graph.x_label = Text(MessageId::kRowHeaderCase);
  graph.y_label = Text(series);
  graph.series.push_back(CaseSeries(graph.y_label, cases, values));
  AddChartLines(graph, limits);
  return graph;
}

Graph DeployedT2Chart(const LoadedPCAModel& model,
                      const PCADeploymentScores& scores,
                      const DeployedCases& cases,
                      const std::string& model_name) {
  return DeployedStatisticChart(
      MessageId::kT2ChartTitle, MessageId::kT2Series, scores.t2, model.t2, cases, model_name);
}

Graph DeployedSPEChart(const LoadedPCAModel& model,
                       const PCADeploymentScores& scores,
                       const DeployedCases& cases,
                       const std::string& model_name) {
  return DeployedStatisticChart(
      MessageId::kSPEChartTitle, MessageId::kSPESeries, scores.spe, model.spe, cases, model_name);
}

Graph DeployedScoreChart(const LoadedPCAModel& model,
                         const PCADeploymentScores& scores,
                         const DeployedCases& cases,
                         int component,
                         const std::string& model_name) {
  const auto a = static_cast<std::size_t>(component - 1);
  std::vector<double> values(scores.scores.rows());
  for (std::size_t row = 0; row < values.size(); ++row) values[row] = scores.scores(row, a);
  return DeployedScoreLineplot(component, values, model.scores[a], cases, model_name);
}

Graph DeployedScoreLineplot(int component,
                            const std::vector<double>& values,
                            const ControlLimitSet& limits,
                            const DeployedCases& cases,
                            const std::string& model_name) {
  Graph graph;
  graph.type = GraphType::kLine;
  graph.title = FormatMessage(MessageId::kScoreLineplotTitle, component);
  AddSubtitle(graph.subtitles, model_name);
  graph.subtitles.push_back(
      FormatMessage(MessageId::kScoreStandardDeviation, component, limits.standard_deviation));
  graph.x_label = Text(MessageId::kRowHeaderCase);
  graph.y_label = FormatMessage(MessageId::kScoreLabel, component);
  graph.series.push_back(CaseSeries(graph.y_label, cases, values));
  AddScoreLimitLines(graph, limits, limits.warning);
  return graph;
}

Spreadsheet DeployedSideBySide(const std::vector<const std::vector<double>*>& t2,
                               const std::vector<const std::vector<double>*>& spe,
                               const DeployedCases& cases) {
  Spreadsheet sheet;
  sheet.title = Text(MessageId::kDeploySideBySideTitle);
  sheet.row_header = Text(MessageId::kRowHeaderCase);
  for (std::size_t m = 0; m < t2.size(); ++m) {
    const int number = static_cast<int>(m) + 1;
    sheet.columns.push_back(
        FormatMessage(MessageId::kDeployModelColumn, Text(MessageId::kT2Series), number));
    sheet.columns.push_back(
        FormatMessage(MessageId::kDeployModelColumn, Text(MessageId::kSPESeries), number));
  }
  for (std::size_t row = 0; row < cases.numbers.size(); ++row) {
    ReportRow line{DeployedCaseLabel(cases, row), {}};
    for (std::size_t m = 0; m < t2.size(); ++m) {
      line.cells.push_back(Cell((*t2[m])[row]));
      line.cells.push_back(Cell((*spe[m])[row]));
    }
    sheet.rows.push_back(std::move(line));
  }
  return sheet;
}

Spreadsheet DeployedScoreSheet(const DMatrix& scores,
                               const std::vector<ControlLimitSet>& score_limits,
                               const ControlLimitSet& t2_limits,
                               const ControlLimitSet& spe_limits,
                               const std::vector<double>& t2,
                               const std::vector<double>& spe,
                               const std::vector<double>* distance,
                               const DeployedCases& cases,
                               const std::string& model_name) {
  Spreadsheet sheet;
  sheet.title = Text(MessageId::kDeployScoresTitle);
  AddSubtitle(sheet.subtitles, model_name);
  sheet.row_header = Text(MessageId::kRowHeaderCase);
  const int components = static_cast<int>(score_limits.size());
  for (int a = 1; a <= components; ++a) {
    sheet.columns.push_back(FormatMessage(MessageId::kScoreLabel, a));
  }
  sheet.columns.push_back(Text(MessageId::kT2Series));
  sheet.columns.push_back(Text(MessageId::kSPESeries));
  if (distance != nullptr) sheet.columns.push_back(Text(MessageId::kDistanceColumn));
  for (std::size_t row = 0; row < t2.size(); ++row) {
    ReportRow line{CaseLabel(cases, row), {}};
    for (int a = 0; a < components; ++a) {
      const double score = scores(row, static_cast<std::size_t>(a));
      const ControlLimitSet& limits = score_limits[static_cast<std::size_t>(a)];
      line.cells.push_back(Cell(score));
      if (Above(score, limits.upper_control) || Above(-score, -limits.lower_control)) {
        sheet.highlights.emplace_back(static_cast<int>(row), a);
      }
    }
    line.cells.push_back(Cell(t2[row]));
    line.cells.push_back(Cell(spe[row]));
    if (distance != nullptr) line.cells.push_back(Cell((*distance)[row]));
    if (Above(t2[row], t2_limits.control_line)) {
      sheet.highlights.emplace_back(static_cast<int>(row), components);
    }
    if (Above(spe[row], spe_limits.control_line)) {
      sheet.highlights.emplace_back(static_cast<int>(row), components + 1);
    }
    sheet.rows.push_back(std::move(line));
  }
  return sheet;
}

Spreadsheet DeployedScoreSpreadsheet(const LoadedPCAModel& model,
                                     const PCADeploymentScores& scores,
                                     const DeployedCases& cases,
                                     const std::string& model_name) {
  return DeployedScoreSheet(scores.scores,
                            model.scores,
                            model.t2,
                            model.spe,
                            scores.t2,
                            scores.spe,
                            nullptr,
                            cases,
                            model_name);
}

std::vector<std::size_t> FlaggedCases(const LoadedPCAModel& model,
                                      const PCADeploymentScores& scores) {
  std::vector<std::size_t> flagged;
  for (std::size_t row = 0; row < scores.t2.size(); ++row) {
    if (Above(scores.t2[row], model.t2.control_line) ||
        Above(scores.spe[row], model.spe.control_line)) {
      flagged.push_back(row);
    }
  }
  return flagged;
}

Spreadsheet DeployedT2Contributions(const LoadedPCAModel& model,
                                    const PCADeploymentScores& scores,
                                    const DeployedCases& cases,
                                    const std::vector<std::size_t>& flagged) {
  Spreadsheet sheet = DeployedColumnSheet(
      MessageId::kDeployT2ContributionsTitle, model.fields, model.columns, cases, flagged);
  for (std::size_t index = 0; index < flagged.size(); ++index) {
    const std::size_t row = flagged[index];
    for (std::size_t col = 0; col < model.columns.size(); ++col) {
      const double value = scores.scaled(row, col);
      if (std::isnan(value)) {
        sheet.rows[index].cells.emplace_back(std::monostate{});
        continue;
      }
      double contribution = 0.0;
      for (std::size_t a = 0; a < model.scores.size(); ++a) {
        const double deviation = model.scores[a].standard_deviation;
        if (deviation == 0.0) continue;
        contribution +=
            scores.scores(row, a) * model.loadings(a, col) * value / (deviation * deviation);
      }
      sheet.rows[index].cells.emplace_back(contribution);
    }
  }
  return sheet;
}

Spreadsheet DeployedSPEContributions(const LoadedPCAModel& model,
                                     const PCADeploymentScores& scores,
                                     const DeployedCases& cases,
                                     const std::vector<std::size_t>& flagged) {
  Spreadsheet sheet = DeployedColumnSheet(
      MessageId::kDeploySPEContributionsTitle, model.fields, model.columns, cases, flagged);
  for (std::size_t index = 0; index < flagged.size(); ++index) {
    for (std::size_t col = 0; col < model.columns.size(); ++col) {
      sheet.rows[index].cells.push_back(Cell(scores.residuals(flagged[index], col)));
    }
  }
  return sheet;
}

}  // namespace mspc
