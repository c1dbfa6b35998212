#include "utility_manager/catalogue/plugin_places.h"

#include <utility>

#include "utility_manager/failures.h"
#include "utility_manager/host/services.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/paths.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/text.h"
#include "utility_manager/values/truthiness.h"

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

bool is_builtin_plugin(bool builtin, std::string_view plugin_name) {
  return builtin || plugin_name == "builtin_utility_server" || plugin_name.starts_with("builtin_");
}

bool is_builtin_entry(const values::Value& utility_info) {
  const auto& name = values::at_or_null(utility_info, "plugin_name");
  return is_builtin_plugin(values::truthy_at(utility_info, "builtin"),
                           name.is_text() ? std::string_view(name.text()) : "");
}

const std::string& plugin_name_of(const values::Value& utility_info) {
  const auto& name = values::at_or_null(utility_info, "plugin_name");
  if (!name.is_text()) throw TypeError("plugin_name must be a text");
  return name.text();
}

const std::optional<std::string>& PluginPlaces::base_path(const std::string& plugin_name,
                                                          bool is_builtin) {
  return base(plugin_name, is_builtin).path;
}

const platform::SearchedDirectory* PluginPlaces::directory(const std::string& plugin_name,
                                                           bool is_builtin) {
  auto& [path, directory] = base(plugin_name, is_builtin);
  if (!path || path->empty()) return nullptr;
  if (!directory) directory = std::make_shared<const platform::SearchedDirectory>(*path);
  return directory.get();
}

PluginPlaces::Base& PluginPlaces::base(const std::string& plugin_name, bool is_builtin) {
  if (is_builtin) {
    if (!built_in_.path) built_in_.path = host::services().python->built_in_plugin_directory();
    return built_in_;
  }
  const auto known = plugins_.find(plugin_name);
  if (known != plugins_.end()) return known->second;
  return plugins_.emplace(plugin_name, Base{.path = find(plugin_name), .directory = {}})
      .first->second;
}

std::optional<std::string> PluginPlaces::find(const std::string& plugin_name) {
  if (auto path = included_path(plugin_name)) return path;
  if (!plugin_directory_) plugin_directory_ = host::services().local->get_plugin_dir();
  auto path = platform::join_paths(*plugin_directory_, plugin_name);
  return platform::path_exists(path) ? std::optional(std::move(path)) : std::nullopt;
}

std::optional<std::string> PluginPlaces::included_path(const std::string& plugin_name) {
  try {
    if (!configuration_directory_) {
      configuration_directory_ = host::services().local->get_default_config_dir();
    }
    const auto path = platform::join_paths(*configuration_directory_, "plugin_includes.txt");
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

FoundFile find_below(const std::string& path, const platform::SearchedDirectory* base,
                     std::initializer_list<std::string_view> sub_directories) {
  if (platform::is_absolute_path(path) || !base) return {path, std::nullopt};
  const auto look_at = [base](const std::string& candidate) -> std::optional<FoundFile> {
    const auto modification_time = base->modification_time(candidate);
    if (!modification_time) return std::nullopt;
    return FoundFile{platform::absolute_path(platform::join_paths(base->path(), candidate)),
                     modification_time};
  };
  if (auto found = look_at(path)) return *std::move(found);
  if (platform::is_bare_file_name(path)) {
    for (const auto directory : sub_directories) {
      if (auto found = look_at(platform::join_paths(directory, path))) return *std::move(found);
    }
  }
  return {path, std::nullopt};
}

FoundFile find_below(const std::string& path, const std::optional<std::string>& base,
                     std::initializer_list<std::string_view> sub_directories) {
  if (platform::is_absolute_path(path) || !base || base->empty()) return {path, std::nullopt};
  const platform::SearchedDirectory directory(*base);
  return find_below(path, &directory, sub_directories);
}

std::string resolve_script_path(const std::string& script_path,
                                const std::optional<std::string>& plugin_base_path) {
  return find_below(script_path, plugin_base_path, {"utility_servers", "utils"}).path;
}

std::string resolve_plugin_script_path(const std::string& script_path,
                                       const values::Value& utility_info) {
  if (platform::is_absolute_path(script_path)) return script_path;
  PluginPlaces places;
  return resolve_script_path(
      script_path, places.base_path(plugin_name_of(utility_info), is_builtin_entry(utility_info)));
}

std::vector<std::string> text_lines(const std::string& bytes) {
  std::vector<std::string> lines;
  std::string_view rest = bytes;
  while (!rest.empty()) {
    const auto end = rest.find_first_of("\r\n");
    const auto line = rest.substr(0, end);
    if (!values::is_well_formed(line)) break;
    lines.emplace_back(line);
    if (end == rest.npos) break;
    const bool both = rest[end] == '\r' && end + 1 < rest.size() && rest[end + 1] == '\n';
    rest.remove_prefix(end + (both ? 2 : 1));
  }
  return lines;
}

}  // namespace utility_manager
