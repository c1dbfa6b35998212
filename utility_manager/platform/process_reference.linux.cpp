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

#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/failures.h"

namespace utility_manager::platform {

bool process_exists(std::int64_t pid) {
  // Of all the calls that probe an id, this one alone takes no thread for a process.
  const auto id = static_cast<pid_t>(pid);
  return ::syscall(SYS_tgkill, id, id, 0) == 0 || errno == EPERM;
}

ProcessReference::ProcessReference(std::int64_t pid)
    : pid_(pid), handle_(above_standard(Handle(::pidfd_open(static_cast<pid_t>(pid), 0)))) {
  if (!handle_) start_ticks_ = start_ticks(pid);
}

bool ProcessReference::exists() const {
  if (handle_) {
    return ::pidfd_send_signal(descriptor(handle_), 0, nullptr, 0) == 0 || errno == EPERM;
  }
  if (!process_exists(pid_)) return false;
  return !start_ticks_ || start_ticks(pid_).value_or(*start_ticks_) == *start_ticks_;
}

void ProcessReference::send(Signal signal) const {
  const int number = signal == Signal::kill ? SIGKILL : SIGTERM;
  if (!handle_ && !exists()) throw NoSuchProcess();
  const auto sent = handle_ ? ::pidfd_send_signal(descriptor(handle_), number, nullptr, 0)
                            : ::kill(static_cast<pid_t>(pid_), number);
  if (sent == 0) return;
  if (errno == ESRCH) throw NoSuchProcess();
  if (errno == EPERM) throw AccessDenied();
  throw SystemError(errno);
}

ChildStatus ProcessReference::collect() const {
  if (!handle_ && !exists()) return {.state = ChildState::not_our_child};
  const idtype_t kind = handle_ ? P_PIDFD : P_PID;
  const auto id = static_cast<id_t>(handle_ ? descriptor(handle_) : pid_);
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
    const int number = reference ? descriptor(reference->handle_) : -1;
    entries.push_back({.fd = number, .events = POLLIN, .revents = 0});
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
  return handle_ && wait_until_ready(descriptor(handle_), POLLIN, deadline);
}

std::optional<ProcessReference> refer_to(const ProcessRow& row) {
  ProcessReference reference(row.pid);
  // What is asked after the descriptor was opened is true of the process that it is of.
  if (!is_current(row)) return std::nullopt;
  return reference;
}

}  // namespace utility_manager::platform
