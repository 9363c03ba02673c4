#pragma once

#include <string>

#include "host/messages.hpp"

namespace mspc {

class CMSPC;

/// The work of a Results dialog's export command: save `text` as `file_name` through the
/// host's document store (when it has one) and route it as a text report titled `title`.
/// Returns false after showing the refusal when the document cannot be saved.
bool SaveAndShowExport(CMSPC& analysis,
                       const std::string& file_name,
                       MessageId title,
                       const std::string& text);

}  // namespace mspc
