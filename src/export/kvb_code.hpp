#pragma once

#include <string>
#include <string_view>

#include "deploy/pca_document.hpp"

namespace mspc {

/// `text` as a KVB string literal: quoted, inner quotes doubled, control characters (line
/// breaks among them) made blanks, so that a name can never end the literal or the line.
std::string KVBString(std::string_view text);

/// A KVB program that scores the rows of the active spreadsheet with `model` as deployment
/// does and draws their T² chart: the header comments, numbered sections, the declarations,
/// the model's numbers and control settings, the model loop, the error messages and checks,
/// the number formatting function and the chart routine.
std::string GeneratePCAKVBCode(const LoadedPCAModel& model);

}  // namespace mspc
