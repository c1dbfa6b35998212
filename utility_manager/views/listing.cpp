#include "utility_manager/views/listing.h"

#include <algorithm>
#include <utility>

#include "utility_manager/access/access.h"
#include "utility_manager/addresses.h"
#include "utility_manager/host/services.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/text_form.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {

using values::Value;

std::vector<RunningEntry> Listing::entries(const ServerTable::Records& instances) {
  std::vector<RunningEntry> result;
  result.reserve(instances.size());
  for (const auto& instance : instances) result.push_back(entry(instance));
  return result;
}

GroupedEntries Listing::grouped_entries(const ServerTable::Records& instances) {
  GroupedEntries result;
  std::unordered_map<std::string, std::size_t> places;
  for (const auto& instance : instances) {
    auto shown = entry(instance);
    if (!instance->group_name) {
      result.without_group.push_back(std::move(shown));
      continue;
    }
    const auto [place, is_new] = places.try_emplace(*instance->group_name, places.size());
    if (is_new) result.by_group.emplace_back(*instance->group_name, std::vector<RunningEntry>());
    result.by_group[place->second].second.push_back(std::move(shown));
  }
  return result;
}

bool Listing::must_look_again() {
  const auto asked = host::times_asked();
  return std::exchange(asked_before_, asked) != asked;
}

RunningEntry Listing::entry(const ServerTable::Record& instance) {
  auto& known = registered(*instance);
  const auto& utility = known.utility;
  return entry(instance, known,
               utility && values::truthy_at(utility->fields, "require_group_name"));
}

RunningEntry Listing::found_entry(const ServerTable::Record& instance) {
  return entry(instance, registered(*instance), instance->group_name.has_value());
}

RunningEntry Listing::entry(const ServerTable::Record& instance, Registered& known, bool in_group) {
  const auto& address = studio_address();
  auto& [utility, icon] = known;
  if (utility && !icon) icon = load_registered_icon(*utility, places_);
  return {.instance = instance,
          .utility = utility,
          .studio_address = address,
          .in_group = in_group,
          .icon = icon.value_or(nullptr)};
}

Listing::Registered& Listing::registered(const ServerInfo& instance) {
  if (!instance.utility_name) return nameless_;
  if (!catalogued_) {
    catalogued_ = catalogue_.snapshot();
    for (const auto& utility : catalogued_->entries()) utilities_.push_back({utility, {}});
  }
  const auto& name = *instance.utility_name;
  if (const auto place = catalogued_->place_of(name)) return utilities_[*place];
  const auto known = asked_for_.find(name);
  if (known != asked_for_.end()) return known->second;
  return asked_for_.emplace(name, Registered{.utility = catalogue_.find(name), .icon = {}})
      .first->second;
}

const std::shared_ptr<const std::string>& Listing::studio_address() {
  if (!studio_address_) {
    studio_address_ = std::make_shared<const std::string>(
        gui_address_or_fallback(host::services().local->get_gui_addr()));
  }
  return studio_address_;
}

Value Listing::view_entry(const UtilityInfo& utility, const RunningEntry* running,
                          const std::optional<std::string>& group_name) {
  const auto* const route = values::find_member(utility.fields, "default_route");
  UtilityInfo shown(utility);
  auto& fields = shown.fields.mapping();
  fields["is_running"] = running != nullptr;
  if (running) {
    fields["server_id"] = running->instance->server_id;
    fields["port"] = running->instance->port;
    fields["local_url"] = running->local_url();
    fields["url"] = running->url();
    fields["full_url"] = running->url() + values::text_form(route ? *route : absent::route());
    if (group_name) fields["group_name"] = *group_name;
  }
  const bool is_loaded = running && running->utility.get() == &utility;
  return with_icon(shown, is_loaded ? running->icon : load_registered_icon(shown, places_));
}

void Listing::fetch_permissions() {
  permissions_ = user_permissions();
}

bool Listing::may_use(const Value& utility, const std::optional<std::string>& group_name) {
  return utility_manager::may_use(
      utility, *permissions_, group_name,
      [this](const std::string& group) { return administrates(group); });
}

bool Listing::administrates(const std::string& group_name) {
  const auto known = group_decisions_.find(group_name);
  if (known != group_decisions_.end()) return known->second;
  const bool answer = check_org_admin_for_group(group_name, *permissions_);
  group_decisions_.emplace(group_name, answer);
  return answer;
}

}  // namespace utility_manager
