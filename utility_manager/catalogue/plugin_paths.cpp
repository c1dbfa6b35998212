#include "host/services.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "utility_manager/catalogue/plugin_places.h"
#include "utility_manager/utility_manager.h"
#include "values/text.h"

namespace utility_manager {
namespace {

/// True when the directory holds a plugin of this name. Runs the plugin's `main` the first time.
bool holds_plugin(const std::string& directory, const std::string& plugin_name) {
  if (!platform::is_regular_file(platform::join_paths(directory, "main.py"))) return false;
  try {
    auto& python = *host::services().python;
    python.ensure_on_module_path(platform::directory_part(directory));
    return python.module_carries_plugin_name(platform::last_component(directory) + ".main",
                                             plugin_name);
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

std::optional<std::string> UtilityServerManager::_get_plugin_base_path(
    const std::string& plugin_name, bool is_builtin) {
  if (is_builtin) return host::services().python->built_in_plugin_directory();
  if (auto path = _get_plugin_path_from_includes(plugin_name)) return path;
  auto path = platform::join_paths(host::services().local->get_plugin_dir(), plugin_name);
  return platform::path_exists(path) ? std::optional(std::move(path)) : std::nullopt;
}

std::optional<std::string> UtilityServerManager::_get_plugin_path_from_includes(
    const std::string& plugin_name) {
  try {
    const auto path = platform::join_paths(host::services().local->get_default_config_dir(),
                                           "plugin_includes.txt");
    if (!platform::is_regular_file(path)) return std::nullopt;
    for (const auto& line : text_lines(platform::read_file(path))) {
      const auto stripped = values::strip(line);
      if (stripped.empty()) continue;
      auto directory = platform::normalised_path(std::string(stripped));
      if (holds_plugin(directory, plugin_name)) return directory;
    }
  } catch (const std::exception&) {  // the plugin isn't found here
  }
  return std::nullopt;
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
