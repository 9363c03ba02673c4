#pragma once

#include <string>

namespace mspc::platform {

/// Read a whole file into `content`. Refuse a folder, and a file larger than `max_megabytes`
/// when that is positive. False (with `error` filled) when the file could not be read.
bool ReadWholeFile(const std::string& path,
                   std::string* content,
                   std::string* error,
                   int max_megabytes = 0);

/// Write `content` to `path` whole or not at all: write a temporary file in the same folder,
/// flush it to disk, close it and rename it over `path`. On failure the temporary file is
/// removed, `path` is left as it was, and false is returned with `error` filled.
bool WriteFileAtomically(const std::string& path, const std::string& content, std::string* error);

}  // namespace mspc::platform
