#include "utility_manager/utility_manager.h"

namespace utility_manager {

bool UtilityServerManager::_utility_is_navbar(const values::Value& utility) {
  const values::Value location =
      utility.contains("display_location") ? utility.at("display_location") : "default";
  return UtilityRegistration::_normalize_display_location(location) == "navbar";
}

}  // namespace utility_manager
