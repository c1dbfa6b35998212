#include "values/members.h"

namespace values {

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
