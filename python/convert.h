#pragma once

#include "python/ref.h"
#include "python/texts.h"
#include "utility_manager/values/value.h"

/// Values cross the border by conversion, in both directions. All of it needs the interpreter lock
/// and may throw what Python raises.
namespace utility_manager::python {

/// None, bool, int of 64 bits, float, str, list, tuple (a list from then on) and mappings with str
/// keys. Fails with a `TypeError` that names the key on anything else, with an `OverflowError` on a
/// larger int, with a `UnicodeEncodeError` on a lone surrogate, and with a `ValueError` on a
/// container that contains itself and on nesting beyond `limits::deepest_level`.
values::Value to_value(PyObject* object);

/// The same, but an object that no value can stand for is carried and comes back as itself: one of
/// another type, a larger int, a text with a lone surrogate, a mapping with a key that is no str.
values::Value to_carried_value(PyObject* object);

/// The same for the members of a registration, which itself is a mapping with str keys. Its
/// `script_path` and `icon_path` may be any path of the file system.
values::Value registration_to_value(PyObject* mapping);

/// The same for a utility of the catalogue, without the entries of the icon cache in it.
values::Value info_to_value(PyObject* mapping);

/// The same for what a service of the client gives: a member that can't be converted is left out of
/// a mapping and null in a list. Null for anything not truthy.
values::Value lenient_to_value(PyObject* object);

Ref to_python(const values::Value& value);

/// True for a dict and for every other mapping.
bool is_mapping(PyObject* object);

}  // namespace utility_manager::python
