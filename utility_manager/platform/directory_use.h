#pragma once

#include <memory>
#include <string>

namespace utility_manager::platform {

/// Tells other processes that this one works with the directory, for as long as the result or a
/// child forked without exec lives. Any number of processes may. Null where that can't be told.
std::shared_ptr<const void> use_directory(const std::string& path);

/// True while some process, this one included, tells so.
bool is_directory_used(const std::string& path);

}  // namespace utility_manager::platform
