#include "platform/paths.h"
#include "utility_manager/catalogue/plugin_places.h"
#include "utility_manager/utility_manager.h"

namespace utility_manager {
std::optional<std::string> UtilityServerManager::_get_plugin_base_path(
    const std::string& plugin_name, bool is_builtin) {
  ClientDirectories directories;
  return plugin_base_path(plugin_name, is_builtin, directories);
}

std::optional<std::string> UtilityServerManager::_get_plugin_path_from_includes(
    const std::string& plugin_name) {
  ClientDirectories directories;
  return included_plugin_path(plugin_name, directories);
}

std::string UtilityServerManager::_resolve_script_path_at_registration(
    const std::string& script_path, const std::optional<std::string>& plugin_base_path) {
  return find_below(script_path, plugin_base_path, {"utility_servers", "utils"}).path;
}

std::string UtilityServerManager::_resolve_plugin_script_path(const std::string& script_path,
                                                              const values::Value& utility_info) {
  if (platform::is_absolute_path(script_path)) return script_path;
  const auto base =
      _get_plugin_base_path(plugin_name_of(utility_info), is_builtin_record(utility_info));
  return _resolve_script_path_at_registration(script_path, base);
}

}  // namespace utility_manager
