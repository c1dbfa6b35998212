#include "utility_manager/catalogue/utility_map.h"

#include <utility>

#include "utility_manager/failures.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/text_form.h"

namespace utility_manager {
namespace {

/// Names that are no texts are kept apart from all texts by a byte that no text begins with.
std::string key_of(const values::Value& utility_name) {
  if (utility_name.is_text()) return utility_name.text();
  if (utility_name.is_list() || utility_name.is_mapping()) {
    throw TypeError("utility_name can't be a list or a mapping");
  }
  return "\xff" + values::text_form(utility_name);
}

}  // namespace

std::optional<std::size_t> UtilityMap::place_of(const std::string& utility_name) const {
  const auto place = places_.find(utility_name);
  return place == places_.end() ? std::nullopt : std::optional(place->second);
}

UtilityInfoPtr UtilityMap::find(const std::string& utility_name) const {
  const auto place = place_of(utility_name);
  return place ? entries_[*place] : nullptr;
}

void UtilityMap::set(UtilityInfoPtr info) {
  auto key = key_of(values::at_or_null(info->fields, "utility_name"));
  const auto [place, is_new] = places_.try_emplace(std::move(key), entries_.size());
  if (is_new) {
    entries_.push_back(std::move(info));
  } else {
    entries_[place->second] = std::move(info);
  }
}

}  // namespace utility_manager
