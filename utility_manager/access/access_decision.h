#pragma once

#include <functional>
#include <optional>
#include <string>

#include "values/value.h"

namespace utility_manager {

/// Tells whether the user administrates the organisation that owns a device group.
using AdministratesGroup = std::function<bool(const std::string& group_name)>;

/// The access decision for one utility, with the user's rights at hand. `administrates_group` is
/// asked only where it decides. Fails with `TypeError` when the record's `access_level` is no text.
bool may_use(const values::Value& utility_info, const values::Value& user_permissions,
             const std::optional<std::string>& group_name,
             const AdministratesGroup& administrates_group);

}  // namespace utility_manager
