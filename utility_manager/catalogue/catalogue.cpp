#include "utility_manager/catalogue/catalogue.h"

#include "utility_manager/catalogue/plugin_places.h"
#include "utility_manager/catalogue/plugin_walk.h"
#include "utility_manager/failures.h"
#include "utility_manager/limits.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/values/members.h"

namespace utility_manager {

UtilityInfoPtr Catalogue::find(const std::string& utility_name) {
  const auto before = state_.read();
  if (auto known = before->utilities->find(utility_name)) return known;
  auto found = find_in_plugins(utility_name);
  if (!found) return nullptr;
  const LockHeld held(lock_);
  keep(utility_name, found, before->generation);
  return found;
}

std::vector<UtilityInfoPtr> Catalogue::all() {
  UtilityMap collection;
  for (int attempt = 0; attempt < limits::collection_attempts; ++attempt) {
    const auto before = state_.read();
    if (before->complete) return before->utilities->entries();
    collection = collect_from_plugins();
    const LockHeld held(lock_);
    if (const auto whole = merge(collection, before->generation)) return whole->entries();
  }
  return collection.entries();
}

void Catalogue::refresh() {
  const LockHeld held(lock_);
  state_.publish({.generation = state_.read()->generation + 1});
}

void Catalogue::keep(const std::string& utility_name, const UtilityInfoPtr& info,
                     std::uint64_t generation) {
  auto next = *state_.read();
  if (generation != next.generation || next.utilities->find(utility_name)) return;
  auto utilities = std::make_shared<UtilityMap>(*next.utilities);
  utilities->set(info);
  next.utilities = std::move(utilities);
  state_.publish(std::move(next));
}

std::shared_ptr<const UtilityMap> Catalogue::merge(const UtilityMap& collection,
                                                   std::uint64_t generation) {
  auto next = *state_.read();
  if (next.complete) return next.utilities;
  if (generation != next.generation) return nullptr;
  auto utilities = std::make_shared<UtilityMap>(*next.utilities);
  for (const auto& info : collection.entries()) utilities->set(info);
  next.utilities = utilities;
  next.complete = true;
  state_.publish(std::move(next));
  return utilities;
}

std::string Catalogue::script_of(const std::string& utility_name,
                                 const std::optional<std::string>& custom_path) {
  if (custom_path && !custom_path->empty()) return *custom_path;
  const auto info = find(utility_name);
  if (!info || info->fields.mapping().empty()) {
    throw RuntimeError("Utility '" + utility_name +
                       "' is not registered in any plugin. Please ensure the plugin has "
                       "registered this utility via 'utility_server_register' hook.");
  }
  const auto* const script_path = values::find_member(info->fields, "script_path");
  if (!script_path) {
    throw RuntimeError("Utility '" + utility_name +
                       "' is registered but 'script_path' is missing in registration info.");
  }
  if (!script_path->is_text()) throw TypeError("script_path must be a text");
  const auto& registered = script_path->text();
  auto resolved = resolve_plugin_script_path(registered, info->fields);
  if (platform::path_exists(resolved)) return resolved;
  throw RuntimeError("Utility script not found: " + resolved + "\nUtility: " + utility_name +
                     "\nRegistered path: " + registered + "\nResolved path: " + resolved);
}

}  // namespace utility_manager
