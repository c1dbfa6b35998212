#include "host/services.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "utility_manager/catalogue/plugin_places.h"
#include "utility_manager/utility_manager.h"
#include "values/text_form.h"
#include "values/truthiness.h"

namespace utility_manager {
namespace {

/// How often a collection that a refresh overtook is made again before it is handed out uncached.
constexpr int collection_attempts = 3;

/// Calls `visit(registrations, plugin_name)` for plugin after plugin until it gives true. A failure
/// of one plugin loses the rest of that plugin only, one of the walk ends it.
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

/// Replaces the script path by the resolved one, as the registering plugin's.
void resolve_script(UtilityRegistration& record, const std::string& plugin_name) {
  const bool builtin = is_builtin_plugin(values::truthy(record.builtin), plugin_name);
  const auto base = UtilityServerManager::_get_plugin_base_path(plugin_name, builtin);
  if (!values::truthy(record.script_path)) return;
  if (!record.script_path.is_string()) throw TypeError("script_path must be a text");
  record.script_path = UtilityServerManager::_resolve_script_path_at_registration(
      record.script_path.get<std::string>(), base);
}

}  // namespace

UtilityMap UtilityServerManager::_collect_registry_from_plugins() {
  UtilityMap registry;
  walk_plugins([&](const host::Registrations& items, const std::string& plugin_name) {
    for (std::size_t index = 0; index < items.count(); ++index) {
      if (!items.is_mapping(index)) continue;
      auto record = UtilityRegistration::from_dict(items.mapping(index), plugin_name);
      if (!values::truthy(record.utility_name)) continue;
      resolve_script(record, plugin_name);
      registry.set(std::make_shared<const UtilityInfo>(record.to_dict()));
    }
    return false;
  });
  return registry;
}

UtilityInfoPtr UtilityServerManager::_get_utility_info_from_plugins(
    const std::string& utility_name) {
  UtilityInfoPtr found;
  walk_plugins([&](const host::Registrations& items, const std::string& plugin_name) {
    for (std::size_t index = 0; index < items.count(); ++index) {
      if (!items.is_named(index, utility_name)) continue;
      auto record = UtilityRegistration::from_dict(items.mapping(index), plugin_name);
      resolve_script(record, plugin_name);
      found = std::make_shared<const UtilityInfo>(record.to_dict());
      return true;
    }
    return false;
  });
  return found;
}

// The thread-safety analysis can't follow a flag; the caller's word stands.
UtilityInfoPtr UtilityServerManager::_get_utility_info(const std::string& utility_name,
                                                       bool locked) NO_THREAD_SAFETY_ANALYSIS {
  if (auto known = registry_.snapshot()->find(utility_name)) return known;
  const auto generation = registry_.generation();
  auto found = _get_utility_info_from_plugins(utility_name);
  if (!found) return nullptr;
  if (locked) {
    remember(utility_name, found, generation);
  } else {
    const LockHeld held(lock);
    remember(utility_name, found, generation);
  }
  return found;
}

void UtilityServerManager::remember(const std::string& utility_name, const UtilityInfoPtr& info,
                                    std::uint64_t generation) {
  registry_.add(utility_name, info, generation);
}

std::vector<UtilityInfoPtr> UtilityServerManager::_get_all_utilities() {
  if (const auto whole = registry_.whole()) return whole->records();
  UtilityMap collection;
  for (int attempt = 0; attempt < collection_attempts; ++attempt) {
    const auto generation = registry_.generation();
    collection = _collect_registry_from_plugins();
    if (const auto whole = merge(collection, generation)) return whole->records();
  }
  return collection.records();
}

std::shared_ptr<const UtilityMap> UtilityServerManager::merge(const UtilityMap& collection,
                                                              std::uint64_t generation) {
  const LockHeld held(lock);
  return registry_.merge(collection, generation);
}

void UtilityServerManager::refresh_utility_registry() {
  const LockHeld held(lock);
  registry_.clear();
}

std::string UtilityServerManager::_get_utility_script_path(
    const std::string& utility_name, const std::optional<std::string>& custom_path) {
  if (custom_path && !custom_path->empty()) return *custom_path;
  const auto info = _get_utility_info(utility_name);
  if (!info || info->fields.empty()) {
    throw RuntimeError("Utility '" + utility_name +
                       "' is not registered in any plugin. Please ensure the plugin has "
                       "registered this utility via 'utility_server_register' hook.");
  }
  if (!info->fields.contains("script_path")) {
    throw RuntimeError("Utility '" + utility_name +
                       "' is registered but 'script_path' is missing in registration info.");
  }
  const auto& registered = info->fields.at("script_path");
  if (!registered.is_string()) throw TypeError("script_path must be a text");
  const auto resolved = _resolve_plugin_script_path(registered.get<std::string>(), info->fields);
  if (platform::path_exists(resolved)) return resolved;
  throw RuntimeError("Utility script not found: " + resolved + "\nUtility: " + utility_name +
                     "\nRegistered path: " + registered.get<std::string>() +
                     "\nResolved path: " + resolved);
}

}  // namespace utility_manager
