#include "values/truthiness.h"

#include <cstdint>
#include <string>

#include "values/members.h"

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

}  // namespace values
