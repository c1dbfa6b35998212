#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "python/ref.h"

/// Texts and paths across the border. All of it needs the interpreter lock and may throw what
/// Python raises.
namespace utility_manager::python {

/// The str of a UTF-8 text; a byte that is no UTF-8 becomes the surrogate that stands for it in a
/// path.
Ref decoded(std::string_view text);

/// A str as UTF-8. Nothing for one with lone surrogates; the exception is set then.
std::optional<std::string> utf8(PyObject* text);

/// A str as UTF-8. Fails with a `UnicodeEncodeError` on a lone surrogate.
std::string encoded(PyObject* text);

/// A str as UTF-8; a surrogate that stands for a byte becomes that byte, any other one an escape.
std::string encoded_leniently(PyObject* text);

/// True for a str and for a path object.
bool is_path_like(PyObject* object);

/// A str or a path object as the file system's bytes.
std::string encoded_path(PyObject* path);

/// True for the key of an entry of the icon cache.
bool is_icon_cache_key(PyObject* key);

}  // namespace utility_manager::python
