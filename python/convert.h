#pragma once

#include <string>
#include <string_view>

#include "python/gil.h"
#include "values/value.h"

/// Values cross the border by conversion, in both directions. All of it needs the interpreter lock
/// and may throw what Python raises.
namespace python {

/// None, bool, int of 64 bits, float, str, list, tuple (a list from then on) and mappings with str
/// keys. Fails with a `TypeError` that names the key on anything else, with an `OverflowError` on a
/// larger int, with a `UnicodeEncodeError` on a lone surrogate, and with a `ValueError` on nesting
/// beyond 500 levels.
values::Value to_value(PyObject* object);

/// The same for a registration: its `script_path` and `icon_path` may be any path of the file
/// system.
values::Value registration_to_value(PyObject* mapping);

/// The same for a record of the catalogue, without the entries of the icon cache in it.
values::Value info_to_value(PyObject* mapping);

/// The same for what a service of the client gives: a member that can't be converted is left out of
/// a mapping and null in a list. Null for anything not truthy.
values::Value lenient_to_value(PyObject* object);

Ref to_python(const values::Value& value);

/// The str of a UTF-8 text; a byte that is no UTF-8 becomes the surrogate that stands for it in a
/// path.
Ref decoded(std::string_view text);

/// A str as UTF-8. Fails as `to_value` does.
std::string encoded(PyObject* text);

/// A str or a path object as the file system's bytes.
std::string encoded_path(PyObject* path);

/// What the key of an entry of the icon cache begins with; the rest is the path of the icon.
inline constexpr std::string_view icon_cache_prefix = "_icon_cache_";
bool is_icon_cache_key(PyObject* key);

/// True for a dict and for every other mapping.
bool is_mapping(PyObject* object);

}  // namespace python
