#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "deploy/batch_deployment.hpp"
#include "deploy/pca_deployment.hpp"
#include "deploy/pca_deployment_reports.hpp"
#include "deploy/pls_deployment.hpp"
#include "frame/output_auto_update.hpp"
#include "host/xml_document.hpp"
#include "models/base_model.hpp"

namespace mspc {

/// One model document to deploy: a file name or the document's text.
struct ModelSource {
  std::string text;  // the file name, or the document itself
  bool is_file = true;
};

/// A loaded PCA model (or the unfolded model of a TMPCA document) with the new cases it scored.
struct DeployedPCAModel {
  std::string name;  // the file name, or empty for a document given as text
  LoadedPCAModel model;
  PCADeploymentScores scores;
};

/// A loaded PLS model with the new cases it scored.
struct DeployedPLSModel {
  std::string name;  // the file name, or empty for a document given as text
  LoadedPLSModel model;
  PLSDeploymentScores scores;
  std::optional<DeployedBatchTimes> batch_times;  // BMPLS: the cases' batches and times
};

/// The deployment of saved model documents on the current table.
///
/// Loading reads every source in order with document type declarations prohibited, counts the
/// model elements among the root's direct children and requires exactly one per document and
/// one kind for all of them; the first failure ends the loading with its message and no model.
/// The models are matched to the table by variable name: with no variables selected each
/// document's own variables are read from the table; with a selection, every PCA document must
/// name exactly the selected variables, in any order, and every PLS document its predictors
/// (with or without its dependents). PLS documents loaded together must share their dependents.
/// A PLS model reads its dependents from the table when the table has all of them, to show the
/// residuals of its predictions; without them it predicts only. A TMPCA model reads the table's
/// batches at the document's time codes, unfolds them as the fit did and scores one row per
/// batch with the unfolded model; its reports are those of a PCA model of the batches. A TMPLS
/// model does the same with its unfolded PLS model and predicts the batches' dependents; its
/// reports are those of a PLS model of the batches. A BMPLS model scores every case of the
/// table as one batch at one time, predicting its time, with the reports of a PLS model.
class CDeploymentModel : public CMultivariate {
 public:
  /// The most variables one document may name.
  static constexpr int kMaxVariables = 10000;

  explicit CDeploymentModel(CAnalysisSupport* analysis);

  ModelKind Kind() const override;
  bool IsFitted() const override { return LoadedCount() > 0; }
  /// The number of models loaded and scored.
  int LoadedCount() const { return static_cast<int>(pca_models_.size() + pls_models_.size()); }

  /// Replace the model documents to load, in the order they are to be loaded.
  void SetSources(std::vector<ModelSource> sources) { sources_ = std::move(sources); }
  const std::vector<ModelSource>& sources() const { return sources_; }

  /// Load the sources, score the table's training cases with every model and report the
  /// number of models loaded. Throws `AnalysisStop` with the first refusal.
  void Run(const StartupOptions& options) override;

  /// The kind of the models loaded, fixed by the first document.
  std::optional<ModelKind> loaded_kind() const { return loaded_kind_; }
  const std::vector<DeployedPCAModel>& pca_models() const { return pca_models_; }
  const std::vector<DeployedPLSModel>& pls_models() const { return pls_models_; }
  const DeployedCases& cases() const { return cases_; }

  /// The reports of every loaded model: T² and SPE(Q) charts with the stored lines, the score
  /// spreadsheet, one score chart per component, for PLS the predictions, and the contributions
  /// of the cases above a control line; with several models, their T² and SPE(Q) side by side.
  std::vector<RoutedOutput> Reports() const;

 private:
  /// The root of every source's document, and the kind they share.
  std::vector<XmlElement> LoadDocuments();
  void ScorePCA(const std::vector<XmlElement>& documents, const StartupOptions& options);
  void ScorePLS(const std::vector<XmlElement>& documents, const StartupOptions& options);
  void ScoreTMPCA(const std::vector<XmlElement>& documents, const StartupOptions& options);
  void ScoreTMPLS(const std::vector<XmlElement>& documents, const StartupOptions& options);
  /// What a time-wise document says of its batches' layout.
  struct TimeWiseLayout {
    const std::string& batch_name;
    const std::string& time_name;
    const std::vector<double>& time_codes;
    bool stacked;
    const std::vector<DocumentField>& variables;
    const std::vector<DocumentColumn>& columns;  // the J columns of one time
    const std::vector<bool>& excluded;           // per unfolded column
  };
  /// The model's columns of the table's batches unfolded as the fit did; records the batches
  /// as the deployed cases (`first`) or checks their number.
  DMatrix UnfoldBatches(const TimeWiseLayout& layout,
                        const StartupOptions& options,
                        std::size_t model_columns,
                        bool first);
  /// The training cases of the table, recorded in `cases_`.
  std::vector<std::size_t> ReadCases();

  std::vector<ModelSource> sources_;
  std::optional<ModelKind> loaded_kind_;
  std::vector<DeployedPCAModel> pca_models_;
  std::vector<DeployedPLSModel> pls_models_;
  DeployedCases cases_;
};

/// The kind of model a document holds: the name of the one model element among the root's
/// direct children. Returns the number of model elements found in `count`.
std::optional<ModelKind> DocumentModelKind(const XmlElement& root, int& count);

}  // namespace mspc
