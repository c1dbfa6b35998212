#include "utility_manager/views/running_entry.h"

#include "values/text_form.h"

namespace utility_manager {

values::Value text_or_null(const std::optional<std::string>& text) {
  return text ? values::Value(*text) : values::Value();
}

values::Value field_or(const values::Value& fields, const char* key, const values::Value& absent) {
  const auto member = fields.find(key);
  return member == fields.end() ? absent : *member;
}

void copy_if_present(values::Value& entry, const char* key,
                     const std::optional<std::string>& text) {
  if (text) entry[key] = *text;
}

std::string full_url(const std::string& url, const values::Value& default_route) {
  return url + values::text_form(default_route);
}

}  // namespace utility_manager
