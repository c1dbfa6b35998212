#pragma once

#include <stdexcept>
#include <string_view>

#include "utility_manager/values/value.h"

namespace utility_manager::values {

/// A text that is no JSON value.
struct JsonError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Reads one JSON text in UTF-8, `NaN`, `Infinity` and `-Infinity` included. Of members with the
/// same key the last value stands, at the place of the first. An integer that 64 bits can't hold is
/// read as a real; a number that is too large for a real is an infinity, one too small is zero.
/// Fails with `JsonError` on anything else, a byte order mark, ill-formed UTF-8, a lone surrogate
/// escape and nesting beyond `limits::deepest_level` included.
Value read_json(std::string_view text);

}  // namespace utility_manager::values
