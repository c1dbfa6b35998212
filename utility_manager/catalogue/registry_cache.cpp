#include "utility_manager/catalogue/registry_cache.h"

#include <utility>

#include "utility_manager/failures.h"
#include "values/members.h"
#include "values/text_form.h"

namespace utility_manager {
namespace {

/// Names that are no texts are kept apart from all texts by a byte that no text begins with.
std::string key_of(const values::Value& utility_name) {
  if (utility_name.is_string()) return utility_name.get<std::string>();
  if (utility_name.is_structured()) throw TypeError("utility_name can't be a list or a mapping");
  return "\xff" + values::text_form(utility_name);
}

}  // namespace

UtilityInfoPtr UtilityMap::find(const std::string& utility_name) const {
  const auto place = places_.find(utility_name);
  return place == places_.end() ? nullptr : records_[place->second];
}

void UtilityMap::set(UtilityInfoPtr info) {
  auto key = key_of(values::at_or_null(info->fields, "utility_name"));
  const auto [place, is_new] = places_.try_emplace(std::move(key), records_.size());
  if (is_new) {
    records_.push_back(std::move(info));
  } else {
    records_[place->second] = std::move(info);
  }
}

RegistryCache::RegistryCache() : state_{.map = std::make_shared<const UtilityMap>()} {}

std::shared_ptr<const UtilityMap> RegistryCache::snapshot() const {
  return state().map;
}

std::shared_ptr<const UtilityMap> RegistryCache::whole() const {
  const auto now = state();
  return now.complete ? now.map : nullptr;
}

std::uint64_t RegistryCache::generation() const {
  return state().generation;
}

void RegistryCache::add(const std::string& utility_name, const UtilityInfoPtr& info,
                        std::uint64_t generation) {
  auto next = state();
  if (generation != next.generation || next.map->find(utility_name)) return;
  auto map = std::make_shared<UtilityMap>(*next.map);
  map->set(info);
  next.map = std::move(map);
  publish(std::move(next));
}

std::shared_ptr<const UtilityMap> RegistryCache::merge(const UtilityMap& collection,
                                                       std::uint64_t generation) {
  auto next = state();
  if (next.complete) return next.map;
  if (generation != next.generation) return nullptr;
  auto map = std::make_shared<UtilityMap>(*next.map);
  for (const auto& info : collection.records()) map->set(info);
  next.map = map;
  next.complete = true;
  publish(std::move(next));
  return map;
}

void RegistryCache::clear() {
  publish({.map = std::make_shared<const UtilityMap>(), .generation = state().generation + 1});
}

RegistryCache::State RegistryCache::state() const {
  const std::lock_guard held(mutex_);
  return state_;
}

void RegistryCache::publish(State next) {
  const std::lock_guard held(mutex_);
  std::swap(state_, next);
}

}  // namespace utility_manager
