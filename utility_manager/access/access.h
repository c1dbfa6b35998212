#pragma once

#include <functional>
#include <optional>
#include <string>

#include "utility_manager/values/value.h"

/// Who may see and start a utility. A right that can't be found out is not held.
namespace utility_manager {

/// The user's rights: `is_admin`, `is_org_admin`, `organizations`. No ordinary failure leaves it.
values::Value user_permissions();

/// True when the user may see and start the utility. Null permissions are fetched. Fails with
/// `TypeError` when the registration's `access_level` is no text.
bool check_utility_permission(const values::Value& utility_info,
                              const values::Value& permissions = nullptr,
                              const std::optional<std::string>& group_name = {});

/// The user's role in an organisation, nothing when the user isn't in it. Fails with `TypeError` on
/// an id that is no number and on a role that is no text.
std::optional<std::string> user_role_in_org(const values::Value& organization_id,
                                            const values::Value& permissions = nullptr);

/// True when the user administrates the organisation that owns the device group. No ordinary
/// failure leaves it.
bool check_org_admin_for_group(const std::string& group_name,
                               const values::Value& permissions = nullptr);

/// Tells whether the user administrates the organisation that owns a device group.
using AdministratesGroup = std::function<bool(const std::string& group_name)>;

/// The decision of `check_utility_permission` with the rights at hand. `administrates_group` is
/// asked only where it decides.
bool may_use(const values::Value& utility_info, const values::Value& permissions,
             const std::optional<std::string>& group_name,
             const AdministratesGroup& administrates_group);

}  // namespace utility_manager
