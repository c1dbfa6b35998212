#pragma once

#include <cstdint>
#include <span>

namespace utility_manager::platform {

/// Fills `bytes` with what nobody can guess. Fails with `SystemError`.
void fill_with_random_bytes(std::span<std::uint8_t> bytes);

}  // namespace utility_manager::platform
