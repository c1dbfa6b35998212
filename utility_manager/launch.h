#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "utility_manager/platform/process_handle.h"

namespace utility_manager {

class StderrBuffer;

/// A child that has survived the watch, and what it writes to its standard error.
struct LaunchedProcess {
  std::shared_ptr<platform::ProcessHandle> process;
  std::shared_ptr<StderrBuffer> stderr_buffer;
};

/// Spawns a utility with its output relayed, and watches it. Fails with `RuntimeError` and the
/// message for the user when it can't be spawned or has ended at the end of the watch; then no
/// child is left. Blocks for the watch, after an early death for up to the grace time more. Calls
/// `spawned`, which must not fail, with the child's id as soon as there is one.
LaunchedProcess launch(const std::vector<std::string>& process_args,
                       const std::function<void(std::int64_t pid)>& spawned = nullptr);

}  // namespace utility_manager
