#include "python/psutil_inspection.h"

#include <algorithm>
#include <string>
#include <utility>

#include "host/failures.h"
#include "platform/child_process.h"
#include "platform/deadline.h"
#include "platform/process_reference.h"
#include "python/calls.h"
#include "python/convert.h"

namespace python {
namespace {

using Process = std::shared_ptr<host::InspectedProcess>;
using Processes = std::vector<Process>;

/// What is used of the library; kept for ever.
struct Library {
  PyObject* pid_exists;
  PyObject* process;
  PyObject* wait_procs;
  PyObject* no_such_process;
  PyObject* access_denied;

  /// Calls into the library, and tells its failures in the terms of the interface.
  template <typename... Arguments>
  Ref call(PyObject* callable, Arguments... arguments) const {
    try {
      return python::call(callable, arguments...);
    } catch (const host::HostFailure& failure) {
      if (is(failure, no_such_process)) throw host::NoSuchProcess(failure.what());
      if (is(failure, access_denied)) throw host::AccessDenied(failure.what());
      throw;
    }
  }

 private:
  static bool is(const host::HostFailure& failure, PyObject* type) {
    return PyErr_GivenExceptionMatches(static_cast<PyObject*>(failure.origin().get()), type) != 0;
  }
};

class PsutilProcess : public host::InspectedProcess {
 public:
  /// With the interpreter lock held.
  PsutilProcess(const Library& library, Ref process)
      : library_(library), pid_(pid_of(process.get())), process_(keep(std::move(process))) {}

  bool is_running() const override {
    return with_gil([this] { return is_true(method("is_running").get()); });
  }

  Processes descendants() const override {
    return with_gil([this] {
      const Ref children = attribute(process_.get(), "children");
      const Ref found = library_.call(children.get(), Py_True);
      Processes processes;
      for (Py_ssize_t index = 0; index < PyList_Size(found.get()); ++index) {
        processes.push_back(std::make_shared<PsutilProcess>(
            library_, Ref::borrow(PyList_GET_ITEM(found.get(), index))));
      }
      return processes;
    });
  }

  void kill() const override {
    with_gil([this] { method("kill"); });
  }

  PyObject* object() const { return process_.get(); }
  pid_t pid() const { return pid_; }

 private:
  static pid_t pid_of(PyObject* process) {
    const auto pid = PyLong_AsLong(attribute(process, "pid").get());
    if (PyErr_Occurred()) throw_raised();
    return static_cast<pid_t>(pid);
  }

  Ref method(const char* name) const {
    return library_.call(attribute(process_.get(), name).get());
  }

  const Library& library_;
  pid_t pid_;
  KeptObject process_;
};

const PsutilProcess& own(const Process& process) {
  return dynamic_cast<const PsutilProcess&>(*process);
}

class PsutilInspection : public host::ProcessInspection {
 public:
  explicit PsutilInspection(const Library& library) : library_(library) {}

  bool pid_exists(std::int64_t pid) override {
    if (!platform::is_process_id(pid)) return false;
    return with_gil(
        [&] { return is_true(library_.call(library_.pid_exists, number(pid).get()).get()); });
  }

  Process process(std::int64_t pid) override {
    return with_gil([&] {
      return std::make_shared<PsutilProcess>(library_,
                                             library_.call(library_.process, number(pid).get()));
    });
  }

  /// The library collects every child that it waits for, and so would steal the exit codes of the
  /// system's own children: those are waited for by their handles.
  Processes wait_procs(const Processes& targets, double seconds) override {
    const platform::Deadline deadline(seconds);
    Processes left;
    Processes others;
    for (const auto& target : targets) {
      const auto child = platform::own_child(own(target).pid());
      if (!child || child->returncode()) {
        others.push_back(target);
      } else if (!child->wait(deadline.milliseconds_left() / 1000.0)) {
        left.push_back(target);
      }
    }
    if (!others.empty()) wait_for(others, deadline.milliseconds_left() / 1000.0, left);
    return left;
  }

 private:
  static Ref number(std::int64_t pid) { return checked(PyLong_FromLongLong(pid)); }

  /// Adds those that are still there to `left`.
  void wait_for(const Processes& targets, double seconds, Processes& left) const {
    with_gil([&] {
      const Ref list = checked(PyList_New(0));
      for (const auto& target : targets) checked(PyList_Append(list.get(), own(target).object()));
      const Ref limit = checked(PyFloat_FromDouble(seconds));
      const Ref result = library_.call(library_.wait_procs, list.get(), limit.get());
      const Ref alive = checked(PySequence_GetItem(result.get(), 1));
      for (const auto& target : targets) {
        if (checked(PySequence_Contains(alive.get(), own(target).object()))) left.push_back(target);
      }
    });
  }

  const Library& library_;
};

}  // namespace

host::ProcessInspection* new_psutil_inspection(Ref psutil) {
  const auto name = [&](const char* text) { return attribute(psutil.get(), text); };
  Ref pid_exists = name("pid_exists");
  Ref process = name("Process");
  Ref wait_procs = name("wait_procs");
  Ref no_such_process = name("NoSuchProcess");
  Ref access_denied = name("AccessDenied");
  return new PsutilInspection(*new Library{.pid_exists = pid_exists.release(),
                                           .process = process.release(),
                                           .wait_procs = wait_procs.release(),
                                           .no_such_process = no_such_process.release(),
                                           .access_denied = access_denied.release()});
}

}  // namespace python
