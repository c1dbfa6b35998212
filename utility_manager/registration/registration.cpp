#include "utility_manager/registration/registration.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "utility_manager/failures.h"
#include "values/members.h"
#include "values/text.h"
#include "values/text_form.h"
#include "values/truthiness.h"

namespace utility_manager {
namespace {

using values::Value;

struct Field {
  const char* name;
  Value UtilityRegistration::*member;
};

/// The fields of the mapping form in their order; `extra` has no key of its own.
constexpr std::array<Field, 14> fields = {{
    {"utility_name", &UtilityRegistration::utility_name},
    {"title", &UtilityRegistration::title},
    {"en_title", &UtilityRegistration::en_title},
    {"description", &UtilityRegistration::description},
    {"en_description", &UtilityRegistration::en_description},
    {"script_path", &UtilityRegistration::script_path},
    {"default_route", &UtilityRegistration::default_route},
    {"require_group_name", &UtilityRegistration::require_group_name},
    {"plugin_name", &UtilityRegistration::plugin_name},
    {"builtin", &UtilityRegistration::builtin},
    {"access_level", &UtilityRegistration::access_level},
    {"persistent", &UtilityRegistration::persistent},
    {"icon_path", &UtilityRegistration::icon_path},
    {"display_location", &UtilityRegistration::display_location},
}};

bool is_field(std::string_view key) {
  return std::any_of(fields.begin(), fields.end(),
                     [&](const Field& field) { return field.name == key; });
}

Value unchanged(const Value& data, const char* key, const Value& absent) {
  return data.contains(key) ? data.at(key) : absent;
}

std::string text_if_truthy(const Value& data, const char* key) {
  const auto& value = values::at_or_null(data, key);
  return values::truthy(value) ? values::text_form(value) : std::string();
}

Value unless_falsy(const Value& data, const char* key, const char* falsy) {
  const auto& value = values::at_or_null(data, key);
  return values::truthy(value) ? value : Value(falsy);
}

Value extra_of(const Value& data) {
  auto extra = Value::object();
  auto& members = extra.get_ref<Value::object_t&>();
  for (const auto& [key, value] : data.get_ref<const Value::object_t&>()) {
    if (!is_field(key)) members.emplace_back(key, value);
  }
  return extra;
}

}  // namespace

UtilityRegistration UtilityRegistration::from_dict(const Value& data,
                                                   const std::optional<std::string>& plugin_name) {
  if (!data.is_object()) throw TypeError("a registration must be a mapping");
  UtilityRegistration record;
  record.access_level = _convert_legacy_access_fields(data);
  record.utility_name = unchanged(data, "utility_name", "");
  record.title = unchanged(data, "title", record.utility_name);
  record.en_title = text_if_truthy(data, "en_title");
  record.description = unchanged(data, "description", "");
  record.en_description = text_if_truthy(data, "en_description");
  record.script_path = unchanged(data, "script_path", "");
  record.default_route = unless_falsy(data, "default_route", "/");
  record.require_group_name = values::truthy_at(data, "require_group_name");
  record.plugin_name = unchanged(data, "plugin_name", plugin_name ? Value(*plugin_name) : Value());
  record.builtin = values::truthy_at(data, "builtin");
  record.persistent = values::truthy_at(data, "persistent");
  record.icon_path = unchanged(data, "icon_path", "");
  record.display_location =
      _normalize_display_location(unchanged(data, "display_location", "default"));
  record.extra = extra_of(data);
  return record;
}

std::string UtilityRegistration::_convert_legacy_access_fields(const Value& data) {
  if (!data.is_object()) throw TypeError("a registration must be a mapping");
  return _normalize_access_level(unchanged(data, "access_level", "ALL"));
}

std::string UtilityRegistration::_normalize_access_level(const Value& access_level) {
  if (!access_level.is_string()) throw TypeError("access_level must be a text");
  const auto level = values::upper_case(values::strip(access_level.get_ref<const std::string&>()));
  return level == "SYS_ADMIN" || level == "ORG_ADMIN" ? level : "ALL";
}

std::string UtilityRegistration::_normalize_display_location(const Value& value) {
  constexpr std::array<std::string_view, 5> navbar = {"navbar", "nav", "topnav", "top", "header"};
  if (value.is_null()) return "default";
  const auto location = values::lower_case(values::strip(values::text_form(value)));
  return std::find(navbar.begin(), navbar.end(), location) == navbar.end() ? "default" : "navbar";
}

Value UtilityRegistration::to_dict() const {
  auto mapping = Value::object();
  auto& members = mapping.get_ref<Value::object_t&>();
  for (const auto& field : fields) members.emplace_back(field.name, this->*field.member);
  for (const auto& [key, value] : extra.get_ref<const Value::object_t&>()) {
    if (is_field(key)) {
      members[key] = value;
    } else {
      members.emplace_back(key, value);
    }
  }
  return mapping;
}

std::string UtilityRegistration::text_form() const {
  std::string text = "UtilityRegistration(";
  for (const auto& field : fields) {
    text += std::string(field.name) + "=" + values::repr_form(this->*field.member) + ", ";
  }
  return text + "extra=" + values::repr_form(extra) + ")";
}

}  // namespace utility_manager
