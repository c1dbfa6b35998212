#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "utility_manager/start_plan.h"

namespace utility_manager {

/// The interpreter for utility scripts: the client's own, outside any virtual environment; on
/// Windows the one with working pipes. Lets failures of the Python host through.
std::string client_interpreter();

/// The command line of a utility that is started as planned. Fails with `std::invalid_argument` on
/// a configuration that can't be written as JSON.
std::vector<std::string> command_line(const StartPlan& plan, std::int64_t port);

}  // namespace utility_manager
