#include "deploy/deployment_model.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

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
  if (*loaded_kind_ != ModelKind::kPCA) {
    const ModelKind kind = *loaded_kind_;
    loaded_kind_.reset();
    throw AnalysisStop::With(MessageId::kDeployKindNotDeployable, std::string(NameOf(kind).name));
  }
  try {
    ScorePCA(documents, options);
  } catch (const AnalysisStop&) {
    pca_models_.clear();
    loaded_kind_.reset();
    throw;
  }
  const KindName& name = NameOf(*loaded_kind_);
  const int loaded = static_cast<int>(pca_models_.size());
  if (loaded == 1) {
    analysis().ShowMessage(MessageKind::kNote, name.one_loaded);
  } else {
    analysis().ShowMessage(MessageKind::kNote, name.several_loaded, loaded);
  }
}

void CDeploymentModel::ScorePCA(const std::vector<XmlElement>& documents,
                                const StartupOptions& options) {
  const DataTable* table = analysis().host().table;
  if (table == nullptr) throw AnalysisStop::With(MessageId::kDeployNothingLoaded);
  const std::vector<std::size_t> training = data_reader()->TrainingCases();
  for (const std::size_t index : training) {
    cases_.numbers.push_back(static_cast<int>(index) + 1);
    cases_.names.push_back(table->CaseName(index));
  }

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
    DMatrix values(training.size(), fields.size(), std::numeric_limits<double>::quiet_NaN());
    for (std::size_t f = 0; f < fields.size(); ++f) {
      const std::optional<std::size_t> variable = table->FindVariable(fields[f].name);
      if (!variable) throw AnalysisStop::With(MessageId::kDeployUnknownVariable, fields[f].name);
      const std::optional<double> missing_code = table->MissingDataCode(*variable);
      for (std::size_t row = 0; row < training.size(); ++row) {
        const double value = table->Value(training[row], *variable);
        if (!std::isfinite(value) || (missing_code && value == *missing_code)) continue;
        values(row, f) = value;
      }
    }
    deployed.scores = mspc::ScorePCA(deployed.model, ModelColumns(deployed.model, values));
    pca_models_.push_back(std::move(deployed));
  }
}

std::vector<RoutedOutput> CDeploymentModel::Reports() const {
  std::vector<RoutedOutput> reports;
  for (const DeployedPCAModel& deployed : pca_models_) {
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
  return reports;
}

}  // namespace mspc
