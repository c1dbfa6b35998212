#pragma once

#include <utility>

#include <Python.h>

/// The way into the interpreter and out of it.
///
/// The interpreter lock is taken after the manager's lock and never before it. A thread that wants
/// into the interpreter passes a gate first, and the gate closes when the interpreter begins to
/// end: what comes later is turned away before it can touch Python.
namespace utility_manager::python {

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
/// be the outermost guard, so that nothing is held by a thread that parks. `operation.h` is where
/// this is done.
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

/// Has the gate closed when the interpreter ends. Needs the interpreter lock; throws what Python
/// raises.
void close_gate_at_exit();

}  // namespace utility_manager::python
