#pragma once

#include <optional>
#include <string>

namespace utility_manager::host {

/// What the system needs of the Python interpreter that the client runs in. Every member may fail
/// with `HostFailure` or `HostInterrupt`.
class PythonHost {
 public:
  virtual ~PythonHost() = default;

  /// The interpreter's `_base_executable`; nothing where it is absent or no text.
  virtual std::optional<std::string> base_executable() = 0;

  /// The interpreter's `executable`; empty where it is unknown.
  virtual std::string executable() = 0;

  /// Puts `directory` at the front of `sys.path` unless it is on it.
  virtual void ensure_on_module_path(const std::string& directory) = 0;

  /// Imports the module `name` (at most once per process) and tells whether its namespace holds
  /// `__VELMORA_PLUGIN_NAME__` with a value equal to `plugin_name`.
  virtual bool module_carries_plugin_name(const std::string& name,
                                          const std::string& plugin_name) = 0;

  /// The directory of the file of package `velmora_client.plugin.built_in`, imported on first need.
  virtual std::string built_in_plugin_directory() = 0;
};

}  // namespace utility_manager::host
