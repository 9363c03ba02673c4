#pragma once

#include <string>
#include <string_view>

#include "deploy/pca_document.hpp"
#include "deploy/pls_document.hpp"
#include "host/messages.hpp"

namespace mspc {

/// `text` made safe for a one-line `//` comment of generated C: control characters (line breaks
/// among them) become blanks, "??" is split so that no trigraph forms, and a final backslash is
/// followed by a period so that it cannot continue the comment onto the next line.
std::string CommentSafe(std::string_view text);

/// C99 source that scores one case with `model` as deployment does. It defines
///
///   int MSPCPCAComponents(const double *x, double *components);
///   int MSPCPCAStatistics(const double *x, double *components, double *t2, double *spe);
///
/// `x[0]` is the case number and each variable sits at its 1-based location; a not-a-number
/// cell is missing and the case is scored over the cells present. Both return the number of
/// components, or 0 when `components` (or `t2`, `spe`) is null. The model's limits are defined
/// as constants for the caller: `MSPCPCATSControlLine`, `MSPCPCATSWarningLine`,
/// `MSPCPCASPEControlLine`, `MSPCPCASPEWarningLine` and per component
/// `MSPCPCAScoreControlUpper[a]`, `...Lower`, `MSPCPCAScoreWarningUpper[a]`, `...Lower`
/// (a line that is not set is NAN). Variable names appear only in `//` comments, made safe.
std::string GeneratePCACCode(const LoadedPCAModel& model);

/// `GeneratePCACCode` under another kind's comment title (a model of the PCA type, such as the
/// unfolded TMPCA model).
std::string GeneratePCATypeCCode(const LoadedPCAModel& model, const std::string& comment_title);

/// The C export of a model of a PLS kind, whose C deployment is not generated: the first line
/// with the analysis title, the kind's comment title (`code_title` behind "//"), the data
/// source, then the three fixed comment lines in place of the code.
std::string GenerateUnsupportedPLSCCode(MessageId code_title,
                                        const std::string& title,
                                        const std::string& data_source);

/// `GenerateUnsupportedPLSCCode` of a PLS model.
std::string GeneratePLSCCode(const LoadedPLSModel& model);

}  // namespace mspc
