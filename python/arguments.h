#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "python/convert.h"
#include "utility_manager/platform/process_handle.h"
#include "utility_manager/values/value.h"

/// The kinds of arguments of bound operations. Each has a `name()`, as the client reads it, a
/// `Type` that the core gets, and `read`, which converts and fails with a `TypeError` on a wrong
/// type. None is one unless the argument is optional.
namespace utility_manager::python {

/// Which argument of which operation is read.
struct ArgumentName {
  const char* operation;
  const char* argument;
  bool is_item = false;  ///< an item of the list that was given
};

/// The message names types only: an argument may hold what is nobody's business.
[[noreturn]] void throw_wrong_type(const ArgumentName& which, const std::string& wanted,
                                   PyObject* given);

/// A str, and no bytes.
struct Text {
  using Type = std::string;
  static std::string name() { return "str"; }
  static Type read(PyObject* object, const ArgumentName& which);
};

/// A str or a path object, as the file system's bytes.
struct Path {
  using Type = std::string;
  static std::string name() { return "str | os.PathLike"; }
  static Type read(PyObject* object, const ArgumentName& which);
};

/// Any number, without its fraction. One beyond 64 bits becomes the outermost of its side.
struct Pid {
  using Type = std::int64_t;
  static std::string name() { return "float"; }
  static Type read(PyObject* object, const ArgumentName& which);
};

/// An int; beyond 64 bits as above.
struct Integer {
  using Type = std::int64_t;
  static std::string name() { return "int"; }
  static Type read(PyObject* object, const ArgumentName& which);
};

struct Real {
  using Type = double;
  static std::string name() { return "float"; }
  static Type read(PyObject* object, const ArgumentName& which);
};

/// The truth of anything but None.
struct Truth {
  using Type = bool;
  static std::string name() { return "bool"; }
  static Type read(PyObject* object, const ArgumentName& which);
};

/// Any value of the JSON kinds.
struct Data {
  using Type = values::Value;
  static std::string name() { return "object"; }
  static Type read(PyObject* object, const ArgumentName&) { return to_value(object); }
};

/// Any value; what no JSON kind can stand for is carried.
struct Anything {
  using Type = values::Value;
  static std::string name() { return "object"; }
  static Type read(PyObject* object, const ArgumentName&) { return to_carried_value(object); }
};

/// The same; a path may be any of the file system.
struct AnythingOrPath {
  using Type = values::Value;
  static std::string name() { return "object"; }
  static Type read(PyObject* object, const ArgumentName&);
};

/// A mapping that `convert` makes a value of.
template <values::Value (*convert)(PyObject*)>
struct MappingOf {
  using Type = values::Value;
  static std::string name() { return "dict"; }
  static Type read(PyObject* object, const ArgumentName& which) {
    if (!is_mapping(object)) throw_wrong_type(which, name(), object);
    return convert(object);
  }
};

using Mapping = MappingOf<to_value>;
using RegistrationMapping = MappingOf<registration_to_value>;
using InfoMapping = MappingOf<info_to_value>;

/// The user's rights; null for None.
struct Permissions {
  using Type = values::Value;
  static std::string name() { return "dict | None"; }
  static Type read(PyObject* object, const ArgumentName& which) {
    return object == Py_None ? values::Value() : Mapping::read(object, which);
  }
};

/// A child-process handle: the system's own, or an adapter of any object with `pid`, `poll()`,
/// `terminate()` and `wait(timeout)`; null for None.
struct Process {
  using Type = std::shared_ptr<platform::ProcessHandle>;
  static std::string name() { return "object"; }
  static Type read(PyObject* object, const ArgumentName&);
};

/// The object itself, to be given back and not to be looked into. Lives as long as the call.
struct Object {
  using Type = PyObject*;
  static std::string name() { return "object"; }
  static Type read(PyObject* object, const ArgumentName&) { return object; }
};

template <typename Kind>
struct Optional {
  using Type = std::optional<typename Kind::Type>;
  static std::string name() { return Kind::name() + " | None"; }
  static Type read(PyObject* object, const ArgumentName& which) {
    if (object == Py_None) return std::nullopt;
    return Kind::read(object, which);
  }
};

/// The items of a list, or of any other sequence but a text, in a list of their own.
Ref items_of(PyObject* object, const ArgumentName& which, const std::string& wanted);

template <typename Kind>
struct ListOf {
  using Type = std::vector<typename Kind::Type>;
  static std::string name() { return "list[" + Kind::name() + "]"; }
  static Type read(PyObject* object, const ArgumentName& which) {
    const Ref items = items_of(object, which, name());
    Type result;
    for (Py_ssize_t index = 0; index < PyList_GET_SIZE(items.get()); ++index) {
      result.push_back(
          Kind::read(PyList_GET_ITEM(items.get(), index), {which.operation, which.argument, true}));
    }
    return result;
  }
};

/// A number as a pid is read.
std::int64_t to_pid(PyObject* number);

}  // namespace utility_manager::python
