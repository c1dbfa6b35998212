#include "utility_manager/registration/registration.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "utility_manager/failures.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/text.h"
#include "utility_manager/values/text_form.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

using values::Mapping;
using values::Value;

using Field = UtilityRegistration::Field;

constexpr std::array<Field, 14> all_fields = {{
    {"utility_name", &UtilityRegistration::utility_name},
    {"title", &UtilityRegistration::title},
    {"en_title", &UtilityRegistration::en_title},
    {"description", &UtilityRegistration::description},
    {"en_description", &UtilityRegistration::en_description},
    {"script_path", &UtilityRegistration::script_path, true},
    {"default_route", &UtilityRegistration::default_route},
    {"require_group_name", &UtilityRegistration::require_group_name},
    {"plugin_name", &UtilityRegistration::plugin_name},
    {"builtin", &UtilityRegistration::builtin},
    {"access_level", &UtilityRegistration::access_level},
    {"persistent", &UtilityRegistration::persistent},
    {"icon_path", &UtilityRegistration::icon_path, true},
    {"display_location", &UtilityRegistration::display_location},
}};

bool is_field(std::string_view key) {
  return std::any_of(all_fields.begin(), all_fields.end(),
                     [&](const Field& field) { return field.name == key; });
}

Value unchanged(const Value& data, const char* key, const Value& absent) {
  return data.mapping().at_or(key, absent);
}

std::string text_if_truthy(const Value& data, const char* key) {
  const auto& value = values::at_or_null(data, key);
  return values::truthy(value) ? values::text_form(value) : std::string();
}

Value unless_falsy(const Value& data, const char* key, const char* falsy) {
  const auto& value = values::at_or_null(data, key);
  return values::truthy(value) ? value : Value(falsy);
}

Mapping extra_of(const Value& data) {
  Mapping extra;
  for (const auto& [key, value] : data.mapping()) {
    if (!is_field(key)) extra.append(key, value);
  }
  return extra;
}

}  // namespace

std::span<const Field> UtilityRegistration::fields() {
  return all_fields;
}

UtilityRegistration UtilityRegistration::from_dict(const Value& data,
                                                   const std::optional<std::string>& plugin_name) {
  if (!data.is_mapping()) throw TypeError("a registration must be a mapping");
  UtilityRegistration registration;
  registration.access_level = _convert_legacy_access_fields(data);
  registration.utility_name = unchanged(data, "utility_name", "");
  registration.title = unchanged(data, "title", registration.utility_name);
  registration.en_title = text_if_truthy(data, "en_title");
  registration.description = unchanged(data, "description", "");
  registration.en_description = text_if_truthy(data, "en_description");
  registration.script_path = unchanged(data, "script_path", "");
  registration.default_route = unless_falsy(data, "default_route", "/");
  registration.require_group_name = values::truthy_at(data, "require_group_name");
  registration.plugin_name =
      unchanged(data, "plugin_name", plugin_name ? Value(*plugin_name) : Value());
  registration.builtin = values::truthy_at(data, "builtin");
  registration.persistent = values::truthy_at(data, "persistent");
  registration.icon_path = unchanged(data, "icon_path", "");
  registration.display_location =
      _normalize_display_location(unchanged(data, "display_location", "default"));
  registration.extra = extra_of(data);
  return registration;
}

std::string UtilityRegistration::_convert_legacy_access_fields(const Value& data) {
  if (!data.is_mapping()) throw TypeError("a registration must be a mapping");
  return _normalize_access_level(unchanged(data, "access_level", "ALL"));
}

std::string UtilityRegistration::_normalize_access_level(const Value& access_level) {
  if (!access_level.is_text()) throw TypeError("access_level must be a text");
  const auto level = values::upper_case(values::strip(access_level.text()));
  return level == "SYS_ADMIN" || level == "ORG_ADMIN" ? level : "ALL";
}

std::string UtilityRegistration::_normalize_display_location(const Value& value) {
  constexpr std::array<std::string_view, 5> navbar = {"navbar", "nav", "topnav", "top", "header"};
  if (value.is_null()) return "default";
  const auto location = values::lower_case(values::strip(values::text_form(value)));
  return std::find(navbar.begin(), navbar.end(), location) == navbar.end() ? "default" : "navbar";
}

Value UtilityRegistration::to_dict() const {
  Mapping mapping;
  mapping.reserve(all_fields.size() + extra.mapping().size());
  for (const auto& field : all_fields) mapping.append(field.name, this->*field.member);
  for (const auto& [key, value] : extra.mapping()) {
    if (is_field(key)) {
      mapping.set(key, value);
    } else {
      mapping.append(key, value);
    }
  }
  return mapping;
}

std::string UtilityRegistration::text_form() const {
  std::string text = "UtilityRegistration(";
  for (const auto& field : all_fields) {
    text += std::string(field.name) + "=" + values::repr_form(this->*field.member) + ", ";
  }
  return text + "extra=" + values::repr_form(extra) + ")";
}

}  // namespace utility_manager
