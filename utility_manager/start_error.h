#pragma once

#include <string>
#include <vector>

namespace utility_manager {

/// Turns what a dead child wrote to its standard error into one readable message: the last line
/// that names an error, else the last lines, else `base_msg`.
std::string start_error_digest(const std::string& base_msg, const std::vector<std::string>& lines);

}  // namespace utility_manager
