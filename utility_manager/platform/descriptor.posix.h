#pragma once

#include <string>

#include "utility_manager/platform/handle.h"

namespace utility_manager::platform {

class Deadline;

inline int descriptor(const Handle& handle) {
  return static_cast<int>(handle.value());
}

/// The same open file at a number from 3 up, since 0 to 2 are free in a client that has closed its
/// standard streams. Empty, with `errno` set, when there is no such number; passes an empty one on.
Handle above_standard(Handle handle);

/// Empty, with `errno` set, when it can't be opened.
Handle open_directory(const std::string& path);

/// The directory, open and locked as `operation` of `flock` says, against every other holder on the
/// system. Empty when that isn't to be had before the deadline.
Handle locked_directory(const std::string& path, int operation, const Deadline& deadline);

/// Waits until `descriptor` is ready for `events` of `poll`, or has ended, or is in error; false
/// when the deadline has passed first.
bool wait_until_ready(int descriptor, short events, const Deadline& deadline);

}  // namespace utility_manager::platform
