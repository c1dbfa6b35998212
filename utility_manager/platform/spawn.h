#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "utility_manager/platform/handle.h"
#include "utility_manager/platform/process_reference.h"

namespace utility_manager::platform {

/// Starts a program with `output` and `error`, which don't stand in the place of a standard stream,
/// as its own. Standard input, environment and working directory are inherited and nothing else is;
/// signals are at their defaults where a client may have changed them. A name without a folder is
/// searched on PATH; on POSIX a script without an interpreter line is not run. `flags` are Windows'
/// creation flags. Fails with `SystemError` and, for an argument that holds a NUL, with
/// `std::invalid_argument`.
ProcessReference start_program(const std::vector<std::string>& arguments, const Handle& output,
                               const Handle& error, std::uint32_t flags);

/// Takes what is written and drops it. Fails with `SystemError`.
Handle null_output();

}  // namespace utility_manager::platform
