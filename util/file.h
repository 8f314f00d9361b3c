#pragma once
// Small whole-file helpers for the settings and parameter files.

#include <string>
#include <string_view>

#include "util/result.h"

namespace sheaflow::file {

// Reads the whole file; false when it cannot be opened or read.
bool read_all(const std::string& path, std::string& bytes);
// Writes the whole file through a temporary file in the same folder that is renamed over the
// target only when it is complete, so a failed write leaves the old file as it was.
Result<void> write_all(const std::string& path, std::string_view bytes);
bool exists(const std::string& path);
bool is_directory(const std::string& path);
// Creates the folder and its missing parents; true when it exists afterwards.
bool make_directories(const std::string& path);
// `folder` joined with `name`, with one "/" between them.
std::string join(std::string_view folder, std::string_view name);

}  // namespace sheaflow::file
