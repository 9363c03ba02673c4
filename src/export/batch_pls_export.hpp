#pragma once

#include <string>

#include "deploy/batch_pls_document.hpp"

namespace mspc {

class CMPLSModel;
class CBMPLSModel;
class ProbabilityFunctions;
struct PLSReportOptions;

/// The fitted TMPLS `model` as its document holds it: the PLS model of the unfolded blocks with
/// the limits under `options` (the Results dialog's settings), its fields regrouped as the
/// variables at their times. The title and data source are left for the caller. Throws
/// `AnalysisStop` when a limit cannot be computed.
LoadedTMPLSModel TMPLSDocumentModel(const CMPLSModel& model,
                                    const PLSReportOptions& options,
                                    const ProbabilityFunctions& probability);

/// The fitted BMPLS `model` as its document holds it, with the score limits of every component
/// at every time and the SPE(Q) lines of every time under `options`.
LoadedBMPLSModel BMPLSDocumentModel(const CBMPLSModel& model,
                                    const PLSReportOptions& options,
                                    const ProbabilityFunctions& probability);

/// Append the model document: the batch and time fields, the dependents with their scaling and
/// the process variables, then the TMPLS element with the trajectory constants, the scales of
/// every process column at every time (a column screening removed marked excluded="1"), the
/// T² and SPE(Q) limits and the components as a PLS document holds them (the loadings of the
/// model's predictor columns in unfolded order).
void WriteTMPLSDocument(const LoadedTMPLSModel& model, std::string& text);

/// Append the model document: the batch field, the time field (the dependent, with its
/// scaling and codes), the predictors, then the BMPLS element with the limits and components as
/// a PLS document holds them, a TimeLimits block (per time its SPE element and one X Score
/// element per component) and the trajectory constants.
void WriteBMPLSDocument(const LoadedBMPLSModel& model, std::string& text);

/// The KVB programs of the two kinds: the PLS program of the model (for TMPLS each row of the
/// active spreadsheet is one unfolded batch; for BMPLS one batch at one time, the prediction
/// being the time) under the kind's title.
std::string GenerateTMPLSKVBCode(const LoadedTMPLSModel& model);
std::string GenerateBMPLSKVBCode(const LoadedBMPLSModel& model);

}  // namespace mspc
