#include "python/bind.h"
#include "python/calls.h"
#include "utility_manager/registration/registration.h"

namespace utility_manager::python {
namespace {

/// As Python holds it, with `extra` in a live dict that is attached to the object, so that it can
/// be changed in place.
using Registration = UtilityRegistration;
using Field = Registration::Field;

Registration& registration_of(PyObject* object, const ArgumentName& which) {
  return *Self<Registration>::read(object, which).held;
}

/// Empty in an object that the garbage collector has cleared.
Ref extra_dict(PyObject* self) {
  Ref extra = attached_to(self);
  return extra ? std::move(extra) : checked(PyDict_New());
}

Ref as_dict(PyObject* extra) {
  if (extra == Py_None) return checked(PyDict_New());
  if (PyDict_Check(extra)) return Ref::borrow(extra);
  if (!is_mapping(extra)) raise(PyExc_TypeError, "extra must be a mapping");
  return to_python(registration_to_value(extra));
}

values::Value read(const Field& field, PyObject* object, const ArgumentName& which) {
  return field.is_path ? AnythingOrPath::read(object, which) : Anything::read(object, which);
}

/// The fields in their order with their defaults, `extra`.
Parameters all_parameters() {
  const Registration defaults;
  Parameters parameters = {"self"};
  for (const auto& field : Registration::fields()) {
    const bool has_to_be_given = field.member == &Registration::utility_name;
    parameters.push_back(has_to_be_given ? Parameter(field.name)
                                         : optional(field.name, defaults.*field.member));
  }
  parameters.push_back(optional("extra"));
  return parameters;
}

Ref initialise(const Operation& operation, Objects objects) {
  PyObject* const self = objects.front();
  if (!is_instance<Registration>(self)) {
    throw_wrong_type(operation.argument(0), Self<Registration>::name(), self);
  }
  auto made = std::make_shared<Registration>();
  std::size_t index = 0;
  for (const auto& field : Registration::fields()) {
    ++index;
    (*made).*field.member = read(field, objects[index], operation.argument(index));
  }
  attach(self, as_dict(objects.back()));
  hold(self, std::move(made));
  return Ref::borrow(Py_None);
}

/// The registration with what stands in its dict by now.
Registration whole(PyObject* self, const ArgumentName& which) {
  Registration registration = registration_of(self, which);
  registration.extra = registration_to_value(extra_dict(self).get());
  return registration;
}

/// The arguments that make an equal registration.
Ref arguments_of(const Registration& registration, PyObject* extra) {
  const Ref list = checked(PyList_New(0));
  for (const auto& field : Registration::fields()) {
    checked(PyList_Append(list.get(), to_python(registration.*field.member).get()));
  }
  checked(PyList_Append(list.get(), extra));
  return checked(PyList_AsTuple(list.get()));
}

Ref to_dict(const Operation& operation, Objects objects) {
  return to_python(whole(objects[0], operation.argument(0)).to_dict());
}

Ref text_form(const Operation& operation, Objects objects) {
  return decoded(whole(objects[0], operation.argument(0)).text_form());
}

Ref all_arguments_of(PyObject* self, const ArgumentName& which) {
  const Registration registration = whole(self, which);
  return arguments_of(registration, to_python(registration.extra).get());
}

/// As Python compares: neither the order of members nor the kind of a number matters.
Ref is_equal(const Operation& operation, Objects objects) {
  if (!is_instance<Registration>(objects[1])) return Ref::borrow(Py_NotImplemented);
  const Ref one = all_arguments_of(objects[0], operation.argument(0));
  const Ref other = all_arguments_of(objects[1], operation.argument(1));
  return checked(
      guarded_call([a = one.get(), b = other.get()] { return PyObject_RichCompare(a, b, Py_EQ); }));
}

/// What copies and pickles are made from: class, arguments and what a derived class adds.
Ref reduced(const Operation& operation, Objects objects) {
  PyObject* const self = objects[0];
  const auto which = operation.argument(0);  // named: of a temporary g++ 13 would warn
  const auto& registration = registration_of(self, which);
  const Ref arguments = arguments_of(registration, extra_dict(self).get());
  Ref state = optional_attribute(self, "__dict__");
  if (!state) state = Ref::borrow(Py_None);
  return checked(PyTuple_Pack(3, Py_TYPE(self), arguments.get(), state.get()));
}

void bind_field(PyObject* type, const Field& field) {
  const auto get = [member = field.member](const Operation& operation, Objects objects) {
    return to_python(registration_of(objects[0], operation.argument(0)).*member);
  };
  const auto set = [field](const Operation& operation, Objects objects) {
    auto value = read(field, objects[1], operation.argument(1));
    registration_of(objects[0], operation.argument(0)).*field.member = std::move(value);
    return Ref::borrow(Py_None);
  };
  const auto setter = conversion(field.name, {"self", "value"}, set);
  bind_attribute(type, conversion(field.name, {"self"}, get), &setter);
}

Ref extra_of(const Operation& operation, Objects objects) {
  registration_of(objects[0], operation.argument(0));
  return extra_dict(objects[0]);
}

Ref set_extra(const Operation& operation, Objects objects) {
  registration_of(objects[0], operation.argument(0));
  attach(objects[0], as_dict(objects[1]));
  return Ref::borrow(Py_None);
}

}  // namespace

Ref given(const UtilityRegistration& registration) {
  Ref object = object_for(class_of<Registration>, std::make_shared<Registration>(registration));
  attach(object.get(), to_python(registration.extra));
  return object;
}

void bind_registration(PyObject* module) {
  auto* const type =
      bind_class<Registration>("utility_manager.UtilityRegistration", Origin::client);
  bind(type, conversion("__init__", all_parameters(), initialise));
  bind<&Registration::from_dict, RegistrationMapping, Optional<Text>>(
      type, "from_dict", {"data", optional("plugin_name")});
  bind<&Registration::_convert_legacy_access_fields, RegistrationMapping>(
      type, "_convert_legacy_access_fields", {"data"});
  bind<&Registration::_normalize_access_level, Anything>(type, "_normalize_access_level",
                                                         {"access_level"});
  bind<&Registration::_normalize_display_location, Anything>(type, "_normalize_display_location",
                                                             {"value"});
  bind(type, conversion("to_dict", {"self"}, to_dict));
  bind(type, conversion("__repr__", {"self"}, text_form));
  bind(type, conversion("__eq__", {"self", "other"}, is_equal));
  bind(type, conversion("__reduce__", {"self"}, reduced));
  for (const auto& field : Registration::fields()) bind_field(type, field);
  const auto setter = conversion("extra", {"self", "value"}, set_extra);
  bind_attribute(type, conversion("extra", {"self"}, extra_of), &setter);
  checked(PyObject_SetAttrString(type, "__hash__", Py_None));
  checked(PyModule_AddObjectRef(module, "UtilityRegistration", type));
}

}  // namespace utility_manager::python
