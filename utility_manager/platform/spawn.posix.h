#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include "utility_manager/platform/handle.h"

namespace utility_manager::platform {

/// Starts a program with `output` and `error`, numbered from 3 up, as its descriptors 1 and 2.
/// Descriptor 0, environment and working directory are inherited and nothing else is; signals are
/// at their defaults where a client may have changed them. A name without a slash is searched on
/// PATH; a script without an interpreter line is not run. Fails with `SystemError` and, for an
/// argument that holds a NUL byte, with `std::invalid_argument`.
pid_t start_program(const std::vector<std::string>& arguments, const Handle& output,
                    const Handle& error);

}  // namespace utility_manager::platform
