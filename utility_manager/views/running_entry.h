#pragma once

#include <optional>
#include <string>

#include "utility_manager/server_info.h"
#include "values/members.h"
#include "values/value.h"

/// What the records of running instances have in common.
namespace utility_manager {

/// An empty record with room for the members that a record of a running instance has at most.
values::Value new_entry();

/// Adds a member that the record doesn't have yet.
void append(values::Value& entry, const char* key, values::Value value);

/// Null for nothing.
values::Value text_or_null(const std::optional<std::string>& text);

/// The value under `key`, `absent` when `fields` has no such key; an empty value stays empty.
template <typename Absent>
values::Value field_or(const values::Value& fields, const char* key, const Absent& absent) {
  const auto* const member = values::find_member(fields, key);
  return member ? *member : values::Value(absent);
}

/// Adds `key` where there is a text; otherwise the record gets no such key.
void append_if_present(values::Value& entry, const char* key,
                       const std::optional<std::string>& text);

/// `url` directly followed by the route.
std::string full_url(const std::string& url, const values::Value& default_route);

}  // namespace utility_manager
