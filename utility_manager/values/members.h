#pragma once

#include <string_view>

#include "utility_manager/values/value.h"

/// Look-ups in a mapping.
namespace utility_manager::values {

/// The value under `key`; null when there is none. Refers into `mapping`.
const Value& at_or_null(const Value& mapping, std::string_view key);

/// The value under `key`; a null pointer when there is none, or `mapping` is no mapping.
const Value* find_member(const Value& mapping, std::string_view key);

}  // namespace utility_manager::values
