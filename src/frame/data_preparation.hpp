#pragma once

#include <string>
#include <vector>

#include "frame/data_reader.hpp"
#include "frame/startup_options.hpp"

namespace mspc {

/// The "Reading data..." progress bar of a preparation: shown while it lives, taken down however
/// the preparation ends.
class ReadingProgress {
 public:
  explicit ReadingProgress(CAnalysisSupport& analysis);
  ~ReadingProgress();
  ReadingProgress(const ReadingProgress&) = delete;
  ReadingProgress& operator=(const ReadingProgress&) = delete;

 private:
  CAnalysisSupport& analysis_;
};

/// What one block of a model reads and how it is screened.
struct PreparationRequest {
  DataSelection selection;
  ScreeningOptions screening;
  ScreeningKind kind = ScreeningKind::kPCA;
  SelectionLimits limits;
  int num_predictors = 0;  // for the predictor checks of the PLS kinds
  bool has_predictor_role = false;
  bool apply_memory_limit = false;
  int memory_limit_mb = 0;
};

/// The screening options of a Startup's options, with the user-defined scales laid out per
/// selected variable (NaN where the user gave none).
ScreeningOptions ScreeningOptionsFrom(const StartupOptions& options,
                                      const std::vector<std::string>& variables);

/// Read, check, screen and scale one block under the "Reading data..." progress bar: the
/// selection checks on the training cases, the memory limit, the case and variable screens with
/// their removal notes, the removal reports, and the column scales. Throws `AnalysisStop` with
/// the failed check's message; nothing is kept from a failed preparation.
WorkingData PrepareWorkingData(CAnalysisSupport& analysis,
                               const CNewDataReader& reader,
                               const PreparationRequest& request,
                               RemovalNotes& notes);

}  // namespace mspc
