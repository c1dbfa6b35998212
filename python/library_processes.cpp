#include "python/library_processes.h"

#include <algorithm>
#include <string>
#include <utility>

#include "python/calls.h"
#include "python/convert.h"
#include "python/gate.h"
#include "utility_manager/host/failures.h"
#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/process_reference.h"

namespace utility_manager::python {
namespace {

using platform::Process;
using platform::Processes;

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
      if (is(failure, no_such_process)) throw platform::NoSuchProcess();
      if (is(failure, access_denied)) throw platform::AccessDenied();
      throw;
    }
  }

 private:
  static bool is(const host::HostFailure& failure, PyObject* type) {
    return PyErr_GivenExceptionMatches(static_cast<PyObject*>(failure.origin().get()), type) != 0;
  }
};

/// The library knows a process by its id and the time of its creation, to a tick of the system's
/// clock. Where the system gives a reference that is finer, that one must hold, too.
class LibraryProcess : public Process {
 public:
  /// With the interpreter lock held.
  LibraryProcess(const Library& library, Ref process)
      : library_(library), reference_(pid_of(process.get())), process_(keep(std::move(process))) {}

  std::int64_t pid() const override { return reference_.pid(); }
  bool is_exact() const override { return true; }

  bool exists() const override {
    return reference_.exists() && with_gil([this] { return is_true(method("is_running").get()); });
  }

  void collect() const override {
    const bool has_ended = reference_.wait_for_end(platform::Deadline(0));
    if (has_ended && exists()) platform::collect_child(reference_);
  }

  Processes descendants() const override {
    return with_gil([this] {
      const Ref children = attribute(process_.get(), "children");
      const Ref found = library_.call(children.get(), Py_True);
      Processes processes;
      for (Py_ssize_t index = 0; index < PyList_Size(found.get()); ++index) {
        processes.push_back(std::make_shared<LibraryProcess>(
            library_, Ref::borrow(PyList_GET_ITEM(found.get(), index))));
      }
      return processes;
    });
  }

  void kill() const override {
    if (!reference_.exists()) throw platform::NoSuchProcess();
    with_gil([this] { method("kill"); });
  }

  std::optional<platform::ProcessIdentity> identity() const override {
    return with_gil([this]() -> std::optional<platform::ProcessIdentity> {
      const Ref start = checked(PyNumber_Float(method("create_time").get()));
      platform::ProcessIdentity identity;
      identity.start_time = PyFloat_AS_DOUBLE(start.get());
      const Ref line = checked(PySequence_List(method("cmdline").get()));
      for (Py_ssize_t index = 0; index < PyList_Size(line.get()); ++index) {
        identity.command_line.push_back(encoded_path(PyList_GET_ITEM(line.get(), index)));
      }
      // What was read may be of a later owner of the id.
      return exists() ? std::optional(std::move(identity)) : std::nullopt;
    });
  }

  PyObject* object() const { return process_.get(); }

 private:
  static std::int64_t pid_of(PyObject* process) {
    const auto pid = PyLong_AsLongLong(attribute(process, "pid").get());
    if (PyErr_Occurred()) throw_raised();
    return pid;
  }

  Ref method(const char* name) const {
    return library_.call(attribute(process_.get(), name).get());
  }

  const Library& library_;
  platform::ProcessReference reference_;
  KeptObject process_;
};

PyObject* object_of(const Process& process) {
  return dynamic_cast<const LibraryProcess&>(process).object();
}

class LibraryProcesses : public platform::ProcessTable {
 public:
  explicit LibraryProcesses(const Library& library) : library_(library) {}

  bool exists(std::int64_t pid) const override {
    if (!platform::is_process_id(pid)) return false;
    return with_gil([&] {
      const Ref number = number_of(pid);
      if (!is_true(library_.call(library_.pid_exists, number.get()).get())) return false;
      const Ref process = library_.call(library_.process, number.get());
      return is_true(call_method(process.get(), "is_running").get());
    });
  }

  std::shared_ptr<Process> find(std::int64_t pid) const override {
    return with_gil([&] {
      return std::make_shared<LibraryProcess>(
          library_, library_.call(library_.process, number_of(pid).get()));
    });
  }

  /// The library collects every child that it waits for, and so would steal the exit codes of the
  /// system's own children: those are waited for by their handles.
  Processes wait(const Processes& targets, double seconds) const override {
    const platform::Deadline deadline(seconds);
    Processes left;
    Processes others;
    for (const auto& target : targets) {
      const auto child = platform::own_child(target->pid());
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
  static Ref number_of(std::int64_t pid) { return checked(PyLong_FromLongLong(pid)); }

  /// Adds those that are still there to `left`.
  void wait_for(const Processes& targets, double seconds, Processes& left) const {
    with_gil([&] {
      const Ref list = checked(PyList_New(0));
      for (const auto& target : targets) checked(PyList_Append(list.get(), object_of(*target)));
      const Ref limit = checked(PyFloat_FromDouble(seconds));
      const Ref result = python::call(library_.wait_procs, list.get(), limit.get());
      const Ref alive = checked(PySequence_GetItem(result.get(), 1));
      for (const auto& target : targets) {
        if (checked(PySequence_Contains(alive.get(), object_of(*target)))) left.push_back(target);
      }
    });
  }

  const Library& library_;
};

}  // namespace

const platform::ProcessTable& new_library_processes(Ref psutil) {
  const auto name = [&](const char* text) { return attribute(psutil.get(), text); };
  Ref pid_exists = name("pid_exists");
  Ref process = name("Process");
  Ref wait_procs = name("wait_procs");
  Ref no_such_process = name("NoSuchProcess");
  Ref access_denied = name("AccessDenied");
  return *new LibraryProcesses(*new Library{.pid_exists = pid_exists.release(),
                                            .process = process.release(),
                                            .wait_procs = wait_procs.release(),
                                            .no_such_process = no_such_process.release(),
                                            .access_denied = access_denied.release()});
}

}  // namespace utility_manager::python
