#pragma once

#include <memory>

#include <pybind11/pybind11.h>

#include "python/arguments.h"
#include "utility_manager/server_info.h"
#include "utility_manager/utility_manager.h"

/// One file per subject binds the surface. The arguments of each operation stand as the client
/// knows them; what each does is told where the core declares it.
namespace python {

using Manager = utility_manager::UtilityServerManager;
using ManagerClass = pybind11::class_<Manager, std::shared_ptr<Manager>>;

void bind_registration(pybind11::module_& module);
void bind_handles(pybind11::module_& module);
void bind_manager(pybind11::module_& module);

// Called by `bind_manager`, each for some sections of the manager's map.
void bind_launch(ManagerClass& manager);
void bind_supervision(ManagerClass& manager);
void bind_state_files(ManagerClass& manager);
void bind_catalogue(ManagerClass& manager);
void bind_views(ManagerClass& manager);

/// The mapping form of an instance, with its handle, and with its lines of standard error where it
/// has a buffer.
pybind11::dict server_info_to_python(const utility_manager::ServerInfo& info);

/// The other way; what isn't written to a state file is ignored.
utility_manager::ServerInfo to_server_info(const pybind11::dict& info);

}  // namespace python
