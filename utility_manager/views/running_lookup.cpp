#include "utility_manager/addresses.h"
#include "utility_manager/utility_manager.h"
#include "utility_manager/views/running_entry.h"
#include "utility_manager/views/view_context.h"

namespace utility_manager {

using values::Value;

Value UtilityServerManager::_find_running_utility(const std::string& utility_name,
                                                  const std::optional<std::string>& group_name) {
  ViewContext context;
  return find_running(utility_name, group_name, context);
}

Value UtilityServerManager::find_running(const std::string& utility_name,
                                         const std::optional<std::string>& group_name,
                                         ViewContext& context) {
  sweep_dead_servers();
  auto entry = match_running(utility_name, group_name, context);
  if (!entry) return nullptr;
  const auto info = context.utility_info(*this, utility_name, false);
  (*entry)["icon"] = info ? icon_of(*info, context) : Value();
  return *std::move(entry);
}

std::optional<Value> UtilityServerManager::match_running(
    const std::string& utility_name, const std::optional<std::string>& group_name,
    ViewContext& context) {
  const LockHeld held(lock);
  for (const auto& record : servers_.records()) {
    if (record->utility_name != utility_name || record->group_name != group_name) continue;
    const auto info = catalogue_record(*record, true, context);
    const auto route = info ? field_or(info->fields, "default_route", "/") : Value("/");
    auto entry = new_entry();
    append(entry, "server_id", record->server_id);
    append(entry, "utility_name", utility_name);
    append(entry, "port", record->port);
    append(entry, "local_url", local_address(record->port));
    append(entry, "url", context.mapped_url(utility_name, group_name, group_name.has_value()));
    append(entry, "default_route", route);
    append_if_present(entry, "group_name", group_name);
    append_if_present(entry, "lang", record->lang);
    append_if_present(entry, "studio_url", record->studio_url);
    return entry;
  }
  return std::nullopt;
}

}  // namespace utility_manager
