#include "utility_manager/platform/process_reference.h"

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include <sys/pidfd.h>
}

#include <cerrno>

#include "utility_manager/platform/failures.h"

namespace utility_manager::platform {

bool process_exists(pid_t pid) {
  // Of all the calls that probe an id, this one alone takes no thread for a process.
  return ::syscall(SYS_tgkill, pid, pid, 0) == 0 || errno == EPERM;
}

ProcessReference::ProcessReference(pid_t pid)
    : pid_(pid), descriptor_(above_standard(Descriptor(::pidfd_open(pid, 0)))) {
  if (!descriptor_) start_ticks_ = start_ticks(pid);
}

bool ProcessReference::exists() const {
  if (descriptor_) {
    return ::pidfd_send_signal(descriptor_.number(), 0, nullptr, 0) == 0 || errno == EPERM;
  }
  if (!process_exists(pid_)) return false;
  return !start_ticks_ || start_ticks(pid_).value_or(*start_ticks_) == *start_ticks_;
}

int ProcessReference::signal(int number) const {
  if (descriptor_) {
    return ::pidfd_send_signal(descriptor_.number(), number, nullptr, 0) == 0 ? 0 : errno;
  }
  if (!exists()) return ESRCH;
  return ::kill(pid_, number) == 0 ? 0 : errno;
}

void ProcessReference::send(Signal which) const {
  const int failure = signal(which == Signal::kill ? SIGKILL : SIGTERM);
  if (failure == ESRCH) throw NoSuchProcess();
  if (failure == EPERM) throw AccessDenied();
  if (failure != 0) throw SystemError(failure);
}

ChildStatus ProcessReference::collect() const {
  if (!descriptor_ && !exists()) return {.state = ChildState::not_our_child};
  const idtype_t kind = descriptor_ ? P_PIDFD : P_PID;
  const auto id = static_cast<id_t>(descriptor_ ? descriptor_.number() : pid_);
  siginfo_t result{};
  while (::waitid(kind, id, &result, WEXITED | WNOHANG) != 0) {
    if (errno != EINTR) return {.state = ChildState::not_our_child};
  }
  if (result.si_pid == 0) return {.state = ChildState::running};
  const bool exited = result.si_code == CLD_EXITED;
  return {.state = ChildState::ended, .exit_code = exited ? result.si_status : -result.si_status};
}

std::vector<bool> may_have_ended(std::span<const ProcessReference* const> references) {
  std::vector<pollfd> entries;
  entries.reserve(references.size());
  for (const auto* const reference : references) {
    const int descriptor = reference ? reference->descriptor_.number() : -1;
    entries.push_back({.fd = descriptor, .events = POLLIN, .revents = 0});
  }
  const bool answered = ::poll(entries.data(), entries.size(), 0) >= 0;
  std::vector<bool> result;
  result.reserve(entries.size());
  for (const pollfd& entry : entries) {
    result.push_back(!answered || entry.fd < 0 || entry.revents != 0);
  }
  return result;
}

bool ProcessReference::wait_for_end(const Deadline& deadline) const {
  return descriptor_ && wait_until_ready(descriptor_.number(), POLLIN, deadline);
}

std::optional<ProcessReference> refer_to(const ProcessRow& row) {
  ProcessReference reference(row.pid);
  // What is asked after the descriptor was opened is true of the process that it is of.
  if (!is_current(row)) return std::nullopt;
  return reference;
}

}  // namespace utility_manager::platform
