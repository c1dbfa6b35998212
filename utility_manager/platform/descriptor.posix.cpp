#include "utility_manager/platform/descriptor.posix.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "utility_manager/platform/deadline.h"

namespace utility_manager::platform {

Handle above_standard(Handle handle) {
  if (!handle || descriptor(handle) > STDERR_FILENO) return handle;
  return Handle(::fcntl(descriptor(handle), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

bool wait_until_ready(int descriptor, short events, const Deadline& deadline) {
  pollfd entry{.fd = descriptor, .events = events, .revents = 0};
  for (;;) {
    const int count = ::poll(&entry, 1, deadline.milliseconds_left());
    if (count > 0) return true;
    if (count < 0 && errno != EINTR) return false;
    if (deadline.passed()) return false;
  }
}

}  // namespace utility_manager::platform
