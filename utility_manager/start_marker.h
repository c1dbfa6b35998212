#pragma once

#include <optional>
#include <string>

namespace utility_manager {

/// A start in progress: between the check of the table and the entry in it nobody else may start
/// the same utility in the same place.
struct StartMarker {
  std::string utility_name;
  std::optional<std::string> group_name;  ///< only for a start that is bound to a group
  std::string server_id{};                ///< of the instance to be

  bool operator==(const StartMarker&) const = default;
};

}  // namespace utility_manager
