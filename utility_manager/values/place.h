#pragma once

#include <cstddef>
#include <string>

namespace utility_manager::values {

/// Where in a value a member stands: a chain that a walk builds on its way down.
struct Place {
  const Place* outer = nullptr;      ///< null for the whole value
  const std::string* key = nullptr;  ///< null: the item `index` of a list
  std::size_t index = 0;
  int depth = 0;  ///< how many lists and mappings are around it
};

/// `theme.colours[2]`; empty for the whole value.
std::string text_of(const Place& place);

/// What a message about `place` begins with: the place, cut where it is long, and a colon; nothing
/// for the whole value.
std::string lead(const Place& place);

}  // namespace utility_manager::values
