#pragma once

#include <cstdint>

#include "utility_manager/host/device.h"
#include "utility_manager/host/local.h"
#include "utility_manager/host/organization.h"
#include "utility_manager/host/plugin_register.h"
#include "utility_manager/host/python_host.h"

namespace utility_manager::host {

/// The services that the system calls. Borrowed: whoever binds them keeps them alive for as long as
/// a manager or one of its threads may call them, as a rule to the end of the process.
struct Services {
  PluginRegister* plugin_register = nullptr;
  Local* local = nullptr;
  Organization* organization = nullptr;
  Device* device = nullptr;
  PythonHost* python = nullptr;
};

/// Binds the services. Call it before the first manager is made, and while no thread uses one.
void bind(const Services& services);

/// The services bound, for whoever is about to ask one. A service that was never bound is null.
const Services& services();

/// How often anybody has been about to ask: while it stays the same, nothing has changed by the
/// client's doing.
std::uint64_t times_asked();

}  // namespace utility_manager::host
