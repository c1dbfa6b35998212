#include "utility_manager/catalogue/plugin_walk.h"

#include "utility_manager/catalogue/plugin_places.h"
#include "utility_manager/failures.h"
#include "utility_manager/host/services.h"
#include "utility_manager/registration/registration.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

/// Calls `visit(registrations, plugin_name)` for plugin after plugin until it gives true.
template <typename Visit>
void walk_plugins(Visit visit) {
  try {
    const auto walk =
        host::services().plugin_register->get_plugins_by_hook("utility_server_register");
    while (const auto plugin = walk->next()) {
      try {
        const auto name = plugin->name();
        if (visit(*plugin->utility_server_register(), name)) return;
      } catch (const std::exception&) {  // the next plugin follows
      }
    }
  } catch (const std::exception&) {  // what was found so far stands
  }
}

/// The catalogue's entry for a registration, its script path resolved in the plugin's own place.
UtilityInfoPtr entry_of(UtilityRegistration registration, const std::string& plugin_name) {
  const bool builtin = is_builtin_plugin(values::truthy(registration.builtin), plugin_name);
  const auto base = PluginPlaces().base_path(plugin_name, builtin);
  auto& script_path = registration.script_path;
  if (values::truthy(script_path)) {
    if (!script_path.is_text()) throw TypeError("script_path must be a text");
    script_path = resolve_script_path(script_path.text(), base);
  }
  return std::make_shared<const UtilityInfo>(registration.to_dict());
}

}  // namespace

UtilityMap collect_from_plugins() {
  UtilityMap collection;
  walk_plugins([&](const host::Registrations& items, const std::string& plugin_name) {
    for (std::size_t index = 0; index < items.count(); ++index) {
      if (!items.is_mapping(index)) continue;
      auto registration = UtilityRegistration::from_dict(items.mapping(index), plugin_name);
      if (!values::truthy(registration.utility_name)) continue;
      collection.set(entry_of(std::move(registration), plugin_name));
    }
    return false;
  });
  return collection;
}

UtilityInfoPtr find_in_plugins(const std::string& utility_name) {
  UtilityInfoPtr found;
  walk_plugins([&](const host::Registrations& items, const std::string& plugin_name) {
    for (std::size_t index = 0; index < items.count(); ++index) {
      if (!items.is_named(index, utility_name)) continue;
      found =
          entry_of(UtilityRegistration::from_dict(items.mapping(index), plugin_name), plugin_name);
      return true;
    }
    return false;
  });
  return found;
}

}  // namespace utility_manager
