#include <cerrno>

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/process_reference.posix.h"

namespace utility_manager::platform {
namespace {

// By the kernel's numbers, as the system's library knows them since its version 2.36 only.
constexpr auto by_descriptor = static_cast<idtype_t>(3);

int open_process(std::int64_t pid) {
  return static_cast<int>(::syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0));
}

long send_to(const Handle& process, int number) {
  return ::syscall(SYS_pidfd_send_signal, descriptor(process), number, nullptr, 0);
}

}  // namespace

bool process_exists(std::int64_t pid) {
  // Of all the calls that probe an id, this one alone takes no thread for a process.
  const auto id = static_cast<pid_t>(pid);
  return ::syscall(SYS_tgkill, id, id, 0) == 0 || errno == EPERM;
}

ProcessReference::ProcessReference(std::int64_t pid)
    : pid_(pid), handle_(above_standard(Handle(open_process(pid)))) {
  if (!handle_) start_ticks_ = start_ticks(pid);
}

bool ProcessReference::exists() const {
  if (handle_) return send_to(handle_, 0) == 0 || errno == EPERM;
  if (!process_exists(pid_)) return false;
  return !start_ticks_ || start_ticks(pid_).value_or(*start_ticks_) == *start_ticks_;
}

void ProcessReference::send(Signal signal) const {
  const int number = number_of(signal);
  if (!handle_ && !exists()) throw NoSuchProcess();
  require_sent(handle_ ? send_to(handle_, number) : ::kill(static_cast<pid_t>(pid_), number));
}

ChildStatus ProcessReference::collect() const {
  if (handle_) return collect_by(by_descriptor, static_cast<id_t>(descriptor(handle_)));
  if (!exists()) return {.state = ChildState::not_our_child};
  return collect_by(P_PID, static_cast<id_t>(pid_));
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
