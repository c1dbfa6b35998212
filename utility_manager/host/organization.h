#pragma once

#include "utility_manager/values/value.h"

namespace utility_manager::host {

class Organization {
 public:
  virtual ~Organization() = default;

  /// The user's rights: a mapping with `is_system_admin` and `organizations`, a list of mappings
  /// with `organization_id` and `user_role`. May fail in any way.
  virtual values::Value get_org_list() = 0;
};

}  // namespace utility_manager::host
