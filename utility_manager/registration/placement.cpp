#include "utility_manager/registration/placement.h"

#include "utility_manager/registration/registration.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {

bool is_navbar(const values::Value& utility) {
  const auto* const location = values::find_member(utility, "display_location");
  return location && UtilityRegistration::_normalize_display_location(*location) == "navbar";
}

bool is_create_exp_entry(const values::Value& utility) {
  return values::truthy_at(utility, "create_exp_entry");
}

}  // namespace utility_manager
