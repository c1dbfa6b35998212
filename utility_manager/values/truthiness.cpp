#include "utility_manager/values/truthiness.h"

#include "utility_manager/values/members.h"

namespace utility_manager::values {

bool truthy(const Value& value) {
  switch (value.kind()) {
    case Kind::null:
      return false;
    case Kind::boolean:
      return value.boolean();
    case Kind::integer:
      return value.integer() != 0;
    case Kind::unsigned_integer:
      return true;
    case Kind::real:
      return value.real() != 0;
    case Kind::text:
      return !value.text().empty();
    case Kind::list:
      return !value.list().empty();
    case Kind::mapping:
      return !value.mapping().empty();
    case Kind::host_value:
      return value.host_value()->truthy();
  }
  return false;
}

bool truthy_at(const Value& mapping, std::string_view key) {
  return truthy(at_or_null(mapping, key));
}

}  // namespace utility_manager::values
