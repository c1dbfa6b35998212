#pragma once

#include <string_view>

#include "values/value.h"

/// What the numbers of a JSON text stand for; the caller has checked how they are written.
namespace values {

/// An integer where 64 bits hold it, else a real.
Value whole_number(std::string_view number);

/// The nearest real; zero or an infinity where `number` is too small or too large for one.
double real_number(std::string_view number);

}  // namespace values
