#include "values/truthiness.h"

#include <cstdint>
#include <string>

namespace values {

bool truthy(const Value& value) {
  switch (value.type()) {
    case Value::value_t::null:
      return false;
    case Value::value_t::boolean:
      return value.get<bool>();
    case Value::value_t::number_integer:
    case Value::value_t::number_unsigned:
      return value.get<std::int64_t>() != 0;
    case Value::value_t::number_float:
      return value.get<double>() != 0;
    case Value::value_t::string:
      return !value.get_ref<const std::string&>().empty();
    default:
      return !value.empty();
  }
}

bool truthy_at(const Value& mapping, std::string_view key) {
  return truthy(at_or_null(mapping, key));
}

const Value& at_or_null(const Value& mapping, std::string_view key) {
  static const Value* const null = new Value;
  const auto* const member = find_member(mapping, key);
  return member ? *member : *null;
}

const Value* find_member(const Value& mapping, std::string_view key) {
  if (!mapping.is_object()) return nullptr;
  for (const auto& [name, value] : mapping.get_ref<const Value::object_t&>()) {
    if (name == key) return &value;
  }
  return nullptr;
}

}  // namespace values
