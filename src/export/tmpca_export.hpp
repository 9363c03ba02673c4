#pragma once

#include <string>

#include "deploy/tmpca_document.hpp"

namespace mspc {

class CMPCAModel;
class ProbabilityFunctions;
struct PCAReportOptions;

/// The fitted TMPCA `model` as its document holds it, with T², SPE(Q) and score limits under
/// `options` (the Results dialog's settings). The title and data source are left for the caller.
/// Throws `AnalysisStop` when a limit cannot be computed (no batch left).
LoadedTMPCAModel TMPCADocumentModel(const CMPCAModel& model,
                                    const PCAReportOptions& options,
                                    const ProbabilityFunctions& probability);

/// Append the model document of `model` to `text`: the batch, time and process-variable
/// fields, then the TMPCA element with the trajectory limits, the T² and SPE(Q) limits, the
/// scales of every column at every time (a column removed by screening marked excluded="1")
/// and per component its score limits and its J × K loadings in unfolded column order.
void WriteTMPCADocument(const LoadedTMPCAModel& model, std::string& text);

/// C99 source that scores one unfolded batch as deployment does: the PCA code of the unfolded
/// model under the TMPCA titles, `x[k × J + j + 1]` holding variable j at time k (x[0] is the
/// batch number); see `GeneratePCACCode` for the functions and constants it defines.
std::string GenerateTMPCACCode(const LoadedTMPCAModel& model);

/// The KVB program of the unfolded model under the TMPCA titles; each row of the active
/// spreadsheet is one unfolded batch.
std::string GenerateTMPCAKVBCode(const LoadedTMPCAModel& model);

}  // namespace mspc
