#include "utility_manager/views/catalogue_views.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "utility_manager/registration/placement.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/text.h"
#include "utility_manager/values/text_form.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

using values::Value;

bool requires_group(const Value& utility) {
  return values::truthy_at(utility, "require_group_name");
}

std::string sort_key(const Value& entry) {
  for (const char* key : {"title", "utility_name"}) {
    const auto& value = values::at_or_null(entry, key);
    if (values::truthy(value)) return values::fold_case(values::text_form(value));
  }
  return {};
}

}  // namespace

std::optional<std::string> CatalogueView::group_of(const Value& utility) const {
  const bool runs_in_group = requires_group(utility) && !is_navbar(utility);
  return runs_in_group ? std::optional(group_name) : std::nullopt;
}

CatalogueView view_without_group() {
  return {.shows =
              [](const Value& utility, Listing& listing) {
                return !requires_group(utility) && !is_navbar(utility) &&
                       listing.may_use(utility, {});
              },
          .group_name = {}};
}

CatalogueView view_of_group(const std::string& group_name) {
  return {.shows =
              [group_name](const Value& utility, Listing& listing) {
                return requires_group(utility) && !is_navbar(utility) &&
                       listing.may_use(utility, group_name);
              },
          .group_name = group_name};
}

CatalogueView navbar_view() {
  return {.shows =
              [](const Value& utility, Listing& listing) {
                return is_navbar(utility) && !requires_group(utility) &&
                       listing.may_use(utility, {});
              },
          .group_name = {}};
}

CatalogueView create_exp_view(const std::string& group_name) {
  const std::string group(values::strip(group_name));
  return {.shows =
              [group](const Value& utility, Listing& listing) {
                if (!is_create_exp_entry(utility)) return false;
                if (!requires_group(utility)) return listing.may_use(utility, {});
                return !group.empty() && listing.may_use(utility, group);
              },
          .group_name = group,
          .by_title = true};
}

values::List sorted_by_title(values::List list) {
  std::vector<std::pair<std::string, Value>> keyed;
  for (auto& entry : list) {
    auto key = sort_key(entry);
    keyed.emplace_back(std::move(key), std::move(entry));
  }
  std::ranges::stable_sort(
      keyed, {}, [](const auto& item) -> const auto& { return item.first; });
  values::List result;
  result.reserve(keyed.size());
  for (auto& [key, entry] : keyed) result.push_back(std::move(entry));
  return result;
}

}  // namespace utility_manager
