#include "utility_manager/views/running_entry.h"

#include <utility>

#include "values/text_form.h"

namespace utility_manager {

values::Value new_entry() {
  constexpr std::size_t most_members = 17;
  auto entry = values::Value::object();
  entry.get_ref<values::Value::object_t&>().reserve(most_members);
  return entry;
}

void append(values::Value& entry, const char* key, values::Value value) {
  // Past the container's own search for the key.
  auto& members = entry.get_ref<values::Value::object_t&>();
  members.Container::emplace_back(key, std::move(value));
}

values::Value text_or_null(const std::optional<std::string>& text) {
  return text ? values::Value(*text) : values::Value();
}

void append_if_present(values::Value& entry, const char* key,
                       const std::optional<std::string>& text) {
  if (text) append(entry, key, *text);
}

std::string full_url(const std::string& url, const values::Value& default_route) {
  return url + values::text_form(default_route);
}

}  // namespace utility_manager
