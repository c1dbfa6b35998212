#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "utility_manager/catalogue/utility_info.h"

namespace utility_manager {

/// Utilities by name in the order in which the names came; a new entry under a known name keeps its
/// place. A name that is no text has a place of its own and is found by no text.
class UtilityMap {
 public:
  /// Where the entry of this name stands among `entries`; nothing when the name is unknown.
  std::optional<std::size_t> place_of(const std::string& utility_name) const;

  /// Null when the name is unknown.
  UtilityInfoPtr find(const std::string& utility_name) const;

  /// Adds an entry or replaces the one of the same `utility_name`. Fails with `TypeError` when the
  /// name is a list or a mapping.
  void set(UtilityInfoPtr info);

  const std::vector<UtilityInfoPtr>& entries() const { return entries_; }

 private:
  std::vector<UtilityInfoPtr> entries_;
  std::unordered_map<std::string, std::size_t> places_;
};

}  // namespace utility_manager
