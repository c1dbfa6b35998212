#pragma once

#include "python/ref.h"
#include "utility_manager/host/plugin_register.h"
#include "utility_manager/host/python_host.h"

/// The adapters for the client's plugins and its interpreter. They are made with the interpreter
/// lock held and never destroyed.
namespace utility_manager::python {

host::PluginRegister* new_plugin_register(Ref plugin_register);
host::PythonHost* new_python_host();

}  // namespace utility_manager::python
