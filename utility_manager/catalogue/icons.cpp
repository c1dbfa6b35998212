#include "utility_manager/catalogue/icons.h"

#include <utility>

#include "utility_manager/catalogue/icon_data_uri.h"
#include "utility_manager/failures.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

template <typename Base>
FoundFile find_icon(const std::string& icon_path, const Base& base) {
  return find_below(icon_path, base, {"icons", "static/icons", "assets/icons"});
}

DataUri load(const FoundFile& file, const UtilityInfo& utility_info) {
  const auto& [path, modification_time] = file;
  if (!modification_time) return nullptr;
  if (auto cached = utility_info.icons.find(path, *modification_time)) return cached;
  if (!platform::is_regular_file(path)) return nullptr;
  auto data = std::make_shared<const std::string>(icon_data_uri(path, platform::read_file(path)));
  utility_info.icons.store(path, {data, *modification_time});
  return data;
}

/// An icon that can't be read is none.
DataUri load_unless_unreadable(FoundFile file, const UtilityInfo& utility_info) {
  try {
    if (!file.modification_time) file.modification_time = platform::modification_time(file.path);
    return load(file, utility_info);
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace

std::string resolve_icon_path(const std::string& icon_path,
                              const std::optional<std::string>& plugin_base_path) {
  return find_icon(icon_path, plugin_base_path).path;
}

DataUri load_icon(const std::optional<std::string>& icon_path, const UtilityInfo& utility_info) {
  if (!icon_path || icon_path->empty()) return nullptr;
  return load_unless_unreadable({*icon_path, {}}, utility_info);
}

DataUri load_registered_icon(const UtilityInfo& utility_info, PluginPlaces& places) {
  const auto& fields = utility_info.fields;
  const auto& icon_path = values::at_or_null(fields, "icon_path");
  if (!values::truthy(icon_path)) return nullptr;
  if (!icon_path.is_text()) throw TypeError("icon_path must be a text");
  const auto* const base = places.directory(plugin_name_of(fields), is_builtin_entry(fields));
  return load_unless_unreadable(find_icon(icon_path.text(), base), utility_info);
}

values::Value with_icon(const UtilityInfo& utility_info, const DataUri& loaded) {
  const auto& fields = utility_info.fields.mapping();
  values::Mapping result;
  result.reserve(fields.size() + 1);
  for (const auto& [key, value] : fields) {
    if (key != "icon_path" && !key.starts_with(icon_cache_prefix)) result.append(key, value);
  }
  result["icon"] = loaded ? values::Value(*loaded) : fields.at_or("icon", nullptr);
  return result;
}

values::Value with_icon(const UtilityInfo& utility_info, PluginPlaces& places) {
  return with_icon(utility_info, load_registered_icon(utility_info, places));
}

}  // namespace utility_manager
