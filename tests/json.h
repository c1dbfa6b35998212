#pragma once

#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "utility_manager/values/json_read.h"
#include "utility_manager/values/json_write.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/text_form.h"
#include "utility_manager/values/value.h"

/// How tests speak of values: what stands where, and as JSON.
namespace utility_manager::values {

inline std::ostream& operator<<(std::ostream& stream, const Value& value) {
  return stream << repr_form(value);
}

/// The value as a JSON text.
inline std::string json_of(const Value& value) {
  return write_json(value, Characters::plain);
}

/// A JSON text with the blanks that `json_of` makes.
inline std::string json(std::string_view text) {
  return json_of(read_json(text));
}

/// The value under `key`, which must be there.
inline const Value& member(const Value& mapping, std::string_view key) {
  if (const auto* const value = find_member(mapping, key)) return *value;
  throw std::out_of_range("no member '" + std::string(key) + "'");
}

/// Sets in `mapping` what `more` has.
inline void update(Value& mapping, const Value& more) {
  for (const auto& [key, value] : more.mapping()) mapping.mapping().set(key, value);
}

}  // namespace utility_manager::values
