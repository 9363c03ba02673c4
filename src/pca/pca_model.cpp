#include "pca/pca_model.hpp"

#include <algorithm>
#include <utility>

#include "frame/data_preparation.hpp"
#include "pca/cross_validation.hpp"

namespace mspc {
namespace {

// The largest selection a PCA accepts: far above any plant data set, low enough that the
// column count always fits the 32-bit counts of the model document.
constexpr int kMaxPCAVariables = 100000;

// Puts an engine's fit options back when it goes out of scope.
class OptionsRestorer {
 public:
  explicit OptionsRestorer(PCAEngine& engine) : engine_(engine), saved_(engine.Options()) {}
  ~OptionsRestorer() { engine_.SetOptions(saved_); }
  OptionsRestorer(const OptionsRestorer&) = delete;
  OptionsRestorer& operator=(const OptionsRestorer&) = delete;

 private:
  PCAEngine& engine_;
  PCAFitOptions saved_;
};

}  // namespace

CPCAModel::CPCAModel(CAnalysisSupport* analysis) : CMultivariate(analysis) {}

ModelKind CPCAModel::Kind() const { return ModelKind::kPCA; }

PCAFitOptions CPCAModel::EngineOptions(const StartupOptions& options) const {
  const FitOptions& fit = fit_options();
  PCAFitOptions engine_options;
  engine_options.component_mode = fit.component_mode;
  engine_options.max_components = fit.max_components;
  engine_options.eigenvalue_limit = fit.eigenvalue_limit;
  engine_options.max_iterations = fit.max_iterations;
  engine_options.convergence = fit.convergence_criterion;
  engine_options.cross_validation_method = fit.cross_validation_method;
  engine_options.grouped = fit.grouped_cross_validation;
  engine_options.folds = options.num_folds;
  // The seed's bits as given; a negative seed is as good a seed as any other.
  engine_options.seed = static_cast<std::uint64_t>(static_cast<std::int64_t>(options.random_seed));
  engine_options.random_folds = options.random_folds;
  return engine_options;
}

void CPCAModel::ResetFit() {
  // A new run replaces the fit; if it fails, no part of the old or the new one remains.
  engine_.reset();
  working_data_ = WorkingData{};
  report_options_ = PCAReportOptions{};
}

std::unique_ptr<PCAEngine> CPCAModel::NewEngine(const StartupOptions& options) const {
  auto engine = std::make_unique<PCAEngine>(EngineOptions(options));
  engine->SetProgress(analysis().host().progress);
  engine->SetRandomSource(analysis().host().random);
  return engine;
}

void CPCAModel::InstallFit(WorkingData data, std::unique_ptr<PCAEngine> engine) {
  bool cancelled = false;
  try {
    engine->AutoFit();
  } catch (const UserAbort&) {
    // The components accepted before the cancel are a model of their own: keep them.
    cancelled = true;
  }
  working_data_ = std::move(data);
  engine_ = std::move(engine);
  if (cancelled) NoteCancel();
}

void CPCAModel::Run(const StartupOptions& options) {
  ResetFit();
  PreparationRequest request;
  request.selection.variables = options.variables;
  request.selection.categorical = options.categorical_variables;
  request.screening = ScreeningOptionsFrom(options, options.variables);
  request.kind = ScreeningKind::kPCA;
  request.limits.max_variables = kMaxPCAVariables;
  request.apply_memory_limit = options.apply_memory_limit;
  request.memory_limit_mb = options.memory_limit_mb;
  WorkingData data = PrepareWorkingData(analysis(), *data_reader(), request, removal_notes_);

  std::unique_ptr<PCAEngine> engine = NewEngine(options);
  engine->CenterAndScale(data.x, data.mean, data.scale, data.removed_cases, data.removed_columns);
  InstallFit(std::move(data), std::move(engine));
}

void CPCAModel::NoteCancel() {
  analysis().ShowMessage(MessageKind::kNote, MessageId::kCancelledByUser);
}

std::optional<MessageId> CPCAModel::AddNextComponent() {
  PCAEngine& engine = *engine_;
  // The user asks for one more component: the fixed count and the eigenvalue limit do not hold
  // it back; cross-validation, where the options have it, still fills its Q² and significance.
  // The options go back as they were however the fit ends.
  const OptionsRestorer restore(engine);
  PCAFitOptions options = engine.Options();
  options.max_components = std::max(options.max_components, engine.ComponentCount() + 1);
  engine.SetOptions(options);
  const bool validates = SelectCrossValidationPass(options.cross_validation_method,
                                                   options.grouped) != CrossValidationPass::kNone;
  const NodeState state = engine.FitNextComponent(
      validates ? ComponentMode::AutoFitByCrossValidation : ComponentMode::FixedNumberOfComponents);
  if (state == NodeState::kTooManyComponents) return engine.RefusalMessage();
  if (!IsAccepted(state)) engine.AcceptComponent(engine.LastCandidate());
  return std::nullopt;
}

bool CPCAModel::RemoveLastComponent() {
  if (engine_->ComponentCount() == 0) return false;
  engine_->RemoveLastComponent();
  return true;
}

void CPCAModel::RemoveAllComponents() { engine_->RemoveAllComponents(); }

int CPCAModel::AutoFitMoreComponents(std::optional<MessageId>& refusal) {
  refusal.reset();
  const int before = engine_->ComponentCount();
  try {
    engine_->AutoFit();
  } catch (const UserAbort&) {
    NoteCancel();
    return engine_->ComponentCount() - before;
  }
  const int added = engine_->ComponentCount() - before;
  if (added == 0) {
    refusal = engine_->ComponentCount() >= engine_->MaxComponentsAllowed()
                  ? MessageId::kDegreesOfFreedomNotEnough
                  : MessageId::kNoAdditionalModel;
  }
  return added;
}

}  // namespace mspc
