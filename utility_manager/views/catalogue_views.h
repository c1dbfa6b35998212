#pragma once

#include <functional>
#include <optional>
#include <string>

#include "utility_manager/values/value.h"
#include "utility_manager/views/listing.h"

namespace utility_manager {

/// One of the places where the interface shows what the user may start.
struct CatalogueView {
  /// Tells whether a utility belongs there and the user may use it.
  std::function<bool(const values::Value& utility, Listing& listing)> shows;
  std::string group_name;  ///< where a utility that runs per group is looked for
  bool by_title = false;   ///< else in the catalogue's order

  /// The group in which to look for a running instance; nothing for no group.
  std::optional<std::string> group_of(const values::Value& utility) const;
};

CatalogueView view_without_group();
CatalogueView view_of_group(const std::string& group_name);
CatalogueView navbar_view();

/// White space around `group_name` is dropped.
CatalogueView create_exp_view(const std::string& group_name);

/// Ascending by folded title, by code point; equal ones keep their order.
values::List sorted_by_title(values::List list);

}  // namespace utility_manager
