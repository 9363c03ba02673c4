#pragma once

#include <string>

#include "deploy/pls_document.hpp"
#include "models/scaling.hpp"

namespace mspc {

class PLSEngine;
class ProbabilityFunctions;
struct PLSReportOptions;
struct WorkingData;

/// The fitted PLS model as its document holds it: the dependent and predictor dictionaries
/// with the means and scales the engine used (a zero scale written as 1, as the engine divides),
/// the T² and SPE(Q) limits of the X block under the Results dialog's chart settings, and per
/// component its inner coefficient, Y loadings q with the Y score limits, and X loadings p,
/// weights w and X score limits. Excluded columns are left out. Throws `AnalysisStop` when a
/// limit cannot be computed (no case left).
LoadedPLSModel PLSDocumentModel(const PLSEngine& engine,
                                const WorkingData& predictors,
                                const WorkingData& dependents,
                                ScalingMode scaling,
                                const PLSReportOptions& options,
                                const ProbabilityFunctions& probability);

/// Append the model document of `model` to `text`; undefined T² lines are written as "nan".
void WritePLSDocument(const LoadedPLSModel& model, std::string& text);

/// Append the body of a PLS-type model element: the T² and SPE(Q) elements, then Components
/// with a YComponent and an XComponent per component (score limits and loadings).
void AppendPLSLimitsAndComponents(const LoadedPLSModel& model, std::string& text);

}  // namespace mspc
