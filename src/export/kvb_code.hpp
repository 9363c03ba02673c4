#pragma once

#include <string>
#include <string_view>

#include "deploy/pca_document.hpp"
#include "deploy/pls_document.hpp"

namespace mspc {

/// `text` as a KVB string literal: quoted, inner quotes doubled, control characters (line
/// breaks among them) made blanks, so that a name can never end the literal or the line.
std::string KVBString(std::string_view text);

/// A KVB program that scores the rows of the active spreadsheet with `model` as deployment
/// does and draws their T² chart: the header comments, numbered sections, the declarations,
/// the model's numbers and control settings, the model loop, the error messages and checks,
/// the number formatting function and the chart routine.
std::string GeneratePCAKVBCode(const LoadedPCAModel& model);

/// `GeneratePCAKVBCode` under another kind's comment title line (a model of the PCA type).
std::string GeneratePCATypeKVBCode(const LoadedPCAModel& model, const std::string& comment_title);

/// A KVB program that scores the rows of the active spreadsheet with a PLS `model` as
/// deployment does (X scores by the weights, deflation by the loadings, predictions scaled back
/// to the dependents' units, T² and SPE(Q) of the X block) and draws their T² chart, with the
/// same sections, checks, formatting function and chart routine as the PCA program. Only the
/// predictors are checked and read: new data need not hold the dependents.
std::string GeneratePLSKVBCode(const LoadedPLSModel& model);

/// `GeneratePLSKVBCode` under another kind's comment title line (a model of the PLS type).
std::string GeneratePLSTypeKVBCode(const LoadedPLSModel& model, const std::string& comment_title);

}  // namespace mspc
