#pragma once

#include <string_view>

#include "utility_manager/values/value.h"

/// What the numbers of a JSON text stand for; the caller has checked how they are written.
namespace utility_manager::values {

/// An integer where 64 bits hold it, else a real.
Value whole_number(std::string_view number);

/// The nearest real; zero or an infinity where `number` is too small or too large for one.
double real_number(std::string_view number);

}  // namespace utility_manager::values
