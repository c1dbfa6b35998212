#pragma once

#include <string_view>

#include "values/value.h"

namespace values {

/// True for anything but null, false, zero, an empty text, an empty list and an empty mapping.
bool truthy(const Value& value);

/// Truthiness of the value under `key`; false when there is none.
bool truthy_at(const Value& mapping, std::string_view key);

}  // namespace values
