#include "platform/native_inspection.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include <signal.h>

#include "platform/child_process.h"
#include "platform/failures.h"
#include "platform/proc_table.h"
#include "platform/process_reference.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using Processes = std::vector<std::shared_ptr<host::InspectedProcess>>;

host::NoSuchProcess no_such_process(std::int64_t pid) {
  return host::NoSuchProcess("no process with id " + std::to_string(pid));
}

class LinuxProcess : public host::InspectedProcess {
 public:
  explicit LinuxProcess(pid_t pid) : reference_(pid) {}

  const ProcessReference& reference() const { return reference_; }

  bool is_running() const override { return reference_.exists(); }

  Processes descendants() const override {
    const std::vector<ProcessRow> rows = process_rows();
    if (!is_running()) throw no_such_process(reference_.pid());
    Processes found;
    for (const ProcessRow& row : descendants_in(rows, reference_.pid())) {
      auto process = std::make_shared<LinuxProcess>(row.pid);
      // Since the table was read it may have ended, and its id gone to another process.
      if (is_current(row)) found.push_back(std::move(process));
    }
    return found;
  }

  void kill() const override {
    const int failure = reference_.signal(SIGKILL);
    if (failure == ESRCH) throw no_such_process(reference_.pid());
    if (failure == EPERM) throw host::AccessDenied(SystemError(failure).what());
    if (failure != 0) throw SystemError(failure);
  }

 private:
  ProcessReference reference_;
};

/// Collects `process` if it is an ended child of the client; true when it has left the process
/// table. One of our own is collected by its handle, which keeps the exit code.
bool has_gone(const ProcessReference& process) {
  const auto child = own_child(process.pid());
  if (child && !child->returncode()) {
    child->poll();
  } else if (process.collect().state == ChildState::ended) {
    return true;
  }
  return !process.exists();
}

class LinuxPin : public host::PinnedProcess {
 public:
  explicit LinuxPin(pid_t pid) : reference_(pid) {}

  bool exists() const override { return reference_.exists(); }
  bool is_exact() const { return reference_.is_exact(); }

 private:
  ProcessReference reference_;
};

class NativeInspection : public host::ProcessInspection {
 public:
  bool pid_exists(std::int64_t pid) override {
    return is_process_id(pid) && process_exists(static_cast<pid_t>(pid));
  }

  std::shared_ptr<host::InspectedProcess> process(std::int64_t pid) override {
    if (!pid_exists(pid)) throw no_such_process(pid);
    auto process = std::make_shared<LinuxProcess>(static_cast<pid_t>(pid));
    if (!process->is_running()) throw no_such_process(pid);
    return process;
  }

  Processes wait_procs(const Processes& targets, double seconds) override {
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

  std::optional<host::ProcessIdentity> identity(std::int64_t pid) override {
    if (!pid_exists(pid)) return std::nullopt;
    auto details = process_details(static_cast<pid_t>(pid));
    if (!details) return std::nullopt;
    return host::ProcessIdentity{.start_time = details->start_time,
                                 .command_line = std::move(details->command_line)};
  }

  std::shared_ptr<host::PinnedProcess> pin(std::int64_t pid) override {
    if (!pid_exists(pid)) return nullptr;
    auto pinned = std::make_shared<LinuxPin>(static_cast<pid_t>(pid));
    return pinned->is_exact() && pinned->exists() ? pinned : nullptr;
  }

 private:
  static const ProcessReference& reference_of(const host::InspectedProcess& process) {
    return dynamic_cast<const LinuxProcess&>(process).reference();
  }
};

}  // namespace

host::ProcessInspection* native_inspection() {
  static NativeInspection* const inspection = new NativeInspection;  // outlives every thread
  return inspection;
}

}  // namespace platform
