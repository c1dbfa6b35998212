#include "python/operation.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "python/failures.h"

namespace utility_manager::python {
namespace {

constexpr std::size_t most_parameters = 16;

/// An operation as Python holds it; kept for ever.
struct BoundOperation {
  explicit BoundOperation(const Operation& bound) : operation(bound) {
    if (operation.parameters.size() > most_parameters) throw std::length_error(operation.name);
    documentation = operation.name + std::string("(");
    for (std::size_t index = 0; index < operation.parameters.size(); ++index) add(index);
    documentation += ")";
    definition.ml_doc = documentation.c_str();
  }

  Operation operation;
  std::vector<Ref> defaults;  ///< null where there is none
  std::string documentation;
  PyMethodDef definition;

 private:
  void add(std::size_t index);
};

void BoundOperation::add(std::size_t index) {
  const auto& parameter = operation.parameters[index];
  if (index > 0) documentation += ", ";
  const std::string kind = operation.kinds.empty() ? "object" : operation.kinds[index]();
  documentation += parameter.name + (": " + kind);
  defaults.push_back(parameter.default_value ? to_python(*parameter.default_value) : Ref());
  if (!defaults.back()) return;
  const Ref shown = checked(PyObject_Repr(defaults.back().get()));
  documentation += " = " + encoded(shown.get());
}

using Slots = std::array<PyObject*, most_parameters>;

[[noreturn]] void throw_bad_call(const Operation& operation, const std::string& text) {
  raise(PyExc_TypeError, std::string(operation.name) + "(): " + text);
}

void place_named(const Operation& operation, PyObject* name, PyObject* object, Slots& slots) {
  for (std::size_t index = 0; index < operation.parameters.size(); ++index) {
    const auto* const known = operation.parameters[index].name;
    if (PyUnicode_CompareWithASCIIString(name, known) != 0) continue;
    if (slots[index]) throw_bad_call(operation, std::string("two values for '") + known + "'");
    slots[index] = object;
    return;
  }
  const Ref shown = checked(PyObject_ASCII(name));
  throw_bad_call(operation, "no argument is named " + encoded(shown.get()));
}

/// The objects of a call in the order of the parameters.
Slots placed(const BoundOperation& bound, PyObject* const* objects, std::size_t count,
             PyObject* names) {
  const auto& operation = bound.operation;
  const auto expected = operation.parameters.size();
  if (count > expected) {
    throw_bad_call(operation, "takes " + std::to_string(expected - operation.has_self) +
                                  " arguments, not " + std::to_string(count - operation.has_self));
  }
  Slots slots{};
  std::copy_n(objects, count, slots.begin());
  for (Py_ssize_t index = 0; names && index < PyTuple_GET_SIZE(names); ++index) {
    place_named(operation, PyTuple_GET_ITEM(names, index),
                objects[count + static_cast<std::size_t>(index)], slots);
  }
  for (std::size_t index = 0; index < expected; ++index) {
    if (!slots[index]) slots[index] = bound.defaults[index].get();
    if (slots[index]) continue;
    throw_bad_call(operation,
                   std::string("argument '") + operation.parameters[index].name + "' is missing");
  }
  return slots;
}

PyObject* dispatch(PyObject* capsule, PyObject* const* objects, Py_ssize_t count, PyObject* names) {
  const auto& bound = *static_cast<BoundOperation*>(PyCapsule_GetPointer(capsule, nullptr));
  return returned([&] {
    const auto slots = placed(bound, objects, static_cast<std::size_t>(count), names);
    return bound.operation.call(bound.operation, {slots.data(), bound.defaults.size()});
  });
}

Ref function_of(const Operation& operation) {
  auto* const bound = new BoundOperation(operation);
  bound->definition.ml_name = operation.name;
  bound->definition.ml_meth = reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(dispatch));
  bound->definition.ml_flags = METH_FASTCALL | METH_KEYWORDS;
  const Ref capsule = checked(PyCapsule_New(bound, nullptr, nullptr));
  const Ref module = decoded("utility_manager");
  return checked(PyCFunction_NewEx(&bound->definition, capsule.get(), module.get()));
}

}  // namespace

Parameter optional(const char* name, values::Value default_value) {
  return {name, new values::Value(std::move(default_value))};
}

void bind(PyObject* owner, const Operation& operation) {
  Ref function = function_of(operation);
  if (operation.has_self) {
    function = checked(PyInstanceMethod_New(function.get()));
  } else if (PyType_Check(owner)) {
    function = checked(PyStaticMethod_New(function.get()));
  }
  checked(PyObject_SetAttrString(owner, operation.name, function.get()));
}

void bind_attribute(PyObject* type, const Operation& getter, const Operation* setter) {
  const Ref get = function_of(getter);
  const Ref set = setter ? function_of(*setter) : Ref::borrow(Py_None);
  auto* const property_type = reinterpret_cast<PyObject*>(&PyProperty_Type);
  const Ref property =
      checked(PyObject_CallFunction(property_type, "OOOs", get.get(), set.get(), Py_None, ""));
  checked(PyObject_SetAttrString(type, getter.name, property.get()));
}

Operation conversion(const char* name, Parameters parameters,
                     std::function<Ref(const Operation&, Objects)> work) {
  return {name, std::move(parameters), {}, true, std::move(work)};
}

}  // namespace utility_manager::python
