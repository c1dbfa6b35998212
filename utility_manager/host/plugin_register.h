#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "utility_manager/values/value.h"

namespace utility_manager::host {

/// What one plugin gave for its hook: the items of a list, or one value as its only item; none for
/// null and for anything empty. An item is converted only when it is asked for, since a failure of
/// one must not lose those before it.
class Registrations {
 public:
  virtual ~Registrations() = default;

  virtual std::size_t count() const = 0;
  virtual bool is_mapping(std::size_t index) const = 0;

  /// True when the item is a mapping whose key `utility_name`, as it stands, equals `utility_name`.
  virtual bool is_named(std::size_t index, const std::string& utility_name) const = 0;

  /// The item as a mapping. May fail with `TypeError` on a value that is none of the JSON kinds.
  virtual values::Value mapping(std::size_t index) const = 0;
};

/// A plugin that implements the hook. Every member may fail with `HostFailure` or `HostInterrupt`.
class Plugin {
 public:
  virtual ~Plugin() = default;

  /// The plugin's `plugin_name`; where that is absent or empty its `name`; where that is absent
  /// "unknown".
  virtual std::string name() const = 0;

  /// Calls the plugin's `utility_server_register`.
  virtual std::unique_ptr<Registrations> utility_server_register() const = 0;
};

/// Goes through the plugins one by one; those behind the last one asked for are not touched.
class PluginWalk {
 public:
  virtual ~PluginWalk() = default;

  /// Null behind the last plugin. May fail with `HostFailure` or `HostInterrupt`.
  virtual std::unique_ptr<Plugin> next() = 0;
};

/// The client's plugin registry.
class PluginRegister {
 public:
  virtual ~PluginRegister() = default;

  /// The plugins that implement `hook`, in the registry's order. May fail with `HostFailure` or
  /// `HostInterrupt`.
  virtual std::unique_ptr<PluginWalk> get_plugins_by_hook(const std::string& hook) = 0;
};

}  // namespace utility_manager::host
