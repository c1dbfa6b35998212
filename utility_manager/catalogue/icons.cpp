#include <utility>

#include "platform/files.h"
#include "utility_manager/catalogue/icon_data_uri.h"
#include "utility_manager/catalogue/plugin_places.h"
#include "utility_manager/utility_manager.h"
#include "utility_manager/views/view_context.h"
#include "values/members.h"
#include "values/truthiness.h"

namespace utility_manager {
namespace {

FoundFile find_icon(const std::string& icon_path, const std::optional<std::string>& base) {
  return find_below(icon_path, base, {"icons", "static/icons", "assets/icons"});
}

std::shared_ptr<const std::string> load(const FoundFile& file, const UtilityInfo& utility_info) {
  const auto& [path, modification_time] = file;
  if (!modification_time) return nullptr;
  if (auto cached = utility_info.icons.find(path, *modification_time)) return cached;
  if (!platform::is_regular_file(path)) return nullptr;
  auto data = std::make_shared<const std::string>(icon_data_uri(path, platform::read_file(path)));
  utility_info.icons.store(path, {data, *modification_time});
  return data;
}

/// An icon that can't be read is none.
std::shared_ptr<const std::string> load_unless_unreadable(FoundFile file,
                                                          const UtilityInfo& utility_info) {
  try {
    if (!file.modification_time) file.modification_time = platform::modification_time(file.path);
    return load(file, utility_info);
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace

std::string UtilityServerManager::_resolve_icon_path(
    const std::string& icon_path, const std::optional<std::string>& plugin_base_path) {
  return find_icon(icon_path, plugin_base_path).path;
}

std::shared_ptr<const std::string> UtilityServerManager::_load_icon_as_base64(
    const std::optional<std::string>& icon_path, const UtilityInfo& utility_info) const {
  if (!icon_path || icon_path->empty()) return nullptr;
  return load_unless_unreadable({*icon_path, {}}, utility_info);
}

values::Value UtilityServerManager::_add_icon_to_utility_info(
    const UtilityInfo& utility_info) const {
  ViewContext context;
  return add_icon(utility_info, context);
}

values::Value UtilityServerManager::add_icon(const UtilityInfo& utility_info,
                                             ViewContext& context) const {
  auto result = values::Value::object();
  auto& members = result.get_ref<values::Value::object_t&>();
  for (const auto& [key, value] : utility_info.fields.get_ref<const values::Value::object_t&>()) {
    if (key != "icon_path" && !key.starts_with("_icon_cache_")) members.emplace_back(key, value);
  }
  members["icon"] = icon_of(utility_info, context);
  return result;
}

values::Value UtilityServerManager::icon_of(const UtilityInfo& utility_info,
                                            ViewContext& context) const {
  const auto& fields = utility_info.fields;
  const auto& icon_path = values::at_or_null(fields, "icon_path");
  if (values::truthy(icon_path)) {
    if (!icon_path.is_string()) throw TypeError("icon_path must be a text");
    const auto& base = context.plugin_base_path(plugin_name_of(fields), is_builtin_record(fields));
    auto file = find_icon(icon_path.get_ref<const std::string&>(), base);
    if (const auto data = load_unless_unreadable(std::move(file), utility_info)) return *data;
  }
  return values::at_or_null(fields, "icon");
}

}  // namespace utility_manager
