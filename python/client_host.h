#pragma once

#include "utility_manager/host/services.h"

namespace utility_manager::python {

/// Imports the client's services and gives their adapters, which are never destroyed; the process
/// inspection is left null. Needs the interpreter lock; throws what an import raises, and keeps
/// nothing then.
host::Services import_client_services();

}  // namespace utility_manager::python
