#include "utility_manager/platform/process_reference.posix.h"

#include <cerrno>
#include <limits>

#include <signal.h>
#include <unistd.h>

#include "utility_manager/platform/failures.h"

namespace utility_manager::platform {

std::int64_t own_process_id() {
  return ::getpid();
}

bool is_process_id(std::int64_t pid) {
  return pid >= 1 && pid <= std::numeric_limits<pid_t>::max();
}

int number_of(Signal signal) {
  return signal == Signal::kill ? SIGKILL : SIGTERM;
}

void require_sent(long outcome) {
  if (outcome != -1) return;
  if (errno == ESRCH) throw NoSuchProcess();
  if (errno == EPERM) throw AccessDenied();
  throw SystemError(errno);
}

ChildStatus collect_by(idtype_t kind, id_t id) {
  siginfo_t result{};
  while (::waitid(kind, id, &result, WEXITED | WNOHANG) != 0) {
    if (errno != EINTR) return {.state = ChildState::not_our_child};
  }
  if (result.si_pid == 0) return {.state = ChildState::running};
  const bool exited = result.si_code == CLD_EXITED;
  return {.state = ChildState::ended, .exit_code = exited ? result.si_status : -result.si_status};
}

}  // namespace utility_manager::platform
