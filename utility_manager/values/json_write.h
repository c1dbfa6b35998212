#pragma once

#include <string>

#include "utility_manager/values/value.h"

namespace utility_manager::values {

/// How DEL and the characters beyond ASCII are written.
enum class Characters {
  escaped,  ///< as \u escapes, beyond the basic plane as surrogate pairs
  plain,    ///< as themselves
};

/// Writes `value` on one line, with ", " between members and ": " behind a key, reals in their
/// shortest form, and `NaN`, `Infinity`, `-Infinity` for what is not finite.
/// Fails with `std::invalid_argument` on text that is not well-formed UTF-8, on a value of the host
/// and on nesting beyond `limits::deepest_level`, and names the place: `theme.colours[2]: `.
std::string write_json(const Value& value, Characters characters);

}  // namespace utility_manager::values
