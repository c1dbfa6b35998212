#pragma once

#include "values/value.h"

namespace values {

/// True for anything but null, false, zero, an empty text, an empty list and an empty mapping.
bool truthy(const Value& value);

/// Truthiness of the value under `key`; false when `mapping` has no such key.
bool truthy_at(const Value& mapping, const char* key);

/// The value under `key`, or null when `mapping` has no such key. Refers into `mapping`.
const Value& at_or_null(const Value& mapping, const char* key);

}  // namespace values
