#include "python/instance.h"

#include <new>
#include <unordered_map>

#include <structmember.h>

#include "python/failures.h"

namespace utility_manager::python {
namespace {

struct Instance {
  PyObject ob_base;
  std::shared_ptr<void> held;
  PyObject* attached;
  PyObject* weak_references;
};

Instance& instance(PyObject* object) {
  return *reinterpret_cast<Instance*>(object);
}

/// The object that holds each pointer; kept for ever.
std::unordered_map<const void*, PyObject*>& objects() {
  static auto* const all = new std::unordered_map<const void*, PyObject*>;
  return *all;
}

void forget(PyObject* object) {
  const auto place = objects().find(instance(object).held.get());
  if (place != objects().end() && place->second == object) objects().erase(place);
}

PyObject* create(PyTypeObject* type, PyObject*, PyObject*) {
  PyObject* const object = type->tp_alloc(type, 0);
  if (object) new (&instance(object).held) std::shared_ptr<void>;
  return object;
}

int traverse(PyObject* object, visitproc visit, void* arg) {
  Py_VISIT(Py_TYPE(object));
  Py_VISIT(instance(object).attached);
  return 0;
}

int clear(PyObject* object) {
  Py_CLEAR(instance(object).attached);
  return 0;
}

void destroy(PyObject* object) {
  PyTypeObject* const type = Py_TYPE(object);
  PyObject_GC_UnTrack(object);
  forget(object);
  if (instance(object).weak_references) PyObject_ClearWeakRefs(object);
  clear(object);
  instance(object).held.~shared_ptr();
  type->tp_free(object);
  Py_DECREF(type);
}

PyMemberDef members[] = {
    {"__weaklistoffset__", T_PYSSIZET, offsetof(Instance, weak_references), READONLY, nullptr},
    {nullptr, 0, 0, 0, nullptr}};

}  // namespace

PyTypeObject* new_class(const char* name, Origin origin) {
  PyType_Slot slots[] = {{Py_tp_new, reinterpret_cast<void*>(&create)},
                         {Py_tp_dealloc, reinterpret_cast<void*>(&destroy)},
                         {Py_tp_traverse, reinterpret_cast<void*>(&traverse)},
                         {Py_tp_clear, reinterpret_cast<void*>(&clear)},
                         {Py_tp_members, members},
                         {0, nullptr}};
  const unsigned origin_flags =
      origin == Origin::client ? Py_TPFLAGS_BASETYPE : Py_TPFLAGS_DISALLOW_INSTANTIATION;
  PyType_Spec spec = {
      .name = name,
      .basicsize = sizeof(Instance),
      .itemsize = 0,
      .flags = static_cast<unsigned>(Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_GC) | origin_flags,
      .slots = slots};
  return reinterpret_cast<PyTypeObject*>(checked(PyType_FromSpec(&spec)).release());
}

std::shared_ptr<void> held_by(PyObject* object) {
  return instance(object).held;
}

void hold(PyObject* object, std::shared_ptr<void> held) {
  forget(object);
  objects().emplace(held.get(), object);
  std::swap(instance(object).held, held);
}

Ref attached_to(PyObject* object) {
  return Ref::borrow(instance(object).attached);
}

void attach(PyObject* object, Ref attached) {
  const Ref previous = Ref::steal(std::exchange(instance(object).attached, attached.release()));
}

Ref object_for(PyTypeObject* type, std::shared_ptr<void> held) {
  if (!held) return Ref::borrow(Py_None);
  const auto known = objects().find(held.get());
  if (known != objects().end()) return Ref::borrow(known->second);
  Ref object = checked(create(type, nullptr, nullptr));
  hold(object.get(), std::move(held));
  return object;
}

void throw_not_initialised(const ArgumentName& which, PyTypeObject* type) {
  raise(PyExc_TypeError, std::string(which.operation) + "(): the object of " + type->tp_name +
                             " was never initialised");
}

}  // namespace utility_manager::python
