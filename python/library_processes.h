#pragma once

#include "python/ref.h"
#include "utility_manager/platform/process.h"

namespace utility_manager::python {

/// The processes of the system as the Python library `psutil` shows them. Never destroyed. Needs
/// the interpreter lock.
const platform::ProcessTable& new_library_processes(Ref psutil);

}  // namespace utility_manager::python
