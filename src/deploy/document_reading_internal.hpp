#pragma once

// The pieces every model-document reader shares: required children, numbers that must be
// finite, counts that must agree with the elements present, limit elements and fields.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "deploy/pca_document.hpp"
#include "deploy/pls_document.hpp"
#include "host/xml_document.hpp"
#include "models/control_limits.hpp"
#include "models/scaling.hpp"

namespace mspc::document {

/// The first child named `name`; throws `AnalysisStop` when there is none.
const XmlElement& Required(const XmlElement& parent, std::string_view name);
std::vector<const XmlElement*> ChildrenNamed(const XmlElement& parent, std::string_view name);
/// A whole attribute value read as a number; not-a-number when it is missing or not one.
double ParseNumber(const XmlElement& element, std::string_view attribute);
/// The `name` attribute; throws `AnalysisStop` when it is missing.
std::string NameOf(const XmlElement& element);
/// The `text` attribute, or an empty text.
std::string TextOf(const XmlElement& element);
/// A finite number; throws `AnalysisStop` otherwise.
double Real(const XmlElement& element, std::string_view attribute);
/// A whole non-negative number that fits an int; throws `AnalysisStop` otherwise.
int Count(const XmlElement& element, std::string_view attribute);
/// Throws `AnalysisStop` when `declared` differs from the `held` elements named `what`.
void CheckCount(const XmlElement& element, std::string_view what, int declared, std::size_t held);
/// The T² or SPE(Q) element; lines may be not-a-number only when `lines_defined` is false.
ControlLimitSet ReadChartLimits(const XmlElement& element, bool lines_defined);
ControlLimitSet ReadScoreLimits(const XmlElement& element);
/// One DataField with Mean, Std and Scale children (or Category children that have them), its
/// columns appended to `columns` with field number `index`.
DocumentField ReadField(const XmlElement& element,
                        std::size_t index,
                        std::vector<DocumentColumn>& columns);
/// The `scaling` attribute of a model element.
ScalingMode ReadScalingMode(const XmlElement& model);

/// The T² and SPE(Q) elements and the components of a PLS-type model element into `model`,
/// whose dependent and predictor columns are already read.
void ReadPLSLimitsAndComponents(const XmlElement& pls, LoadedPLSModel& model);

/// One process variable of a time-wise document (a DataField without scaling; categorical with
/// Category or Code children), its columns of one time appended to `columns`.
void ReadProcessVariable(const XmlElement& element,
                         std::vector<DocumentField>& variables,
                         std::vector<DocumentColumn>& columns);

/// The Time elements of `scales_element`, one per time label, each with one Scale per column of
/// one time: every unfolded column's exclusion mark, and the model's columns (the ones not
/// excluded) with their scaling as the fields of the variables at their times ("name {time}").
void ReadUnfoldedScales(const XmlElement& scales_element,
                        const std::vector<std::string>& time_labels,
                        const std::vector<DocumentField>& variables,
                        const std::vector<DocumentColumn>& columns,
                        std::vector<bool>& excluded,
                        std::vector<DocumentField>& fields,
                        std::vector<DocumentColumn>& unfolded_columns);

}  // namespace mspc::document
