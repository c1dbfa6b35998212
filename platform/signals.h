#pragma once

#include <cstdint>

#include "platform/system.h"

namespace platform {

/// What `System::signal` and `System::can_signal` do.
void send_signal(std::int64_t pid, Signal signal);
bool can_signal(std::int64_t pid);

}  // namespace platform
