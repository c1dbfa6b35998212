#pragma once

#include <optional>
#include <span>
#include <string>

#include "utility_manager/values/value.h"

namespace utility_manager {

/// One registration of a plugin in fixed fields. The members stand in the order of the mapping
/// form; assigning a field normalises nothing, only `from_dict` does. A field that `from_dict`
/// takes unchanged may hold any value, though a text is usual.
struct UtilityRegistration {
  values::Value utility_name;
  values::Value title = "";
  values::Value en_title = "";
  values::Value description = "";
  values::Value en_description = "";
  values::Value script_path = "";
  values::Value default_route = "/";
  values::Value require_group_name = false;
  values::Value plugin_name;
  values::Value builtin = false;
  values::Value access_level = "ALL";
  values::Value persistent = false;
  values::Value icon_path = "";
  values::Value display_location = "default";
  values::Value extra = values::Mapping();  ///< every other key of the registration

  struct Field {
    const char* name;
    values::Value UtilityRegistration::*member;
    bool is_path = false;
  };

  /// The fields of the mapping form in its order; `extra` has no key of its own. What a
  /// registration without arguments holds in them is their default.
  static std::span<const Field> fields();

  bool operator==(const UtilityRegistration&) const = default;

  /// The canonical form of what a plugin gives. `plugin_name` stands in where `data` has no such
  /// key. Fails with `TypeError` when `data` is no mapping or its `access_level` no text; nothing
  /// else in `data` makes it fail.
  static UtilityRegistration from_dict(const values::Value& data,
                                       const std::optional<std::string>& plugin_name = {});

  /// The canonical `access_level` of a registration mapping; "ALL" without the key. Fails with
  /// `TypeError` when the value is no text, null included.
  static std::string _convert_legacy_access_fields(const values::Value& data);

  /// "ALL", "SYS_ADMIN" or "ORG_ADMIN"; an unknown level is "ALL". Fails with `TypeError` when
  /// `access_level` is no text.
  static std::string _normalize_access_level(const values::Value& access_level);

  /// "navbar" or "default"; anything unknown is "default".
  static std::string _normalize_display_location(const values::Value& value);

  /// The flat mapping form: the first 14 fields in order, then the entries of `extra`. An entry
  /// whose key is a field's replaces its value in place.
  values::Value to_dict() const;

  /// Field by field, as a developer wants to read it.
  std::string text_form() const;
};

}  // namespace utility_manager
