#include "deploy/pls_deployment_reports.hpp"

#include <cmath>

#include "host/messages.hpp"
#include "pls/pls_coefficients.hpp"

namespace mspc {
namespace {

std::string Text(MessageId id) { return std::string(MessageText(id)); }

void AddSubtitle(std::vector<std::string>& subtitles, const std::string& model_name) {
  if (!model_name.empty()) {
    subtitles.push_back(FormatMessage(MessageId::kDeployModelSubtitle, model_name));
  }
}

Spreadsheet ScoreSheet(const LoadedPLSModel& model,
                       const PLSDeploymentScores& scores,
                       const DeployedCases& cases,
                       const std::string& model_name) {
  return DeployedScoreSheet(scores.x_scores,
                            model.x_scores,
                            model.t2,
                            model.spe,
                            scores.t2,
                            scores.spe,
                            &scores.distance,
                            cases,
                            model_name);
}

Spreadsheet PredictionSheet(const LoadedPLSModel& model,
                            const PLSDeploymentScores& scores,
                            const DeployedCases& cases,
                            const std::string& model_name) {
  Spreadsheet sheet;
  sheet.title = Text(MessageId::kPredictionsTitle);
  AddSubtitle(sheet.subtitles, model_name);
  sheet.row_header = Text(MessageId::kRowHeaderCase);
  for (const DocumentColumn& column : model.dependent_columns) {
    const std::string name = DeployedColumnName(model.dependent_fields, column);
    sheet.columns.push_back(FormatMessage(MessageId::kObservedColumn, name));
    sheet.columns.push_back(FormatMessage(MessageId::kPredictedColumn, name));
    sheet.columns.push_back(FormatMessage(MessageId::kResidualColumn, name));
  }
  for (std::size_t row = 0; row < scores.predicted.rows(); ++row) {
    ReportRow line{DeployedCaseLabel(cases, row), {}};
    for (std::size_t k = 0; k < scores.predicted.cols(); ++k) {
      line.cells.push_back(DeployedCell(scores.observed(row, k)));
      line.cells.push_back(DeployedCell(scores.predicted(row, k)));
      line.cells.push_back(DeployedCell(scores.y_residuals(row, k)));
    }
    sheet.rows.push_back(std::move(line));
  }
  // A categorical dependent is predicted as the category whose dummy column predicts highest.
  for (std::size_t f = 0; f < model.dependent_fields.size(); ++f) {
    if (!model.dependent_fields[f].categorical) continue;
    std::vector<std::size_t> columns;
    std::vector<double> codes;
    for (std::size_t k = 0; k < model.dependent_columns.size(); ++k) {
      if (model.dependent_columns[k].field != f) continue;
      columns.push_back(k);
      codes.push_back(model.dependent_columns[k].code);
    }
    sheet.columns.push_back(
        FormatMessage(MessageId::kPredictedClassColumn, model.dependent_fields[f].name));
    const std::vector<double> classes = PredictClasses(scores.predicted, columns, codes);
    for (std::size_t row = 0; row < sheet.rows.size(); ++row) {
      sheet.rows[row].cells.push_back(DeployedCell(classes[row]));
    }
  }
  return sheet;
}

Spreadsheet ContributionSheet(MessageId title,
                              const LoadedPLSModel& model,
                              const DMatrix& values,
                              const DeployedCases& cases,
                              const std::vector<std::size_t>& flagged) {
  Spreadsheet sheet =
      DeployedColumnSheet(title, model.predictor_fields, model.predictor_columns, cases, flagged);
  for (std::size_t index = 0; index < flagged.size(); ++index) {
    for (std::size_t col = 0; col < values.cols(); ++col) {
      sheet.rows[index].cells.push_back(DeployedCell(values(flagged[index], col)));
    }
  }
  return sheet;
}

}  // namespace

std::vector<RoutedOutput> DeployedPLSReports(const LoadedPLSModel& model,
                                             const PLSDeploymentScores& scores,
                                             const DeployedCases& cases,
                                             const std::string& model_name,
                                             const std::vector<double>& spe_lines) {
  std::vector<RoutedOutput> reports;
  reports.emplace_back(DeployedStatisticChart(
      MessageId::kT2ChartTitle, MessageId::kT2Series, scores.t2, model.t2, cases, model_name));
  reports.emplace_back(DeployedStatisticChart(
      MessageId::kSPEChartTitle, MessageId::kSPESeries, scores.spe, model.spe, cases, model_name));
  reports.emplace_back(ScoreSheet(model, scores, cases, model_name));
  for (int a = 1; a <= model.Components(); ++a) {
    const auto component = static_cast<std::size_t>(a - 1);
    std::vector<double> values(scores.x_scores.rows());
    for (std::size_t row = 0; row < values.size(); ++row) {
      values[row] = scores.x_scores(row, component);
    }
    reports.emplace_back(
        DeployedScoreLineplot(a, values, model.x_scores[component], cases, model_name));
  }
  reports.emplace_back(PredictionSheet(model, scores, cases, model_name));

  std::vector<std::size_t> flagged;
  for (std::size_t row = 0; row < scores.t2.size(); ++row) {
    const double spe_line = row < spe_lines.size() && !std::isnan(spe_lines[row])
                                ? spe_lines[row]
                                : model.spe.control_line;
    if (AboveLine(scores.t2[row], model.t2.control_line) || AboveLine(scores.spe[row], spe_line)) {
      flagged.push_back(row);
    }
  }
  if (flagged.empty()) return reports;
  if (model.Components() > 0) {
    reports.emplace_back(ContributionSheet(
        MessageId::kDeployT2ContributionsTitle, model, scores.t2_contributions, cases, flagged));
  }
  reports.emplace_back(ContributionSheet(
      MessageId::kDeploySPEContributionsTitle, model, scores.residuals, cases, flagged));
  return reports;
}

}  // namespace mspc
