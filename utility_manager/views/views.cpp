#include "utility_manager/utility_manager.h"
#include "utility_manager/values/members.h"
#include "utility_manager/views/catalogue_views.h"
#include "utility_manager/views/listing.h"

namespace utility_manager {

using values::Value;

std::vector<RunningEntry> UtilityServerManager::list_utility_servers() {
  sweep_dead_servers();
  Listing listing(catalogue_);
  for (;;) {
    // What the list asks the client for must not run under `lock`.
    const auto instances = servers_.records();
    auto entries = listing.entries(*instances);
    const LockHeld held(lock);
    if (servers_.records() == instances) return entries;
  }
}

GroupedEntries UtilityServerManager::list_all_running_utilities_grouped() {
  sweep_dead_servers();
  Listing listing(catalogue_);
  return listing.grouped_entries(*servers_now());
}

std::optional<RunningEntry> UtilityServerManager::_find_running_utility(
    const std::string& utility_name, const std::optional<std::string>& group_name) {
  Listing listing(catalogue_);
  return find_running(utility_name, group_name, listing);
}

std::optional<RunningEntry> UtilityServerManager::find_running(
    const std::string& utility_name, const std::optional<std::string>& group_name,
    Listing& listing) {
  if (listing.must_look_again()) sweep_dead_servers();
  const auto instances = servers_now();
  for (const auto& instance : *instances) {
    if (instance->utility_name == utility_name && instance->group_name == group_name) {
      return listing.found_entry(instance);
    }
  }
  return std::nullopt;
}

Value UtilityServerManager::get_utilities_without_group_name() {
  return view(view_without_group());
}

Value UtilityServerManager::get_utilities_with_group_name(const std::string& group_name) {
  return view(view_of_group(group_name));
}

Value UtilityServerManager::get_navbar_utilities() {
  return view(navbar_view());
}

Value UtilityServerManager::get_create_exp_utilities(const std::string& group_name) {
  return view(create_exp_view(group_name));
}

Value UtilityServerManager::view(const CatalogueView& view) {
  _load_persisted_states();
  Listing listing(catalogue_);
  listing.fetch_permissions();
  values::List result;
  for (const auto& utility : catalogue_.all()) {
    if (!view.shows(utility->fields, listing)) continue;
    const auto group = view.group_of(utility->fields);
    const auto& name = values::at_or_null(utility->fields, "utility_name");
    std::optional<RunningEntry> running;
    if (name.is_text()) running = find_running(name.text(), group, listing);
    result.push_back(listing.view_entry(*utility, running ? &*running : nullptr, group));
  }
  return view.by_title ? sorted_by_title(std::move(result)) : result;
}

}  // namespace utility_manager
