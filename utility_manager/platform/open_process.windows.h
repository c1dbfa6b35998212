#pragma once

#include <cstdint>

#include "utility_manager/platform/handle.h"

namespace utility_manager::platform {

/// To wait for the process that has this id and to ask it, with `rights` beside these; empty where
/// there is none, and where the system refuses. One that has ended can be opened for a while.
Handle open_process(std::int64_t pid, std::uint32_t rights = 0);

}  // namespace utility_manager::platform
