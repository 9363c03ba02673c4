#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "deploy/pca_document.hpp"
#include "models/control_limits.hpp"
#include "models/scaling.hpp"

namespace mspc {

class PCAEngine;
class ProbabilityFunctions;
struct PCAReportOptions;
struct WorkingData;

/// `text` with every character that could end an attribute value or start markup (& < > " ')
/// and every control character written as a reference, so that any name or category text
/// reads back as it was written.
std::string EscapeXmlAttribute(std::string_view text);

/// A real number of a model document: "%.14e".
std::string FormatDocumentReal(double value);

/// The T² or SPE(Q) limit element (`element` is "TS" or "SPE"): the short form with warning 0,
/// or the form with the warning limit and line when `limits.warning` is set.
std::string FormatChartLimitElement(std::string_view element, const ControlLimitSet& limits);

/// The Score element of one component's score limits; `type` is 0 for an X score, 1 for a Y
/// score.
std::string FormatScoreElement(int type, const ControlLimitSet& limits);

/// Append the fields and columns of one block of a fit: the columns that are not excluded,
/// grouped by their source variable in column order, with the block's means and scales and the
/// standard deviations of `data`. Returns the block's column of every model column.
std::vector<std::size_t> AppendBlockFields(const WorkingData& data,
                                           const std::vector<bool>& excluded_columns,
                                           std::span<const double> means,
                                           std::span<const double> scales,
                                           std::vector<DocumentField>& fields,
                                           std::vector<DocumentColumn>& columns);

/// The J columns of one time of a time-wise unfolded block (its first `per_time` columns) with
/// their variables, appended to `variables` and `columns`; every time repeats them.
void AppendTimeColumns(const WorkingData& block,
                       std::size_t per_time,
                       std::vector<DocumentField>& variables,
                       std::vector<DocumentColumn>& columns);

/// The process variables of a time-wise document as predictor DataFields without scaling (it is
/// per time); a categorical one with a Category per code. Names and texts are escaped.
void AppendProcessVariableFields(const std::vector<DocumentField>& variables, std::string& text);

/// The root and header lines and the DataDictionary start tag with `fields` fields, followed by
/// the (empty) preformatted settings line.
void AppendDocumentStart(int fields, std::string& text);

/// One DataField per field with the given optype ("predictor" or "dependent"): a continuous
/// field with its Mean, Std and Scale, a categorical one with a Category per column in column
/// order. Names and category texts are escaped.
void AppendDataFields(const std::vector<DocumentField>& fields,
                      const std::vector<DocumentColumn>& columns,
                      std::string_view optype,
                      std::string& text);

/// The fitted PCA model as its document holds it: the variable dictionary with the
/// means and scales of the model's columns (a categorical variable as one field with a category
/// per dummy column), the T² and SPE(Q) limits of the Results dialog's chart settings, and per
/// component its score limits and loadings. Excluded rows and columns are not part of the model
/// and are left out. Without components the T² lines are not defined (not-a-number). Throws
/// `AnalysisStop` when a limit cannot be computed (no case left).
LoadedPCAModel PCADocumentModel(const PCAEngine& engine,
                                const WorkingData& data,
                                ScalingMode scaling,
                                const PCAReportOptions& options,
                                const ProbabilityFunctions& probability);

/// Append the model document of `model` to `text`; undefined T² lines are written as "nan".
void WritePCADocument(const LoadedPCAModel& model, std::string& text);

/// `WritePCADocument` of `PCADocumentModel`.
void ExportPCADocument(const PCAEngine& engine,
                       const WorkingData& data,
                       ScalingMode scaling,
                       const PCAReportOptions& options,
                       const ProbabilityFunctions& probability,
                       std::string& text);

}  // namespace mspc
