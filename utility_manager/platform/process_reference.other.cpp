#include <algorithm>
#include <cerrno>
#include <chrono>

#include <signal.h>

#include "utility_manager/platform/process_reference.posix.h"

namespace utility_manager::platform {
namespace {

/// Leaves a child of the client uncollected.
bool has_ended(std::int64_t pid) {
  siginfo_t result{};
  const int outcome = ::waitid(P_PID, static_cast<id_t>(pid), &result, WEXITED | WNOHANG | WNOWAIT);
  return outcome == 0 ? result.si_pid != 0 : !process_exists(pid);
}

}  // namespace

bool process_exists(std::int64_t pid) {
  return ::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}

ProcessReference::ProcessReference(std::int64_t pid) : pid_(pid) {}

bool ProcessReference::exists() const {
  return process_exists(pid_);
}

void ProcessReference::send(Signal signal) const {
  require_sent(::kill(static_cast<pid_t>(pid_), number_of(signal)));
}

ChildStatus ProcessReference::collect() const {
  return collect_by(P_PID, static_cast<id_t>(pid_));
}

bool ProcessReference::wait_for_end(const Deadline& deadline) const {
  using std::chrono::milliseconds;
  for (milliseconds pause(1); !has_ended(pid_); pause = std::min(2 * pause, milliseconds(16))) {
    if (deadline.passed()) return false;
    deadline.pause(pause);
  }
  return true;
}

std::vector<bool> may_have_ended(std::span<const ProcessReference* const> references) {
  return std::vector<bool>(references.size(), true);
}

std::optional<ProcessReference> refer_to(const ProcessRow& row) {
  return ProcessReference(row.pid);
}

}  // namespace utility_manager::platform
