#pragma once

#include "host/plugin_register.h"
#include "host/python_host.h"
#include "python/gil.h"

/// The adapters for the client's plugins and its interpreter. They are made with the interpreter
/// lock held and never destroyed.
namespace python {

host::PluginRegister* new_plugin_register(Ref plugin_register);
host::PythonHost* new_python_host();

}  // namespace python
