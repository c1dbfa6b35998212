#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "platform/process_handle.h"
#include "python/convert.h"
#include "python/failures.h"
#include "utility_manager/catalogue/utility_info.h"
#include "values/value.h"

/// The types of the arguments of bound operations, each with its conversion. A wrong type is a
/// `TypeError`; None is one where the argument isn't optional.
namespace python {

/// A str, and no bytes.
struct Text : std::string {
  using std::string::string;
};

/// A str or a path object, as the file system's bytes.
struct Path : std::string {
  using std::string::string;
};

/// Any number, without its fraction. One beyond 64 bits becomes the outermost of its side.
struct Pid {
  std::int64_t value = 0;
  operator std::int64_t() const { return value; }
};

/// An int; beyond 64 bits as above.
struct Integer {
  std::int64_t value = 0;
  operator std::int64_t() const { return value; }
};

/// The truth of anything but None.
struct Truth {
  bool value = false;
  operator bool() const { return value; }
};

/// Any value of the JSON kinds.
struct Data {
  values::Value value;
};

/// A mapping of the JSON kinds.
struct Mapping {
  values::Value value;
};

/// A registration as a plugin gives it.
struct RegistrationMapping {
  values::Value value;
};

/// A record of the catalogue, or the mapping form of a registration.
struct InfoMapping {
  values::Value value;
};

std::int64_t to_pid(PyObject* number);
std::int64_t to_integer(PyObject* number);

/// A child-process handle: the system's own, or an adapter of any object with `pid`, `poll()`,
/// `terminate()` and `wait(timeout)`; null for None.
std::shared_ptr<platform::ProcessHandle> to_handle(PyObject* process);

/// What a bound operation gives back.
inline pybind11::object given(Ref object) {
  return pybind11::reinterpret_steal<pybind11::object>(object.release());
}
inline pybind11::object given(const values::Value& value) {
  return given(to_python(value));
}
inline pybind11::object given_text(const std::string& text) {
  return given(decoded(text));
}
inline pybind11::object given_text(const std::optional<std::string>& text) {
  return text ? given_text(*text) : pybind11::none();
}

}  // namespace python

namespace pybind11::detail {

template <>
struct type_caster<python::Text> {
  PYBIND11_TYPE_CASTER(python::Text, const_name("str"));
  bool load(handle source, bool) {
    if (!PyUnicode_Check(source.ptr())) return false;
    static_cast<std::string&>(value) = python::encoded(source.ptr());
    return true;
  }
};

template <>
struct type_caster<python::Path> {
  PYBIND11_TYPE_CASTER(python::Path, const_name("str | os.PathLike"));
  bool load(handle source, bool) {
    if (!PyUnicode_Check(source.ptr()) && !hasattr(source, "__fspath__")) return false;
    static_cast<std::string&>(value) = python::encoded_path(source.ptr());
    return true;
  }
};

template <>
struct type_caster<python::Pid> {
  PYBIND11_TYPE_CASTER(python::Pid, const_name("float"));
  bool load(handle source, bool) {
    if (!PyNumber_Check(source.ptr())) return false;
    value.value = python::to_pid(source.ptr());
    return true;
  }
};

template <>
struct type_caster<python::Integer> {
  PYBIND11_TYPE_CASTER(python::Integer, const_name("int"));
  bool load(handle source, bool) {
    if (!PyIndex_Check(source.ptr())) return false;
    value.value = python::to_integer(source.ptr());
    return true;
  }
};

template <>
struct type_caster<python::Truth> {
  PYBIND11_TYPE_CASTER(python::Truth, const_name("bool"));
  bool load(handle source, bool) {
    if (source.is_none()) return false;
    value.value =
        python::checked(python::guarded_call([source] { return PyObject_IsTrue(source.ptr()); })) !=
        0;
    return true;
  }
};

template <>
struct type_caster<python::Data> {
  PYBIND11_TYPE_CASTER(python::Data, const_name("object"));
  bool load(handle source, bool) {
    value.value = python::to_value(source.ptr());
    return true;
  }
};

template <>
struct type_caster<python::Mapping> {
  PYBIND11_TYPE_CASTER(python::Mapping, const_name("dict"));
  bool load(handle source, bool) {
    if (!python::is_mapping(source.ptr())) return false;
    value.value = python::to_value(source.ptr());
    return true;
  }
};

template <>
struct type_caster<python::RegistrationMapping> {
  PYBIND11_TYPE_CASTER(python::RegistrationMapping, const_name("dict"));
  bool load(handle source, bool) {
    if (!python::is_mapping(source.ptr())) return false;
    value.value = python::registration_to_value(source.ptr());
    return true;
  }
};

template <>
struct type_caster<python::InfoMapping> {
  PYBIND11_TYPE_CASTER(python::InfoMapping, const_name("dict"));
  bool load(handle source, bool) {
    if (!python::is_mapping(source.ptr())) return false;
    value.value = python::info_to_value(source.ptr());
    return true;
  }
};

}  // namespace pybind11::detail
