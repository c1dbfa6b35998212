#include <algorithm>

#include "utility_manager/utility_manager.h"
#include "utility_manager/views/running_entry.h"
#include "utility_manager/views/view_context.h"
#include "values/members.h"
#include "values/text.h"
#include "values/text_form.h"
#include "values/truthiness.h"

namespace utility_manager {
namespace {

using values::Value;

bool requires_group(const Value& fields) {
  return values::truthy_at(fields, "require_group_name");
}

std::string sort_key(const Value& entry) {
  for (const char* key : {"title", "utility_name"}) {
    const auto& value = values::at_or_null(entry, key);
    if (values::truthy(value)) return values::fold_case(values::text_form(value));
  }
  return {};
}

/// Ascending by folded title, by code point; equal ones keep their order.
Value sorted_by_title(Value list) {
  std::vector<std::pair<std::string, Value>> keyed;
  for (auto& entry : list) {
    auto key = sort_key(entry);
    keyed.emplace_back(std::move(key), std::move(entry));
  }
  std::stable_sort(keyed.begin(), keyed.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  auto result = Value::array();
  for (auto& [key, entry] : keyed) result.push_back(std::move(entry));
  return result;
}

}  // namespace

bool UtilityServerManager::_utility_is_create_exp_entry(const Value& utility) {
  return values::truthy_at(utility, "create_exp_entry");
}

Value UtilityServerManager::get_utilities_without_group_name() {
  return view([](const Value& fields, ViewContext& context) {
    return !requires_group(fields) && !_utility_is_navbar(fields) && context.may_use(fields, {});
  });
}

Value UtilityServerManager::get_utilities_with_group_name(const std::string& group_name) {
  return view(
      [&](const Value& fields, ViewContext& context) {
        return requires_group(fields) && !_utility_is_navbar(fields) &&
               context.may_use(fields, group_name);
      },
      group_name);
}

Value UtilityServerManager::get_navbar_utilities() {
  return view([](const Value& fields, ViewContext& context) {
    return _utility_is_navbar(fields) && !requires_group(fields) && context.may_use(fields, {});
  });
}

Value UtilityServerManager::get_create_exp_utilities(const std::string& group_name) {
  const std::string group(values::strip(group_name));
  return sorted_by_title(view(
      [&](const Value& fields, ViewContext& context) {
        if (!_utility_is_create_exp_entry(fields)) return false;
        if (!requires_group(fields)) return context.may_use(fields, {});
        return !group.empty() && context.may_use(fields, group);
      },
      group));
}

Value UtilityServerManager::view(const ViewFilter& belongs, const std::string& group_name) {
  _load_persisted_states();
  ViewContext context;
  context.fetch_permissions();
  auto result = Value::array();
  for (const auto& info : _get_all_utilities()) {
    if (!belongs(info->fields, context)) continue;
    const bool in_group = requires_group(info->fields) && !_utility_is_navbar(info->fields);
    const auto group = in_group ? std::optional(group_name) : std::nullopt;
    result.push_back(view_entry(*info, group, context));
  }
  return result;
}

Value UtilityServerManager::view_entry(const UtilityInfo& info,
                                       const std::optional<std::string>& group_name,
                                       ViewContext& context) {
  const auto& name = values::at_or_null(info.fields, "utility_name");
  const auto running =
      name.is_string() ? find_running(name.get<std::string>(), group_name, context) : Value();
  UtilityInfo entry(info);
  entry.fields["is_running"] = !running.is_null();
  if (running.is_null()) return add_icon(entry, context);
  for (const char* key : {"server_id", "port", "local_url", "url"}) {
    entry.fields[key] = running.at(key);
  }
  entry.fields["full_url"] = full_url(running.at("url").get_ref<const std::string&>(),
                                      field_or(info.fields, "default_route", "/"));
  if (group_name) entry.fields["group_name"] = *group_name;
  return add_icon(entry, context);
}

}  // namespace utility_manager
