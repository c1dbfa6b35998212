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
  for (const auto& [server_id, record] : servers_.entries()) {
    result.push_back(list_entry(*record, context));
  }
  return result;
}

Value UtilityServerManager::list_entry(const ServerInfo& record, ViewContext& context) {
  const auto info = catalogue_record(record, true, context);
  const auto& fields = fields_of(info);
  Value entry = {{"server_id", record.server_id},
                 {"utility_name", text_or_null(record.utility_name)},
                 {"port", record.port},
                 {"pid", record.pid},
                 {"local_url", local_address(record.port)},
                 {"url", url_of(record, fields, context)},
                 {"default_route", field_or(fields, "default_route", "/")},
                 {"create_time", record.create_time}};
  copy_if_present(entry, "lang", record.lang);
  copy_if_present(entry, "studio_url", record.studio_url);
  copy_if_present(entry, "group_name", record.group_name);
  entry["icon"] = info ? icon_of(*info, context) : Value();
  return entry;
}

Value UtilityServerManager::list_all_running_utilities_grouped() {
  sweep_dead_servers();
  ViewContext context;
  auto without_group = Value::array();
  auto by_group = Value::object();
  for (const auto& [server_id, record] : servers()) {
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
  Value entry = {{"server_id", record.server_id},
                 {"utility_name", name},
                 {"title", field_or(fields, "title", name)},
                 {"en_title", field_or(fields, "en_title", "")},
                 {"description", field_or(fields, "description", "")},
                 {"en_description", field_or(fields, "en_description", "")},
                 {"port", record.port},
                 {"pid", record.pid},
                 {"local_url", local_address(record.port)},
                 {"url", url},
                 {"full_url", full_url(url, default_route)},
                 {"default_route", default_route},
                 {"display_location", UtilityRegistration::_normalize_display_location(location)},
                 {"create_time", record.create_time}};
  copy_if_present(entry, "lang", record.lang);
  copy_if_present(entry, "studio_url", record.studio_url);
  entry["icon"] = info ? icon_of(*info, context) : Value();
  copy_if_present(entry, "group_name", record.group_name);
  return entry;
}

UtilityInfoPtr UtilityServerManager::catalogue_record(const ServerInfo& record, bool locked,
                                                      ViewContext& context) {
  if (!record.utility_name) return nullptr;
  return context.utility_info(*this, *record.utility_name, locked);
}

}  // namespace utility_manager
