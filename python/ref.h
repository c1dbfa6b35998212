#pragma once

#include <memory>
#include <utility>

#include "python/guarded_call.h"

namespace utility_manager::python {

/// Owns a reference to a Python object, or none. For threads that hold the interpreter lock.
class Ref {
 public:
  Ref() = default;
  static Ref steal(PyObject* object) { return Ref(object); }
  static Ref borrow(PyObject* object) {
    Py_XINCREF(object);
    return Ref(object);
  }
  Ref(Ref&& other) noexcept : object_(other.release()) {}
  Ref& operator=(Ref&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (!object_) return;
    if (Py_REFCNT(object_) > 1) {
      Py_DECREF(object_);  // one of several references: no Python code runs
    } else {
      guarded_call([object = object_] { Py_DECREF(object); });
    }
  }

  PyObject* get() const { return object_; }
  PyObject* release() { return std::exchange(object_, nullptr); }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  explicit Ref(PyObject* object) : object_(object) {}

  PyObject* object_ = nullptr;
};

/// A reference that any thread may hold and drop; it is leaked when the interpreter is ending.
using KeptObject = std::shared_ptr<PyObject>;

KeptObject keep(Ref object);

}  // namespace utility_manager::python
