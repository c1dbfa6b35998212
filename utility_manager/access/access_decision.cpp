#include "utility_manager/access/access_decision.h"

#include "utility_manager/registration/registration.h"
#include "values/truthiness.h"

namespace utility_manager {

bool may_use(const values::Value& utility_info, const values::Value& user_permissions,
             const std::optional<std::string>& group_name,
             const AdministratesGroup& administrates_group) {
  const bool is_admin = values::truthy_at(user_permissions, "is_admin");
  const auto level = UtilityRegistration::_convert_legacy_access_fields(utility_info);
  if (level == "ALL" || is_admin) return true;
  if (level == "SYS_ADMIN") return false;
  if (values::truthy_at(utility_info, "require_group_name") && group_name && !group_name->empty()) {
    return administrates_group(*group_name);
  }
  return values::truthy_at(user_permissions, "is_org_admin");
}

}  // namespace utility_manager
