#include "export/pls_model_document.hpp"

#include <vector>

#include "export/model_document.hpp"
#include "frame/working_data.hpp"
#include "host/messages.hpp"
#include "pls/pls_engine.hpp"
#include "pls/pls_monitoring.hpp"
#include "pls/pls_reports.hpp"

namespace mspc {
namespace {

constexpr const char* kPLSStart =
    "<PLS type=\"%s\" scaling=\"%s\" numberOfDependents=\"%d\" numberOfPredictors=\"%d\" "
    "numberOfComponents=\"%d\">\n";

void AppendLoadings(const DMatrix& values,
                    const DMatrix* weights,
                    std::size_t a,
                    std::string& text) {
  text += "<Loadings>\n";
  for (std::size_t j = 0; j < values.cols(); ++j) {
    if (weights == nullptr) {
      text += FormatText("<Loading value=\"%s\"/>\n", FormatDocumentReal(values(a, j)));
    } else {
      text += FormatText("<Loading value=\"%s\" weight=\"%s\"/>\n",
                         FormatDocumentReal(values(a, j)),
                         FormatDocumentReal((*weights)(a, j)));
    }
  }
  text += "</Loadings>\n";
}

}  // namespace

LoadedPLSModel PLSDocumentModel(const PLSEngine& engine,
                                const WorkingData& predictors,
                                const WorkingData& dependents,
                                ScalingMode scaling,
                                const PLSReportOptions& options,
                                const ProbabilityFunctions& probability) {
  LoadedPLSModel model;
  model.scaling = scaling;
  const std::vector<std::size_t> y_columns = AppendBlockFields(dependents,
                                                               engine.ExcludedYColumns(),
                                                               engine.YScaling().mean,
                                                               engine.YScaling().scale,
                                                               model.dependent_fields,
                                                               model.dependent_columns);
  const std::vector<std::size_t> x_columns = AppendBlockFields(predictors,
                                                               engine.ExcludedXColumns(),
                                                               engine.XScaling().mean,
                                                               engine.XScaling().scale,
                                                               model.predictor_fields,
                                                               model.predictor_columns);
  for (const DocumentField& field : model.dependent_fields) {
    if (field.categorical) model.classification = true;
  }

  const PLSMonitoring monitoring = ComputePLSMonitoring(engine, options.chart, probability);
  model.t2 = monitoring.t2_limits;
  model.spe = monitoring.spe_limits;
  model.x_scores =
      ComputePLSScoreLimits(engine, PLSScoreType::kXScores, options.score, probability);
  model.y_scores =
      ComputePLSScoreLimits(engine, PLSScoreType::kYScores, options.score, probability);
  // Deployment's T² divides by the deviations the model's own T² uses.
  const std::vector<double> deviations = engine.XScoreStandardDeviations();
  for (std::size_t a = 0; a < deviations.size(); ++a) {
    model.x_scores[a].standard_deviation = deviations[a];
  }

  const std::vector<CPLSNode>& nodes = engine.Nodes();
  model.y_loadings = DMatrix(nodes.size(), y_columns.size());
  model.x_loadings = DMatrix(nodes.size(), x_columns.size());
  model.weights = DMatrix(nodes.size(), x_columns.size());
  for (std::size_t a = 0; a < nodes.size(); ++a) {
    model.inner.push_back(nodes[a].b);
    for (std::size_t k = 0; k < y_columns.size(); ++k) {
      model.y_loadings(a, k) = nodes[a].q[y_columns[k]];
    }
    for (std::size_t j = 0; j < x_columns.size(); ++j) {
      model.x_loadings(a, j) = nodes[a].p[x_columns[j]];
      model.weights(a, j) = nodes[a].w[x_columns[j]];
    }
  }
  return model;
}

void WritePLSDocument(const LoadedPLSModel& model, std::string& text) {
  AppendDocumentStart(
      static_cast<int>(model.dependent_fields.size() + model.predictor_fields.size()), text);
  AppendDataFields(model.dependent_fields, model.dependent_columns, "dependent", text);
  AppendDataFields(model.predictor_fields, model.predictor_columns, "predictor", text);
  text += "</DataDictionary>\n";

  const PLSModelType type =
      model.classification ? PLSModelType::kClassification : PLSModelType::kRegression;
  text += FormatText(kPLSStart,
                     std::string(ModelTypeText(type)),
                     std::string(ToString(model.scaling)),
                     static_cast<int>(model.dependent_columns.size()),
                     static_cast<int>(model.predictor_columns.size()),
                     model.Components());
  AppendPLSLimitsAndComponents(model, text);
  text += "</PLS>\n";
  text += "</PMML>\n";
}

void AppendPLSLimitsAndComponents(const LoadedPLSModel& model, std::string& text) {
  text += FormatChartLimitElement("TS", model.t2);
  text += FormatChartLimitElement("SPE", model.spe);
  text += "<Components>\n";
  for (std::size_t a = 0; a < model.inner.size(); ++a) {
    text += FormatText("<YComponent coefficient=\"%s\">\n", FormatDocumentReal(model.inner[a]));
    text += FormatScoreElement(1, model.y_scores[a]);
    AppendLoadings(model.y_loadings, nullptr, a, text);
    text += "</YComponent>\n";
    text += "<XComponent>\n";
    text += FormatScoreElement(0, model.x_scores[a]);
    AppendLoadings(model.x_loadings, &model.weights, a, text);
    text += "</XComponent>\n";
  }
  text += "</Components>\n";
}

}  // namespace mspc
