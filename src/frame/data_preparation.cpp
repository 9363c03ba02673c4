#include "frame/data_preparation.hpp"

#include <limits>

#include "frame/screening.hpp"

namespace mspc {
ReadingProgress::ReadingProgress(CAnalysisSupport& analysis) : analysis_(analysis) {
  constexpr int kSteps = 3;  // read, screen, scale
  analysis_.dstart(std::string(MessageText(MessageId::kReadingData)), kSteps);
}

ReadingProgress::~ReadingProgress() { analysis_.dstop(); }

ScreeningOptions ScreeningOptionsFrom(const StartupOptions& options,
                                      const std::vector<std::string>& variables) {
  ScreeningOptions screening;
  screening.min_valid_cases = options.min_valid_cases;
  screening.min_percent_valid_cases = options.min_percent_valid_cases;
  screening.min_valid_variables = options.min_valid_variables;
  screening.min_percent_valid_variables = options.min_percent_valid_variables;
  screening.auto_remove_variables = options.auto_remove_variables;
  screening.auto_remove_cases = options.auto_remove_cases;
  screening.scaling = options.scaling;
  screening.user_scales.assign(variables.size(), std::numeric_limits<double>::quiet_NaN());
  for (std::size_t index = 0; index < variables.size(); ++index) {
    const auto found = options.user_scales.find(variables[index]);
    if (found != options.user_scales.end()) screening.user_scales[index] = found->second;
  }
  return screening;
}

WorkingData PrepareWorkingData(CAnalysisSupport& analysis,
                               const CNewDataReader& reader,
                               const PreparationRequest& request,
                               RemovalNotes& notes) {
  ReadingProgress progress(analysis);
  const std::size_t num_training_cases = reader.TrainingCases().size();
  CheckSelection(static_cast<int>(request.selection.variables.size()),
                 request.num_predictors,
                 static_cast<int>(num_training_cases),
                 request.limits,
                 request.has_predictor_role);

  WorkingData data = reader.Read(request.selection);
  if (request.apply_memory_limit) {
    CheckMemoryLimit(data.x.rows(), data.x.cols(), request.memory_limit_mb);
  }
  ScreenWorkingData(analysis, request.screening, request.kind, notes, data);
  if (analysis.host().output != nullptr) ReportRemovals(data.removals, *analysis.host().output);
  ComputeColumnScales(request.screening, data);
  return data;
}

}  // namespace mspc
