#pragma once

#include <string>

#include "utility_manager/values/value.h"

namespace utility_manager::host {

/// The client's local settings. Every member may fail with `HostFailure` or `HostInterrupt`.
class Local {
 public:
  virtual ~Local() = default;

  /// The client's configuration directory; need not exist.
  virtual std::string get_default_config_dir() = 0;

  /// The directory that holds one sub-directory per user plugin, named after the plugin.
  virtual std::string get_plugin_dir() = 0;

  /// The language code for a utility; anything not truthy for none.
  virtual values::Value get_default_language() = 0;

  /// A mapping with `server_addr` and `port`, where the Studio's web application listens; anything
  /// not truthy when that isn't known.
  virtual values::Value get_gui_addr() = 0;
};

}  // namespace utility_manager::host
