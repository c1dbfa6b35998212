#pragma once

#include "values/value.h"

namespace host {

class Organization {
 public:
  virtual ~Organization() = default;

  /// The user's rights: a mapping with `is_system_admin` and `organizations`, a list of mappings
  /// with `organization_id` and `user_role`. May fail in any way.
  virtual values::Value get_org_list() = 0;
};

}  // namespace host
