#pragma once

namespace platform {

/// Seconds since the Unix epoch.
double wall_clock();

/// Blocks the calling thread; not at all when `seconds` is 0 or less.
void sleep(double seconds);

}  // namespace platform
