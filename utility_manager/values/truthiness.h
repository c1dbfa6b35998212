#pragma once

#include <string_view>

#include "utility_manager/values/value.h"

namespace utility_manager::values {

/// True for anything but null, false, zero, an empty text, an empty list and an empty mapping.
/// Of a value of the host, the host decides.
bool truthy(const Value& value);

/// Truthiness of the value under `key`; false when there is none.
bool truthy_at(const Value& mapping, std::string_view key);

}  // namespace utility_manager::values
