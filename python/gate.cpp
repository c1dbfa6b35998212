#include "python/gate.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "python/calls.h"
#include "utility_manager/host/failures.h"
#include "utility_manager/platform/fork.h"

namespace utility_manager::python {
namespace {

/// How long the end of the interpreter waits for threads that run Python code of the client.
constexpr std::chrono::seconds exit_limit(1);

class Gate {
 public:
  /// False when the gate is closed and the caller isn't the thread that closed it.
  bool enter() {
    const std::lock_guard held(mutex_);
    if (closed_ && std::this_thread::get_id() != closing_thread_) return false;
    ++inside_;
    return true;
  }

  void leave() {
    const std::lock_guard held(mutex_);
    if (--inside_ <= 0) left_.notify_all();
  }

  void close() {
    std::unique_lock held(mutex_);
    closed_ = true;
    closing_thread_ = std::this_thread::get_id();
    left_.wait_for(held, exit_limit, [this] { return inside_ <= 0; });
  }

  // Around a fork: the child has none of the other threads.
  void before_fork() { mutex_.lock(); }
  void after_fork_in_parent() { mutex_.unlock(); }
  void after_fork_in_child() {
    inside_ = 0;
    mutex_.unlock();
  }

 private:
  std::mutex mutex_;
  std::condition_variable left_;
  bool closed_ = false;
  int inside_ = 0;
  std::thread::id closing_thread_;
};

Gate& gate() {
  static Gate* const gate = [] {
    platform::around_forks([] { python::gate().before_fork(); },
                           [] { python::gate().after_fork_in_parent(); },
                           [] { python::gate().after_fork_in_child(); });
    return new Gate;  // outlives every thread
  }();
  return *gate;
}

PyObject* close_gate(PyObject*, PyObject*) {
  PyThreadState* const thread = PyEval_SaveThread();
  gate().close();
  PyEval_RestoreThread(thread);
  Py_RETURN_NONE;
}

}  // namespace

AcquireGil::AcquireGil() {
  if (!gate().enter()) throw host::HostGone();
  state_ = guarded_call([] { return PyGILState_Ensure(); });
}

AcquireGil::~AcquireGil() {
  guarded_call([state = state_] { PyGILState_Release(state); });
  gate().leave();
}

ReleaseGil::ReleaseGil() : thread_(PyEval_SaveThread()) {}

ReleaseGil::~ReleaseGil() {
  if (!gate().enter()) park();
  guarded_call([thread = thread_] { PyEval_RestoreThread(thread); });
  gate().leave();
}

void close_gate_at_exit() {
  static PyMethodDef hook = {"close_gate", close_gate, METH_NOARGS, nullptr};
  const Ref function = checked(PyCFunction_New(&hook, nullptr));
  call_method(import_module("atexit").get(), "register", function.get());
}

}  // namespace utility_manager::python
