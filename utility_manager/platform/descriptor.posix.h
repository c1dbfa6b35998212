#pragma once

#include "utility_manager/platform/handle.h"

namespace utility_manager::platform {

class Deadline;

inline int descriptor(const Handle& handle) {
  return static_cast<int>(handle.value());
}

/// The same open file at a number from 3 up, since 0 to 2 are free in a client that has closed its
/// standard streams. Empty, with `errno` set, when there is no such number; passes an empty one on.
Handle above_standard(Handle handle);

/// Waits until `descriptor` is ready for `events` of `poll`, or has ended, or is in error; false
/// when the deadline has passed first.
bool wait_until_ready(int descriptor, short events, const Deadline& deadline);

}  // namespace utility_manager::platform
