#pragma once

#include <memory>

#include "python/ref.h"
#include "utility_manager/platform/process_handle.h"

namespace utility_manager::python {

/// The handle of a child that the client started itself: any object with `pid`, `poll()`,
/// `terminate()`, `wait(timeout)` and `returncode`, such as a `subprocess.Popen`. Its streams stay
/// the client's. Needs the interpreter lock.
std::shared_ptr<platform::ProcessHandle> client_process(Ref process);

}  // namespace utility_manager::python
