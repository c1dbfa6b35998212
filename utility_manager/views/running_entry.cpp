#include "utility_manager/views/running_entry.h"

#include "utility_manager/addresses.h"
#include "utility_manager/registration/registration.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/text_form.h"

namespace utility_manager {

using values::List;
using values::Mapping;
using values::Value;

const Value& RunningEntry::registered(std::string_view key, const Value& absent) const {
  const auto* const value = utility ? values::find_member(utility->fields, key) : nullptr;
  return value ? *value : absent;
}

std::string RunningEntry::local_url() const {
  return local_address(instance->port);
}

std::string RunningEntry::url() const {
  return mapped_url(*studio_address, instance->utility_name.value_or(""), instance->group_name,
                    in_group);
}

const Value& RunningEntry::default_route() const {
  return registered("default_route", absent::route());
}

std::string RunningEntry::full_url() const {
  return url() + values::text_form(default_route());
}

std::string RunningEntry::display_location() const {
  return UtilityRegistration::_normalize_display_location(
      registered("display_location", absent::null()));
}

Value to_value(const RunningEntry& entry, Shown shown) {
  Mapping mapping;
  for_each_member(entry, shown,
                  [&](const char* key, const auto& value) { mapping.append(key, value); });
  return mapping;
}

Value to_value(const std::vector<RunningEntry>& entries, Shown shown) {
  List list;
  list.reserve(entries.size());
  for (const auto& entry : entries) list.push_back(to_value(entry, shown));
  return list;
}

Value to_value(const GroupedEntries& entries) {
  Mapping by_group;
  for (const auto& [group_name, members] : entries.by_group) {
    by_group.append(group_name, to_value(members, Shown::in_grouped_list));
  }
  return {{"without_group", to_value(entries.without_group, Shown::in_grouped_list)},
          {"by_group", std::move(by_group)}};
}

// Outlive every thread.

const Value& absent::null() {
  static const Value* const value = new Value;
  return *value;
}

const Value& absent::empty_text() {
  static const Value* const value = new Value("");
  return *value;
}

const Value& absent::route() {
  static const Value* const value = new Value("/");
  return *value;
}

}  // namespace utility_manager
