#include <algorithm>
#include <chrono>

#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/proc_table.h"
#include "utility_manager/platform/process.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/platform/system.h"

namespace utility_manager::platform {
namespace {

using std::chrono::milliseconds;

/// What both tables can do with a process that they refer to.
class ReferredProcess : public Process {
 public:
  explicit ReferredProcess(ProcessReference reference) : reference_(std::move(reference)) {}

  const ProcessReference& reference() const { return reference_; }

  std::int64_t pid() const override { return reference_.pid(); }
  bool is_exact() const override { return reference_.is_exact(); }
  void collect() const override { collect_child(reference_); }
  void kill() const override { signal(Signal::kill); }
  void signal(Signal signal) const override { reference_.send(signal); }

  std::optional<ProcessIdentity> identity() const override {
    auto identity = process_identity(reference_.pid());
    if (!exists()) return std::nullopt;  // what was read may be of a later owner of the id
    return identity;
  }

 private:
  const ProcessReference reference_;
};

class NativeProcess : public ReferredProcess {
 public:
  using ReferredProcess::ReferredProcess;

  bool exists() const override { return reference().exists(); }
  const ProcessReference* watched() const override { return &reference(); }

  Processes descendants() const override {
    const std::vector<ProcessRow> rows = process_rows();
    if (!exists()) throw NoSuchProcess();
    Processes found;
    for (const ProcessRow& row : descendants_in(rows, reference().pid())) {
      auto current = refer_to(row);
      if (current) found.push_back(std::make_shared<NativeProcess>(*std::move(current)));
    }
    return found;
  }
};

/// Collects `process` if it is an ended child of the client; true when it has left the process
/// table. One of our own is collected by its handle, which keeps the exit code.
bool has_gone(const ProcessReference& process) {
  collect_child(process);
  return !process.exists();
}

const ProcessReference& reference_of(const Process& process) {
  return dynamic_cast<const NativeProcess&>(process).reference();
}

class NativeProcesses : public ProcessTable {
 public:
  bool exists(std::int64_t pid) const override { return is_process_id(pid) && process_exists(pid); }

  std::shared_ptr<Process> find(std::int64_t pid) const override {
    if (!exists(pid)) throw NoSuchProcess();
    auto process = std::make_shared<NativeProcess>(ProcessReference(pid));
    if (!process->exists()) throw NoSuchProcess();
    return process;
  }

  Processes wait(const Processes& targets, double seconds) const override {
    const Deadline deadline(seconds);
    Processes left = targets;
    milliseconds pause(1);
    for (;;) {
      // Before the first is collected all are waited for: a descendant can't be collected while its
      // own parent, which may end later, still runs.
      for (const auto& target : left) reference_of(*target).wait_for_end(deadline);
      std::erase_if(left, [](const auto& target) { return has_gone(reference_of(*target)); });
      if (left.empty() || deadline.passed()) return left;
      // What has ended now waits for a parent, or for the system's first process, to collect it.
      deadline.pause(pause);
      pause = std::min(2 * pause, milliseconds(16));
    }
  }
};

class BareProcess : public ReferredProcess {
 public:
  using ReferredProcess::ReferredProcess;

  bool exists() const override { return system().can_signal(pid()) && reference().exists(); }
  Processes descendants() const override { throw NotInspected("descendants can't be known"); }
};

class BareProcesses : public ProcessTable {
 public:
  bool exists(std::int64_t pid) const override { return system().can_signal(pid); }

  std::shared_ptr<Process> find(std::int64_t pid) const override {
    if (!is_process_id(pid)) throw NoSuchProcess();
    return std::make_shared<BareProcess>(ProcessReference(pid));
  }

  /// Nothing but a look, as nothing is killed that would have to be waited for.
  Processes wait(const Processes& targets, double /*seconds*/) const override {
    Processes left = targets;
    std::erase_if(left, [](const auto& target) { return !target->exists(); });
    return left;
  }
};

}  // namespace

const ProcessTable& native_processes() {
  if (!has_process_table()) return bare_processes();
  static const NativeProcesses* const table = new NativeProcesses;  // outlives every thread
  return *table;
}

const ProcessTable& bare_processes() {
  static const BareProcesses* const table = new BareProcesses;  // outlives every thread
  return *table;
}

bool is_client_or_ancestor(std::int64_t pid) {
  if (pid == 1 || pid == own_process_id()) return true;
  for (auto process = row_of(own_process_id()); process && process->parent > 1;) {
    const auto parent = row_of(process->parent);
    // Windows gives the id of a parent that has gone to another process.
    if (parent && parent->start_ticks > process->start_ticks) return false;
    if (process->parent == pid) return true;
    process = parent;
  }
  return false;
}

}  // namespace utility_manager::platform
