#pragma once

#include "python/failures.h"

/// Calls from the adapters into the client. All of them need the interpreter lock and throw what is
/// raised.
namespace utility_manager::python {

template <typename... Arguments>
Ref call(PyObject* callable, Arguments... arguments) {
  constexpr PyObject* end = nullptr;
  return checked(
      guarded_call([=] { return PyObject_CallFunctionObjArgs(callable, arguments..., end); }));
}

inline Ref attribute(PyObject* object, const char* name) {
  return checked(guarded_call([=] { return PyObject_GetAttrString(object, name); }));
}

/// Null where there is no such attribute.
inline Ref optional_attribute(PyObject* object, const char* name) {
  Ref found = Ref::steal(guarded_call([=] { return PyObject_GetAttrString(object, name); }));
  if (!found && !caught(PyExc_AttributeError)) throw_raised();
  return found;
}

/// Null where a mapping has no such key.
Ref optional_item(PyObject* mapping, const char* key);

template <typename... Arguments>
Ref call_method(PyObject* object, const char* name, Arguments... arguments) {
  const Ref method = attribute(object, name);
  return call(method.get(), arguments...);
}

inline Ref import_module(const char* name) {
  return checked(guarded_call([=] { return PyImport_ImportModule(name); }));
}

/// As `from module import name` does.
Ref import_name(const char* module_name, const char* name);

inline bool is_true(PyObject* object) {
  return checked(guarded_call([=] { return PyObject_IsTrue(object); })) != 0;
}

}  // namespace utility_manager::python
