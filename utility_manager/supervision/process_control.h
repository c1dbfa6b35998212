#pragma once

#include <cstdint>
#include <memory>

#include "utility_manager/platform/process.h"
#include "utility_manager/platform/process_handle.h"

/// Ending processes. Takes no lock of the manager and may run under any.
namespace utility_manager {

/// True when the id names a process, an ended one that nobody has collected included. Never fails.
bool is_process_alive(std::int64_t pid);

/// Ends a process and its descendants at once; true when the process has gone. Blocks for up to 10
/// seconds, on Windows 20. May fail with a refused signal.
bool kill_process_tree(std::int64_t pid);

/// The same for the very process that `root` refers to, never for a later owner of its id.
bool kill_process_tree(const std::shared_ptr<platform::Process>& root);

/// Ends an instance given by handle, by id, or both, and confirms it: asks an own child to end,
/// waits up to 5 seconds, then ends the tree. `process` may be null, `pid` 0.
bool stop_utility_process(const std::shared_ptr<platform::ProcessHandle>& process,
                          std::int64_t pid);

}  // namespace utility_manager
