#include "utility_manager/platform/system.h"

#include <cerrno>

#include <signal.h>
#include <uuid/uuid.h>

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/process_reference.h"

namespace utility_manager::platform {
namespace {

/// The id of a thread is none, though `kill` takes it for its process's.
bool names_process(std::int64_t pid) {
  return is_process_id(pid) && process_exists(static_cast<pid_t>(pid));
}

}  // namespace

bool System::is_windows() const {
  return false;
}

void System::signal(std::int64_t pid, Signal signal) const {
  if (!names_process(pid)) throw NoSuchProcess();
  const int number = signal == Signal::kill ? SIGKILL : SIGTERM;
  if (::kill(static_cast<pid_t>(pid), number) == 0) return;
  if (errno == ESRCH) throw NoSuchProcess();
  throw SystemError(errno);
}

bool System::can_signal(std::int64_t pid) const {
  return names_process(pid) && ::kill(static_cast<pid_t>(pid), 0) == 0;
}

std::string System::random_uuid() const {
  uuid_t bytes;
  ::uuid_generate_random(bytes);
  char text[UUID_STR_LEN];
  ::uuid_unparse_lower(bytes, text);
  return text;
}

}  // namespace utility_manager::platform
