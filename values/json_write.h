#pragma once

#include <string>

#include "values/value.h"

namespace values {

/// How DEL and the characters beyond ASCII are written.
enum class Characters {
  escaped,  ///< as \u escapes, beyond the basic plane as surrogate pairs
  plain,    ///< as themselves
};

/// Writes `value` on one line, with ", " between members and ": " behind a key, reals in their
/// shortest form, and `NaN`, `Infinity`, `-Infinity` for what is not finite.
/// Fails with `std::invalid_argument` on text that is not well-formed UTF-8, on values that are
/// none of the JSON kinds and on nesting beyond 500 levels.
std::string write_json(const Value& value, Characters characters);

}  // namespace values
