#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "utility_manager/platform/process_handle.h"

namespace utility_manager::platform {

/// What `System::spawn` does. A handle that is dropped while its child runs leaves the child to a
/// later call, which collects it once it has ended.
std::shared_ptr<ProcessHandle> spawn_child(const std::vector<std::string>& arguments,
                                           std::uint32_t flags = 0);

/// The handle of the child with this id, where there still is one.
std::shared_ptr<ProcessHandle> own_child(std::int64_t pid);

/// What `Process::collect` does, for a process that still has this id.
void collect_child(const ProcessReference& process);

}  // namespace utility_manager::platform
