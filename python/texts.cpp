#include "python/texts.h"

#include "python/failures.h"
#include "utility_manager/catalogue/icon_cache.h"
#include "utility_manager/failures.h"

namespace utility_manager::python {
namespace {

std::string text_of_bytes(PyObject* bytes) {
  return {PyBytes_AS_STRING(bytes), static_cast<std::size_t>(PyBytes_GET_SIZE(bytes))};
}

}  // namespace

std::optional<std::string> utf8(PyObject* text) {
  Py_ssize_t size = 0;
  const char* const bytes = PyUnicode_AsUTF8AndSize(text, &size);
  if (!bytes) return std::nullopt;
  return std::string(bytes, static_cast<std::size_t>(size));
}

Ref decoded(std::string_view text) {
  return checked(
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape"));
}

std::string encoded(PyObject* text) {
  auto bytes = utf8(text);
  if (!bytes) throw_raised();
  return *bytes;
}

std::string encoded_leniently(PyObject* text) {
  Ref bytes = Ref::steal(PyUnicode_AsEncodedString(text, "utf-8", "surrogateescape"));
  if (!bytes && caught(PyExc_UnicodeEncodeError)) {
    bytes = Ref::steal(PyUnicode_AsEncodedString(text, "utf-8", "backslashreplace"));
  }
  if (!bytes) throw_raised();
  return text_of_bytes(bytes.get());
}

bool is_path_like(PyObject* object) {
  if (PyUnicode_Check(object)) return true;
  return guarded_call([object] { return PyObject_HasAttrString(object, "__fspath__"); }) != 0;
}

std::string encoded_path(PyObject* path) {
  const Ref text = checked(guarded_call([path] { return PyOS_FSPath(path); }));
  if (!PyUnicode_Check(text.get())) throw utility_manager::TypeError("a path must be a str");
  const Ref bytes = checked(PyUnicode_EncodeFSDefault(text.get()));
  return text_of_bytes(bytes.get());
}

bool is_icon_cache_key(PyObject* key) {
  static PyObject* prefix = nullptr;
  if (!prefix) prefix = decoded(icon_cache_prefix).release();
  return PyUnicode_Check(key) &&
         checked(static_cast<int>(PyUnicode_Tailmatch(key, prefix, 0, PY_SSIZE_T_MAX, -1))) != 0;
}

}  // namespace utility_manager::python
