#include "platform/signals.h"

#include <cerrno>

#include <signal.h>

#include "platform/failures.h"
#include "platform/process_reference.h"

namespace platform {

namespace {

/// The id of a thread is none, though `kill` takes it for its process's.
bool names_process(std::int64_t pid) {
  return is_process_id(pid) && process_exists(static_cast<pid_t>(pid));
}

}  // namespace

void send_signal(std::int64_t pid, Signal signal) {
  if (!names_process(pid)) throw ProcessLookupError();
  const int number = signal == Signal::kill ? SIGKILL : SIGTERM;
  if (::kill(static_cast<pid_t>(pid), number) == 0) return;
  if (errno == ESRCH) throw ProcessLookupError();
  throw SystemError(errno);
}

bool can_signal(std::int64_t pid) {
  return names_process(pid) && ::kill(static_cast<pid_t>(pid), 0) == 0;
}

}  // namespace platform
