#pragma once

#include <cstddef>
#include <string_view>

namespace utility_manager::platform {

/// How many bytes a pipe takes at once, whole beside those of other writers.
extern const std::size_t longest_whole_write;

/// Writes of `bytes` what the client's standard output takes, waiting while it takes none; gives
/// their number, 0 when it takes nothing more.
std::size_t write_output(std::string_view bytes);

}  // namespace utility_manager::platform
