#pragma once

#include <string>

#include "values/value.h"

namespace host {

class Device {
 public:
  virtual ~Device() = default;

  /// A mapping with `organization_id`, the owner of the device group, or null. May fail in any way.
  virtual values::Value get_group_detail(const std::string& group_name) = 0;
};

}  // namespace host
