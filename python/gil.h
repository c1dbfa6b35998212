#pragma once

#include <memory>
#include <utility>

#include <Python.h>
#include <cxxabi.h>

/// The binding of the core to the Python client.
///
/// The interpreter lock is taken after the manager's lock and never before it. A thread that wants
/// into the interpreter passes a gate first, and the gate closes when the interpreter begins to
/// end: what comes later is turned away before it can touch Python.
namespace python {

/// Never returns. For threads that must not touch Python any more and must not unwind either.
[[noreturn]] void park();

/// Makes one call of the interpreter's interface that can run Python code. An interpreter that ends
/// unwinds the threads which come back to it; such a thread stays here for good. `call` must own
/// nothing with a destructor.
template <typename Call>
auto guarded_call(Call call) {
  try {
    return call();
  } catch (abi::__forced_unwind&) {
    park();
  }
}

/// Holds the interpreter lock for a scope, on any thread. Throws `host::HostGone` when the
/// interpreter is ending.
class AcquireGil {
 public:
  AcquireGil();
  AcquireGil(const AcquireGil&) = delete;
  AcquireGil& operator=(const AcquireGil&) = delete;
  ~AcquireGil();

 private:
  PyGILState_STATE state_;
};

/// Gives the interpreter lock away for a scope; parks at its end when the interpreter is ending. To
/// be the outermost guard, so that nothing is held by a thread that parks.
class ReleaseGil {
 public:
  ReleaseGil();
  ReleaseGil(const ReleaseGil&) = delete;
  ReleaseGil& operator=(const ReleaseGil&) = delete;
  ~ReleaseGil();

 private:
  PyThreadState* thread_;
};

template <typename Work>
auto with_gil(Work&& work) {
  const AcquireGil held;
  return std::forward<Work>(work)();
}

/// What every bound operation and every property that may wait runs in: arguments are converted
/// before it, results after it.
template <typename Work>
auto without_gil(Work&& work) {
  const ReleaseGil released;
  return std::forward<Work>(work)();
}

/// Has the gate closed when the interpreter ends. Needs the interpreter lock; null on failure, with
/// the Python exception set.
PyObject* close_gate_at_exit();

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
    PyObject* const object = object_;
    guarded_call([object] { Py_XDECREF(object); });
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

}  // namespace python
