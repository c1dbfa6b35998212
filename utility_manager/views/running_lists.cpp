#include "utility_manager/addresses.h"
#include "utility_manager/utility_manager.h"
#include "utility_manager/views/running_entry.h"
#include "utility_manager/views/view_context.h"
#include "values/truthiness.h"

namespace utility_manager {
namespace {

using values::Value;

const Value& fields_of(const UtilityInfoPtr& info) {
  static const Value* const unregistered = new Value(Value::object());
  return info ? info->fields : *unregistered;
}

std::string url_of(const ServerInfo& record, const Value& fields, ViewContext& context) {
  return context.mapped_url(record.utility_name.value_or(""), record.group_name,
                            values::truthy_at(fields, "require_group_name"));
}

}  // namespace

Value UtilityServerManager::list_utility_servers() {
  sweep_dead_servers();
  ViewContext context;
  auto result = Value::array();
  const LockHeld held(lock);
  for (const auto& record : servers_.records()) {
    result.push_back(list_entry(*record, context));
  }
  return result;
}

Value UtilityServerManager::list_entry(const ServerInfo& record, ViewContext& context) {
  const auto info = catalogue_record(record, true, context);
  const auto& fields = fields_of(info);
  auto entry = new_entry();
  append(entry, "server_id", record.server_id);
  append(entry, "utility_name", text_or_null(record.utility_name));
  append(entry, "port", record.port);
  append(entry, "pid", record.pid);
  append(entry, "local_url", local_address(record.port));
  append(entry, "url", url_of(record, fields, context));
  append(entry, "default_route", field_or(fields, "default_route", "/"));
  append(entry, "create_time", record.create_time);
  append_if_present(entry, "lang", record.lang);
  append_if_present(entry, "studio_url", record.studio_url);
  append_if_present(entry, "group_name", record.group_name);
  append(entry, "icon", info ? icon_of(*info, context) : Value());
  return entry;
}

Value UtilityServerManager::list_all_running_utilities_grouped() {
  sweep_dead_servers();
  ViewContext context;
  auto without_group = Value::array();
  auto by_group = Value::object();
  for (const auto& record : servers()) {
    auto entry = grouped_entry(*record, context);
    if (record->group_name) {
      by_group[*record->group_name].push_back(std::move(entry));
    } else {
      without_group.push_back(std::move(entry));
    }
  }
  return {{"without_group", std::move(without_group)}, {"by_group", std::move(by_group)}};
}

Value UtilityServerManager::grouped_entry(const ServerInfo& record, ViewContext& context) {
  const auto info = catalogue_record(record, false, context);
  const auto& fields = fields_of(info);
  const auto url = url_of(record, fields, context);
  const auto default_route = field_or(fields, "default_route", "/");
  const auto location = field_or(fields, "display_location", "default");
  const auto name = text_or_null(record.utility_name);
  auto entry = new_entry();
  append(entry, "server_id", record.server_id);
  append(entry, "utility_name", name);
  append(entry, "title", field_or(fields, "title", name));
  append(entry, "en_title", field_or(fields, "en_title", ""));
  append(entry, "description", field_or(fields, "description", ""));
  append(entry, "en_description", field_or(fields, "en_description", ""));
  append(entry, "port", record.port);
  append(entry, "pid", record.pid);
  append(entry, "local_url", local_address(record.port));
  append(entry, "url", url);
  append(entry, "full_url", full_url(url, default_route));
  append(entry, "default_route", default_route);
  append(entry, "display_location", UtilityRegistration::_normalize_display_location(location));
  append(entry, "create_time", record.create_time);
  append_if_present(entry, "lang", record.lang);
  append_if_present(entry, "studio_url", record.studio_url);
  append(entry, "icon", info ? icon_of(*info, context) : Value());
  append_if_present(entry, "group_name", record.group_name);
  return entry;
}

UtilityInfoPtr UtilityServerManager::catalogue_record(const ServerInfo& record, bool locked,
                                                      ViewContext& context) {
  if (!record.utility_name) return nullptr;
  return context.utility_info(*this, *record.utility_name, locked);
}

}  // namespace utility_manager
