#include "deploy/deployment_model.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "batch/unfolding.hpp"
#include "deploy/batch_pls_document.hpp"
#include "deploy/pls_deployment_reports.hpp"
#include "deploy/tmpca_document.hpp"
#include "frame/data_reader.hpp"
#include "host/data_table.hpp"
#include "host/errors.hpp"
#include "host/message_output.hpp"
#include "host/messages.hpp"

namespace mspc {
namespace {

struct KindName {
  const char* name;
  ModelKind kind;
  MessageId one_loaded;
  MessageId several_loaded;
};

constexpr KindName kKinds[] = {
    {"PCA", ModelKind::kPCA, MessageId::kDeployOnePCALoaded, MessageId::kDeployPCAsLoaded},
    {"PLS", ModelKind::kPLS, MessageId::kDeployOnePLSLoaded, MessageId::kDeployPLSsLoaded},
    {"TMPCA", ModelKind::kTMPCA, MessageId::kDeployOneTMPCALoaded, MessageId::kDeployTMPCAsLoaded},
    {"TMPLS", ModelKind::kTMPLS, MessageId::kDeployOneTMPLSLoaded, MessageId::kDeployTMPLSsLoaded},
    {"BMPLS", ModelKind::kBMPLS, MessageId::kDeployOneBMPLSLoaded, MessageId::kDeployBMPLSsLoaded},
};

const KindName& NameOf(ModelKind kind) {
  for (const KindName& entry : kKinds) {
    if (entry.kind == kind) return entry;
  }
  return kKinds[0];
}

// The values of `fields` in the table's rows `cases` (cases × fields); not-a-number where a
// cell is missing. Returns an empty matrix when a field is not in the table and `required` is
// false; throws `AnalysisStop` when it is.
DMatrix ReadFieldValues(const DataTable& table,
                        const std::vector<DocumentField>& fields,
                        const std::vector<std::size_t>& cases,
                        bool required) {
  DMatrix values(cases.size(), fields.size(), std::numeric_limits<double>::quiet_NaN());
  for (std::size_t f = 0; f < fields.size(); ++f) {
    const std::optional<std::size_t> variable = table.FindVariable(fields[f].name);
    if (!variable) {
      if (!required) return DMatrix();
      throw AnalysisStop::With(MessageId::kDeployUnknownVariable, fields[f].name);
    }
    const std::optional<double> missing_code = table.MissingDataCode(*variable);
    for (std::size_t row = 0; row < cases.size(); ++row) {
      const double value = table.Value(cases[row], *variable);
      if (!std::isfinite(value) || (missing_code && value == *missing_code)) continue;
      values(row, f) = value;
    }
  }
  return values;
}

bool Selected(const std::vector<std::string>& selection, const std::string& name) {
  return std::find(selection.begin(), selection.end(), name) != selection.end();
}

bool NamesField(const std::vector<DocumentField>& fields, const std::string& name) {
  return std::any_of(fields.begin(), fields.end(), [&name](const DocumentField& field) {
    return field.name == name;
  });
}

// A PLS document against the selection: the predictors alone, or the predictors and the
// dependents, in any order.
void MatchPLSSelection(const LoadedPLSModel& model, const std::vector<std::string>& selection) {
  int continuous = 0;
  int categorical = 0;
  for (const DocumentField& field : model.predictor_fields)
    ++(field.categorical ? categorical : continuous);
  if (continuous > CDeploymentModel::kMaxVariables) {
    throw AnalysisStop::With(MessageId::kDeployTooManyContinuousPredictors);
  }
  if (categorical > CDeploymentModel::kMaxVariables) {
    throw AnalysisStop::With(MessageId::kDeployTooManyCategoricalPredictors);
  }
  if (selection.empty()) return;
  const std::size_t predictors = model.predictor_fields.size();
  if (selection.size() != predictors &&
      selection.size() != predictors + model.dependent_fields.size()) {
    throw AnalysisStop::With(MessageId::kDeployVariableCountDiffers);
  }
  for (const DocumentField& field : model.predictor_fields) {
    if (!Selected(selection, field.name))
      throw AnalysisStop::With(MessageId::kDeployVariablesDoNotMatch);
  }
  for (const std::string& name : selection) {
    if (!NamesField(model.predictor_fields, name) && !NamesField(model.dependent_fields, name)) {
      throw AnalysisStop::With(MessageId::kDeployVariablesDoNotMatch);
    }
  }
}

std::vector<std::string> FieldNames(const std::vector<DocumentField>& fields) {
  std::vector<std::string> names;
  for (const DocumentField& field : fields) names.push_back(field.name);
  return names;
}

}  // namespace

std::optional<ModelKind> DocumentModelKind(const XmlElement& root, int& count) {
  count = 0;
  std::optional<ModelKind> kind;
  for (const XmlElement& child : root.children) {
    for (const KindName& entry : kKinds) {
      if (child.name == entry.name) {
        ++count;
        kind = entry.kind;
      }
    }
  }
  return count == 1 ? kind : std::nullopt;
}

CDeploymentModel::CDeploymentModel(CAnalysisSupport* analysis) : CMultivariate(analysis) {}

ModelKind CDeploymentModel::Kind() const { return ModelKind::kDeployment; }

std::vector<XmlElement> CDeploymentModel::LoadDocuments() {
  const XmlParser* parser = analysis().host().xml;
  // Every host supplies its XML parser; without one no document can be read.
  if (parser == nullptr) throw std::logic_error("the host supplies no XML parser");
  std::vector<XmlElement> roots;
  for (const ModelSource& source : sources_) {
    XmlLoadResult loaded = source.is_file ? parser->LoadFile(source.text, /*prohibit_dtd=*/true)
                                          : parser->LoadText(source.text, /*prohibit_dtd=*/true);
    if (!loaded.loaded) {
      if (source.is_file) throw AnalysisStop::With(MessageId::kDeployFileNotLoaded, source.text);
      throw AnalysisStop::With(MessageId::kDeployTextNotLoaded);
    }
    int count = 0;
    const std::optional<ModelKind> kind = DocumentModelKind(loaded.root, count);
    if (count == 0) {
      if (source.is_file) throw AnalysisStop::With(MessageId::kDeployNoModelInFile, source.text);
      throw AnalysisStop::With(MessageId::kDeployNoModelInText);
    }
    if (count > 1) {
      // A text has no file name; the message names it by its place in the list.
      const std::string name = source.is_file ? source.text : std::to_string(roots.size() + 1);
      throw AnalysisStop::With(MessageId::kDeployMoreThanOneModel, name);
    }
    if (loaded_kind_ && *loaded_kind_ != *kind) {
      throw AnalysisStop::With(MessageId::kDeployMixedKinds);
    }
    loaded_kind_ = kind;
    roots.push_back(std::move(loaded.root));
  }
  return roots;
}

void CDeploymentModel::Run(const StartupOptions& options) {
  pca_models_.clear();
  pls_models_.clear();
  loaded_kind_.reset();
  cases_ = DeployedCases{};
  if (sources_.empty()) throw AnalysisStop::With(MessageId::kDeployNoSourceChosen);
  std::vector<XmlElement> documents;
  try {
    documents = LoadDocuments();
  } catch (const AnalysisStop&) {
    loaded_kind_.reset();
    throw;
  }
  try {
    if (*loaded_kind_ == ModelKind::kPCA) {
      ScorePCA(documents, options);
    } else if (*loaded_kind_ == ModelKind::kPLS || *loaded_kind_ == ModelKind::kBMPLS) {
      ScorePLS(documents, options);
    } else if (*loaded_kind_ == ModelKind::kTMPLS) {
      ScoreTMPLS(documents, options);
    } else {
      ScoreTMPCA(documents, options);
    }
  } catch (const AnalysisStop&) {
    pca_models_.clear();
    pls_models_.clear();
    loaded_kind_.reset();
    cases_ = DeployedCases{};
    throw;
  }
  const KindName& name = NameOf(*loaded_kind_);
  const int loaded = LoadedCount();
  if (loaded == 1) {
    analysis().ShowMessage(MessageKind::kNote, name.one_loaded);
  } else {
    analysis().ShowMessage(MessageKind::kNote, name.several_loaded, loaded);
  }
}

std::vector<std::size_t> CDeploymentModel::ReadCases() {
  const DataTable* table = analysis().host().table;
  if (table == nullptr) throw AnalysisStop::With(MessageId::kDeployNothingLoaded);
  std::vector<std::size_t> training = data_reader()->TrainingCases();
  for (const std::size_t index : training) {
    cases_.numbers.push_back(static_cast<int>(index) + 1);
    cases_.names.push_back(table->CaseName(index));
  }
  return training;
}

void CDeploymentModel::ScorePLS(const std::vector<XmlElement>& documents,
                                const StartupOptions& options) {
  const std::vector<std::size_t> training = ReadCases();
  const DataTable& table = *analysis().host().table;
  std::vector<std::string> dependents;
  for (std::size_t d = 0; d < documents.size(); ++d) {
    DeployedPLSModel deployed;
    deployed.name = sources_[d].is_file ? sources_[d].text : std::string();
    // A BMPLS model scores every case as one batch at one time and predicts its time; its
    // per-time lines judge the case at its time.
    if (*loaded_kind_ == ModelKind::kBMPLS) {
      LoadedBMPLSModel batch_model = ReadBMPLSDocument(documents[d]);
      deployed.batch_times = PlaceBatchTimes(batch_model, table, training);
      deployed.model = std::move(batch_model.model);
    } else {
      deployed.model = ReadPLSDocument(documents[d]);
    }
    const LoadedPLSModel& model = deployed.model;
    if (d == 0) dependents = FieldNames(model.dependent_fields);
    if (FieldNames(model.dependent_fields) != dependents) {
      throw AnalysisStop::With(MessageId::kDeployDependentsDiffer);
    }
    MatchPLSSelection(model, options.variables);
    const DMatrix x = ReadFieldValues(table, model.predictor_fields, training, true);
    const DMatrix y = ReadFieldValues(table, model.dependent_fields, training, false);
    const DMatrix y_columns =
        y.rows() == 0 ? DMatrix()
                      : BlockColumns(model.dependent_fields, model.dependent_columns, y);
    deployed.scores = mspc::ScorePLS(
        model, BlockColumns(model.predictor_fields, model.predictor_columns, x), y_columns);
    pls_models_.push_back(std::move(deployed));
  }
}

// The table's batches unfolded as the fit of a time-wise document did: the batches at the
// document's time codes, the process variables its dictionary names (`variables`, whose J
// columns of one time are `columns`), checked against the selection and the document's columns.
// Returns the model's columns of every batch (the unfolded columns screening kept) and records
// the batches as the deployed cases (the first document) or checks their number (the others).
DMatrix CDeploymentModel::UnfoldBatches(const TimeWiseLayout& layout,
                                        const StartupOptions& options,
                                        std::size_t model_columns,
                                        bool first) {
  // Aggregated data name their process and measurement variables, which the document does
  // not keep.
  if (layout.stacked) throw AnalysisStop::With(MessageId::kDeployAggregatedNotAppropriate);
  BatchRequest request;
  request.layout = BatchLayout::kBatchRows;
  request.batch_variable = layout.batch_name;
  request.time_variable = layout.time_name;
  for (const DocumentField& variable : layout.variables) {
    request.process_variables.push_back(variable.name);
    if (variable.categorical) request.categorical.push_back(variable.name);
  }
  if (!layout.time_name.empty()) request.time_codes = layout.time_codes;
  request.min_batches = 1;
  if (!options.variables.empty()) {
    if (options.variables.size() != request.process_variables.size()) {
      throw AnalysisStop::With(MessageId::kDeployVariableCountDiffers);
    }
    for (const std::string& name : request.process_variables) {
      if (!Selected(options.variables, name)) {
        throw AnalysisStop::With(MessageId::kDeployVariablesDoNotMatch);
      }
    }
  }
  const BatchData data = PrepareBatchData(analysis(), request);
  const WorkingData& block = data.predictors;
  const std::size_t per_time = layout.columns.size();
  bool same_columns = data.num_times == layout.time_codes.size() &&
                      data.columns_per_time == per_time &&
                      block.column_source.size() == layout.excluded.size();
  for (std::size_t j = 0; same_columns && j < per_time; ++j) {
    const bool categorical = layout.variables[layout.columns[j].field].categorical;
    same_columns = !categorical || block.column_code[j] == layout.columns[j].code;
  }
  if (!same_columns) throw AnalysisStop::With(MessageId::kDeploySelectionDisagrees);
  if (first) {
    for (std::size_t batch = 0; batch < data.num_batches; ++batch) {
      cases_.numbers.push_back(static_cast<int>(batch) + 1);
      cases_.names.push_back(batch < data.batch_labels.size() ? data.batch_labels[batch] : "");
    }
  } else if (cases_.numbers.size() != data.num_batches) {
    throw AnalysisStop::With(MessageId::kDeploySelectionDisagrees);
  }

  DMatrix columns(data.num_batches, model_columns);
  for (std::size_t batch = 0; batch < data.num_batches; ++batch) {
    std::size_t model_column = 0;
    for (std::size_t col = 0; col < layout.excluded.size() && model_column < model_columns; ++col) {
      if (!layout.excluded[col]) columns(batch, model_column++) = block.x(batch, col);
    }
  }
  return columns;
}

void CDeploymentModel::ScoreTMPCA(const std::vector<XmlElement>& documents,
                                  const StartupOptions& options) {
  for (std::size_t d = 0; d < documents.size(); ++d) {
    const LoadedTMPCAModel model = ReadTMPCADocument(documents[d]);
    const TimeWiseLayout layout{model.batch_name,
                                model.time_name,
                                model.time_codes,
                                model.stacked,
                                model.variables,
                                model.columns,
                                model.excluded};
    const DMatrix columns = UnfoldBatches(layout, options, model.unfolded.columns.size(), d == 0);
    DeployedPCAModel deployed;
    deployed.name = sources_[d].is_file ? sources_[d].text : std::string();
    deployed.model = model.unfolded;
    deployed.scores = mspc::ScorePCA(deployed.model, columns);
    pca_models_.push_back(std::move(deployed));
  }
}

void CDeploymentModel::ScoreTMPLS(const std::vector<XmlElement>& documents,
                                  const StartupOptions& options) {
  for (std::size_t d = 0; d < documents.size(); ++d) {
    const LoadedTMPLSModel model = ReadTMPLSDocument(documents[d]);
    const BatchDocumentFrame& frame = model.frame;
    const TimeWiseLayout layout{frame.batch_name,
                                frame.time_name,
                                frame.time_codes,
                                frame.stacked,
                                model.variables,
                                model.columns,
                                model.excluded};
    const DMatrix columns =
        UnfoldBatches(layout, options, model.unfolded.predictor_columns.size(), d == 0);
    DeployedPLSModel deployed;
    deployed.name = sources_[d].is_file ? sources_[d].text : std::string();
    deployed.model = model.unfolded;
    // The batches' dependents are not unfolded: the model predicts them.
    deployed.scores = mspc::ScorePLS(deployed.model, columns, DMatrix());
    pls_models_.push_back(std::move(deployed));
  }
}

void CDeploymentModel::ScorePCA(const std::vector<XmlElement>& documents,
                                const StartupOptions& options) {
  const std::vector<std::size_t> training = ReadCases();
  const DataTable& table = *analysis().host().table;

  for (std::size_t d = 0; d < documents.size(); ++d) {
    DeployedPCAModel deployed;
    deployed.name = sources_[d].is_file ? sources_[d].text : std::string();
    deployed.model = ReadPCADocument(documents[d]);
    const std::vector<DocumentField>& fields = deployed.model.fields;
    if (static_cast<int>(fields.size()) > kMaxVariables) {
      throw AnalysisStop::With(MessageId::kDeployTooManyVariables);
    }
    if (!options.variables.empty()) {
      if (options.variables.size() != fields.size()) {
        throw AnalysisStop::With(MessageId::kDeployVariableCountDiffers);
      }
      for (const DocumentField& field : fields) {
        if (std::find(options.variables.begin(), options.variables.end(), field.name) ==
            options.variables.end()) {
          throw AnalysisStop::With(MessageId::kDeployVariablesDoNotMatch);
        }
      }
    }
    const DMatrix values = ReadFieldValues(table, fields, training, true);
    deployed.scores = mspc::ScorePCA(deployed.model, ModelColumns(deployed.model, values));
    pca_models_.push_back(std::move(deployed));
  }
}

std::vector<RoutedOutput> CDeploymentModel::Reports() const {
  std::vector<RoutedOutput> reports;
  std::vector<const std::vector<double>*> t2;
  std::vector<const std::vector<double>*> spe;
  for (const DeployedPLSModel& deployed : pls_models_) {
    const std::vector<double> spe_lines =
        deployed.batch_times ? deployed.batch_times->SPEControlLines() : std::vector<double>();
    for (RoutedOutput& report :
         DeployedPLSReports(deployed.model, deployed.scores, cases_, deployed.name, spe_lines)) {
      reports.push_back(std::move(report));
    }
    if (deployed.batch_times) {
      for (RoutedOutput& report :
           DeployedBatchTimeReports(*deployed.batch_times, deployed.scores, deployed.name)) {
        reports.push_back(std::move(report));
      }
    }
    t2.push_back(&deployed.scores.t2);
    spe.push_back(&deployed.scores.spe);
  }
  for (const DeployedPCAModel& deployed : pca_models_) {
    t2.push_back(&deployed.scores.t2);
    spe.push_back(&deployed.scores.spe);
    const LoadedPCAModel& model = deployed.model;
    reports.emplace_back(DeployedT2Chart(model, deployed.scores, cases_, deployed.name));
    reports.emplace_back(DeployedSPEChart(model, deployed.scores, cases_, deployed.name));
    reports.emplace_back(DeployedScoreSpreadsheet(model, deployed.scores, cases_, deployed.name));
    for (int a = 1; a <= model.Components(); ++a) {
      reports.emplace_back(DeployedScoreChart(model, deployed.scores, cases_, a, deployed.name));
    }
    const std::vector<std::size_t> flagged = FlaggedCases(model, deployed.scores);
    if (flagged.empty()) continue;
    if (model.Components() > 0) {
      reports.emplace_back(DeployedT2Contributions(model, deployed.scores, cases_, flagged));
    }
    reports.emplace_back(DeployedSPEContributions(model, deployed.scores, cases_, flagged));
  }
  if (t2.size() > 1) reports.emplace_back(DeployedSideBySide(t2, spe, cases_));
  return reports;
}

}  // namespace mspc
