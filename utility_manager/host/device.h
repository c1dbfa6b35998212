#pragma once

#include <string>

#include "utility_manager/values/value.h"

namespace utility_manager::host {

class Device {
 public:
  virtual ~Device() = default;

  /// A mapping with `organization_id`, the owner of the device group, or null. May fail in any way.
  virtual values::Value get_group_detail(const std::string& group_name) = 0;
};

}  // namespace utility_manager::host
