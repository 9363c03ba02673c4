#pragma once

// The pieces every model-document reader shares: required children, numbers that must be
// finite, counts that must agree with the elements present, limit elements and fields.

#include <cstddef>
#include <string_view>
#include <vector>

#include "deploy/pca_document.hpp"
#include "host/xml_document.hpp"
#include "models/control_limits.hpp"
#include "models/scaling.hpp"

namespace mspc::document {

/// The first child named `name`; throws `AnalysisStop` when there is none.
const XmlElement& Required(const XmlElement& parent, std::string_view name);
std::vector<const XmlElement*> ChildrenNamed(const XmlElement& parent, std::string_view name);
/// A whole attribute value read as a number; not-a-number when it is missing or not one.
double ParseNumber(const XmlElement& element, std::string_view attribute);
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

}  // namespace mspc::document
