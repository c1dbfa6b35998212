#include "utility_manager/catalogue/registry_cache.h"

#include <utility>

#include "utility_manager/failures.h"
#include "values/text_form.h"
#include "values/truthiness.h"

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

RegistryCache::RegistryCache() : map_(std::make_shared<const UtilityMap>()) {}

std::shared_ptr<const UtilityMap> RegistryCache::snapshot() const {
  const std::lock_guard held(mutex_);
  return map_;
}

void RegistryCache::add(const std::string& utility_name, const UtilityInfoPtr& info,
                        std::uint64_t generation) {
  const auto current = snapshot();
  if (generation != generation_ || current->find(utility_name)) return;
  auto map = *current;
  map.set(info);
  publish(std::move(map));
}

bool RegistryCache::merge(const UtilityMap& collection, std::uint64_t generation) {
  if (complete_) return true;
  if (generation != generation_) return false;
  auto map = *snapshot();
  for (const auto& info : collection.records()) map.set(info);
  publish(std::move(map));
  complete_ = true;
  return true;
}

void RegistryCache::clear() {
  ++generation_;
  complete_ = false;
  publish({});
}

void RegistryCache::publish(UtilityMap map) {
  auto next = std::make_shared<const UtilityMap>(std::move(map));
  const std::lock_guard held(mutex_);
  map_.swap(next);
}

}  // namespace utility_manager
