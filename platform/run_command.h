#pragma once

#include <string>
#include <vector>

namespace platform {

/// What `System::run_command` does.
void run_command(const std::vector<std::string>& arguments, double seconds);

}  // namespace platform
