#include "utility_manager/access/access.h"

#include <cmath>

#include "utility_manager/failures.h"
#include "utility_manager/host/services.h"
#include "utility_manager/registration/registration.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

using values::List;
using values::Value;

Value permissions_of(const Value& org_list) {
  if (!org_list.is_mapping()) throw TypeError("get_org_list must give a mapping");
  const bool is_admin = values::truthy_at(org_list, "is_system_admin");
  const auto& given = values::at_or_null(org_list, "organizations");
  const auto organizations = given.is_list() ? given.list() : List();
  bool is_org_admin = is_admin;
  for (const auto& entry : organizations) {
    is_org_admin = is_org_admin || values::at_or_null(entry, "user_role") == "ORG_ADMIN";
  }
  return {{"is_admin", is_admin}, {"is_org_admin", is_org_admin}, {"organizations", organizations}};
}

/// Null permissions are fetched, anything else stands.
Value fetched_unless_given(const Value& permissions) {
  return permissions.is_null() ? user_permissions() : permissions;
}

Value whole_number(const Value& number) {
  if (number.is_boolean()) return number.boolean() ? 1 : 0;
  if (number.is_integer()) return number;
  if (!number.is_real()) throw TypeError("organization_id must be a number");
  const auto truncated = std::trunc(number.real());
  if (!std::isfinite(truncated)) throw TypeError("organization_id must be a finite number");
  return truncated;
}

}  // namespace

Value user_permissions() {
  try {
    return permissions_of(host::services().organization->get_org_list());
  } catch (const std::exception&) {
    return {{"is_admin", false}, {"is_org_admin", false}, {"organizations", List()}};
  }
}

bool check_utility_permission(const Value& utility_info, const Value& permissions,
                              const std::optional<std::string>& group_name) {
  const auto rights = fetched_unless_given(permissions);
  return may_use(utility_info, rights, group_name, [&](const std::string& group) {
    return check_org_admin_for_group(group, rights);
  });
}

bool may_use(const Value& utility_info, const Value& permissions,
             const std::optional<std::string>& group_name,
             const AdministratesGroup& administrates_group) {
  const bool is_admin = values::truthy_at(permissions, "is_admin");
  const auto level = UtilityRegistration::_convert_legacy_access_fields(utility_info);
  if (level == "ALL" || is_admin) return true;
  if (level == "SYS_ADMIN") return false;
  if (values::truthy_at(utility_info, "require_group_name") && group_name && !group_name->empty()) {
    return administrates_group(*group_name);
  }
  return values::truthy_at(permissions, "is_org_admin");
}

std::optional<std::string> user_role_in_org(const Value& organization_id,
                                            const Value& permissions) {
  const auto id = whole_number(organization_id);
  const auto rights = fetched_unless_given(permissions);
  const auto& organizations = values::at_or_null(rights, "organizations");
  if (!organizations.is_list()) return std::nullopt;
  for (const auto& entry : organizations.list()) {
    const auto* const entry_id = values::find_member(entry, "organization_id");
    if (!entry_id || *entry_id != id) continue;
    const auto& role = values::at_or_null(entry, "user_role");
    if (role.is_null()) return std::nullopt;
    if (!role.is_text()) throw TypeError("user_role must be a text");
    return role.text();
  }
  return std::nullopt;
}

bool check_org_admin_for_group(const std::string& group_name, const Value& permissions) {
  try {
    const auto detail = host::services().device->get_group_detail(group_name);
    const auto& organization_id = values::at_or_null(detail, "organization_id");
    if (organization_id.is_null()) return false;
    const auto rights = fetched_unless_given(permissions);
    if (values::truthy_at(rights, "is_admin")) return true;
    return user_role_in_org(organization_id, rights) == "ORG_ADMIN";
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace utility_manager
