#include <cmath>

#include "host/services.h"
#include "utility_manager/access/access_decision.h"
#include "utility_manager/utility_manager.h"
#include "values/members.h"
#include "values/truthiness.h"

namespace utility_manager {
namespace {

using values::Value;

Value permissions_of(const Value& org_list) {
  if (!org_list.is_object()) throw TypeError("get_org_list must give a mapping");
  const bool is_admin = values::truthy_at(org_list, "is_system_admin");
  const auto& given = values::at_or_null(org_list, "organizations");
  const auto organizations = given.is_array() ? given : Value::array();
  bool is_org_admin = is_admin;
  for (const auto& entry : organizations) {
    is_org_admin = is_org_admin || values::at_or_null(entry, "user_role") == "ORG_ADMIN";
  }
  return {{"is_admin", is_admin}, {"is_org_admin", is_org_admin}, {"organizations", organizations}};
}

/// Null permissions are fetched, anything else stands.
Value fetched_unless_given(const Value& user_permissions) {
  if (!user_permissions.is_null()) return user_permissions;
  return UtilityServerManager::_get_user_permissions();
}

Value whole_number(const Value& number) {
  if (number.is_boolean()) return number.get<bool>() ? 1 : 0;
  if (number.is_number_integer()) return number;
  if (!number.is_number_float()) throw TypeError("organization_id must be a number");
  const auto truncated = std::trunc(number.get<double>());
  if (!std::isfinite(truncated)) throw TypeError("organization_id must be a finite number");
  return truncated;
}

}  // namespace

UtilityServerManager::UserPermissions UtilityServerManager::_get_user_permissions() {
  try {
    return permissions_of(host::services().organization->get_org_list());
  } catch (const std::exception&) {
    return {{"is_admin", false}, {"is_org_admin", false}, {"organizations", Value::array()}};
  }
}

bool UtilityServerManager::_check_utility_permission(const values::Value& utility_info,
                                                     const UserPermissions& user_permissions,
                                                     const std::optional<std::string>& group_name) {
  const auto permissions = fetched_unless_given(user_permissions);
  return may_use(utility_info, permissions, group_name, [&](const std::string& group) {
    return _check_org_admin_for_group(group, permissions);
  });
}

std::optional<std::string> UtilityServerManager::_get_user_role_in_org(
    const values::Value& organization_id, const UserPermissions& user_permissions) {
  const auto id = whole_number(organization_id);
  const auto permissions = fetched_unless_given(user_permissions);
  const auto& organizations = values::at_or_null(permissions, "organizations");
  if (!organizations.is_array()) return std::nullopt;
  for (const auto& entry : organizations) {
    if (!entry.is_object() || !entry.contains("organization_id")) continue;
    if (entry.at("organization_id") != id) continue;
    const auto& role = values::at_or_null(entry, "user_role");
    if (role.is_null()) return std::nullopt;
    if (!role.is_string()) throw TypeError("user_role must be a text");
    return role.get<std::string>();
  }
  return std::nullopt;
}

bool UtilityServerManager::_check_org_admin_for_group(const std::string& group_name,
                                                      const UserPermissions& user_permissions) {
  try {
    const auto detail = host::services().device->get_group_detail(group_name);
    if (!detail.is_object()) return false;
    const auto& organization_id = values::at_or_null(detail, "organization_id");
    if (organization_id.is_null()) return false;
    const auto permissions = fetched_unless_given(user_permissions);
    if (values::truthy_at(permissions, "is_admin")) return true;
    return _get_user_role_in_org(organization_id, permissions) == "ORG_ADMIN";
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace utility_manager
