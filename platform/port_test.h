#pragma once

#include <cstdint>

namespace platform {

/// What `System::can_bind` does.
bool can_bind(std::int64_t port);

}  // namespace platform
