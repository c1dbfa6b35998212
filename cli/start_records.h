#pragma once

#include <string>
#include <vector>

#include "cli/findings.h"

namespace utility_manager::cli {

/// One per start record. None where the directory can't be read.
std::vector<Finding> look_at_start_records(const std::string& state_directory);

}  // namespace utility_manager::cli
