#pragma once

#include <concepts>
#include <memory>
#include <string>
#include <utility>

#include "python/arguments.h"
#include "python/ref.h"
#include "utility_manager/forked_child.h"

namespace utility_manager {
class UtilityServerManager;
class LineReader;
class MonitorThread;
class StderrBuffer;
struct UtilityRegistration;
namespace platform {
class ProcessTable;
class Stream;
}  // namespace platform
}  // namespace utility_manager

/// The objects of the surface's classes. Each holds a `std::shared_ptr`, and while it lives the
/// same pointer gives the same object. All of it needs the interpreter lock.
namespace utility_manager::python {

/// The types that have a class in Python.
template <typename Type>
concept Bound = std::same_as<Type, UtilityServerManager> || std::same_as<Type, MonitorThread> ||
    std::same_as<Type, UtilityRegistration> || std::same_as<Type, StderrBuffer> ||
    std::same_as<Type, LineReader> || std::same_as<Type, platform::Stream> ||
    std::same_as<Type, platform::ProcessHandle> || std::same_as<Type, platform::ProcessTable>;

/// The types whose objects are of no use in a forked child of the client.
template <typename Type>
concept belongs_to_one_process =
    !std::same_as<Type, UtilityRegistration> && !std::same_as<Type, platform::ProcessTable>;

/// The class of a type; null until it's made.
template <Bound Type>
inline PyTypeObject* class_of = nullptr;

enum class Origin { client, system };  ///< who makes the objects of a class

/// Makes a class, which is kept for ever. `name` begins with that of the module and must last.
PyTypeObject* new_class(const char* name, Origin origin);

/// What `object` holds; null when it holds nothing, as one made by `__new__` alone.
std::shared_ptr<void> held_by(PyObject* object);

/// Has `object`, an object of a class made here, hold `held`.
void hold(PyObject* object, std::shared_ptr<void> held);

/// A Python object that belongs to `object` and that the garbage collector sees there; null for
/// none.
Ref attached_to(PyObject* object);
void attach(PyObject* object, Ref attached);

/// The object that holds `held`: the one there is, or a new one. None for null.
Ref object_for(PyTypeObject* type, std::shared_ptr<void> held);

[[noreturn]] void throw_not_initialised(const ArgumentName& which, PyTypeObject* type);

template <typename Type>
bool is_instance(PyObject* object) {
  return PyObject_TypeCheck(object, class_of<Type>);
}

template <typename Owner>
struct Held {
  std::shared_ptr<Owner> held;
};

/// The kind of the argument that an operation belongs to.
template <typename Owner>
struct Self {
  using Type = Held<Owner>;
  static std::string name() { return class_of<Owner>->tp_name; }
  static Type read(PyObject* object, const ArgumentName& which) {
    if constexpr (belongs_to_one_process<Owner>) refuse_forked_child();
    if (!is_instance<Owner>(object)) throw_wrong_type(which, name(), object);
    auto held = std::static_pointer_cast<Owner>(held_by(object));
    if (!held) throw_not_initialised(which, class_of<Owner>);
    return {std::move(held)};
  }
};

}  // namespace utility_manager::python
