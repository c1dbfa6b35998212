#include "utility_manager/values/members.h"

namespace utility_manager::values {

const Value& at_or_null(const Value& mapping, std::string_view key) {
  static const Value* const null = new Value;
  const auto* const member = find_member(mapping, key);
  return member ? *member : *null;
}

const Value* find_member(const Value& mapping, std::string_view key) {
  return mapping.is_mapping() ? mapping.mapping().find(key) : nullptr;
}

}  // namespace utility_manager::values
