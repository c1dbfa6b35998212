#pragma once

#include <algorithm>

#include "utility_manager/platform/deadline.h"

namespace utility_manager::python {

/// Has the interpreter handle the signals that came for it, where this is its main thread; throws
/// what a handler raises. For threads that have given the interpreter lock up.
void look_for_signals();

/// Waits in slices and looks for signals between them, as the interpreter's own waits do. `wait`
/// gets the seconds of a slice and tells whether what it waits for has come; the result is the
/// last that it told.
template <typename Wait>
bool wait_in_slices(const platform::Deadline& deadline, Wait wait) {
  constexpr int longest = 200;  // milliseconds
  for (;;) {
    const int left = deadline.milliseconds_left();
    if (wait((left < 0 ? longest : std::min(left, longest)) / 1000.0)) return true;
    if (deadline.passed()) return false;
    look_for_signals();
  }
}

}  // namespace utility_manager::python
