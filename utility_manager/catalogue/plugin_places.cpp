#include "utility_manager/catalogue/plugin_places.h"

#include "platform/files.h"
#include "platform/paths.h"
#include "utility_manager/failures.h"
#include "values/text.h"
#include "values/truthiness.h"

namespace utility_manager {

bool is_builtin_plugin(bool builtin, std::string_view plugin_name) {
  return builtin || plugin_name == "builtin_utility_server" || plugin_name.starts_with("builtin_");
}

bool is_builtin_record(const values::Value& utility_info) {
  const auto& name = values::at_or_null(utility_info, "plugin_name");
  return is_builtin_plugin(values::truthy_at(utility_info, "builtin"),
                           name.is_string() ? name.get_ref<const std::string&>() : "");
}

std::string plugin_name_of(const values::Value& utility_info) {
  const auto& name = values::at_or_null(utility_info, "plugin_name");
  if (!name.is_string()) throw TypeError("plugin_name must be a text");
  return name.get<std::string>();
}

FoundFile find_below(const std::string& path, const std::optional<std::string>& base,
                     const std::vector<std::string>& sub_directories) {
  FoundFile found{.path = path, .modification_time = {}};
  if (platform::is_absolute_path(path) || !base || base->empty()) return found;
  const auto look_at = [&found](const std::string& candidate) {
    found.modification_time = platform::modification_time(candidate);
    if (found.modification_time) found.path = platform::absolute_path(candidate);
    return found.modification_time.has_value();
  };
  if (look_at(platform::join_paths(*base, path))) return found;
  if (!platform::is_bare_file_name(path)) return found;
  for (const auto& directory : sub_directories) {
    if (look_at(platform::join_paths(platform::join_paths(*base, directory), path))) break;
  }
  return found;
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
