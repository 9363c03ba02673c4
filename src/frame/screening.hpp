#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "frame/analysis_support.hpp"
#include "frame/working_data.hpp"
#include "host/messages.hpp"
#include "host/output_sink.hpp"

namespace mspc {

/// Which model kind screens, so that removals carry the kind's own cause codes.
enum class ScreeningKind {
  kPCA,              // causes 2-6
  kPLSPredictors,    // causes 12-16
  kPLSDependents,    // causes 17-21
  kTMPLSPredictors,  // causes 22-26
  kTMPLSDependents,  // causes 27-31
  kBMPLSPredictors,  // causes 32-36
  kBMPLSDependents,  // causes 37-41
};

/// What the rows of a working matrix are: single cases, or whole batches named by their batch
/// identifier (the case screen's stop messages then name the batch).
enum class ScreenedRows { kCases, kBatches };

/// The "note shown" flags of one model: each automatic-removal note is shown once per model.
struct RemovalNotes {
  bool cases_noted = false;
  bool variables_noted = false;
};

/// Cause codes of one screening kind, in the order of its five tests.
struct ScreeningCauses {
  int case_count;         // fewer than two valid source variables
  int case_percentage;    // too low a percentage of valid source variables
  int column_count;       // too few valid cases
  int column_percentage;  // too low a percentage of valid cases
  int no_variance;        // no variance over the remaining cases
};

/// The cause codes the kind writes into the removal log.
ScreeningCauses CausesOf(ScreeningKind kind);

/// Remove rich-text formatting from a host name: every `<...>` tag is dropped.
std::string StripRichText(std::string_view text);

/// Screen the working data: first the cases (valid source variables: count against 2, then
/// percentage), then the columns (valid cases: count, percentage, then variance), removing what
/// fails when allowed or stopping with the check's message. Fills the removal flags, counts,
/// column statistics (valid count, mean, standard deviation) and the removal log, then checks the
/// counts that remain (`CheckRemainingCounts`). `notes` keeps the once-per-model note flags.
/// Rows or columns already flagged as removed on entry stay removed and are not screened again,
/// so that a model can carry the case removals of one block into the screen of another.
void ScreenWorkingData(CAnalysisSupport& analysis,
                       const ScreeningOptions& options,
                       ScreeningKind kind,
                       RemovalNotes& notes,
                       WorkingData& data,
                       ScreenedRows rows = ScreenedRows::kCases);

/// Remove the rows that have no valid cell left in the columns not removed, under the kind's
/// case-count cause (or stop with the case-count message when removal is not allowed). This is
/// the case screen of a dependent block: a block of one dependent variable would fail the
/// two-variable count of `ScreenWorkingData` in every row, so its cases are screened by the
/// predictors and only a case without any dependent value is removed on the dependents' account.
void RemoveCasesWithoutValues(CAnalysisSupport& analysis,
                              const ScreeningOptions& options,
                              ScreeningKind kind,
                              RemovalNotes& notes,
                              WorkingData& data);

/// The variable screen of `ScreenWorkingData` alone (count, percentage, variance over the rows
/// not removed), then the counts that remain. `removed_before_case_screen` are the rows that
/// were removed before the model's case screens ran, for the wording of the no-variance stop.
void ScreenWorkingColumns(CAnalysisSupport& analysis,
                          const ScreeningOptions& options,
                          ScreeningKind kind,
                          RemovalNotes& notes,
                          WorkingData& data,
                          const std::vector<bool>& removed_before_case_screen);

/// The number of source variables that keep at least one column.
int CountRemainingSourceVariables(const WorkingData& data);
/// The number of rows not removed.
int CountRemainingCases(const WorkingData& data);

/// Throw `AnalysisStop` with `too_few` when fewer than `minimum` source variables keep a
/// column: 2 with `kTooFewVariablesLeft` for a whole model, 2 with `kTooFewPredictorsLeft` for
/// the predictors of a PLS model, 1 with `kNoDependentLeft` for its dependents.
void CheckRemainingVariables(const WorkingData& data, int minimum, MessageId too_few);
/// Throw `AnalysisStop` (`kTooFewCasesLeft`) when fewer than four rows remain.
void CheckRemainingCases(const WorkingData& data);
/// The checks after screening that fit the kind: the variables (or predictors, or dependents)
/// left, then the cases left.
void CheckRemainingCounts(ScreeningKind kind, const WorkingData& data);

/// Fill `data.scale` from the scaling mode: the standard deviation, 1, or the user's value for
/// the column's source variable (`options.user_scales`, one per source variable, applied to every
/// dummy column of a categorical variable). A column without variance keeps the scale 1, since
/// dividing by a zero deviation is skipped. Throws `AnalysisStop` when a user value is missing,
/// not finite, or not above zero.
void ComputeColumnScales(const ScreeningOptions& options, WorkingData& data);

/// Send the two removal spreadsheets ("Removed variables and causes.", "Removed cases and
/// causes.") for whatever the log holds; an empty list sends no spreadsheet.
void ReportRemovals(const RemovalLog& log, OutputSink& output);

}  // namespace mspc
