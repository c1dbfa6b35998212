#include "utility_manager/platform/descriptor.posix.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <unistd.h>

#include "utility_manager/platform/deadline.h"

namespace utility_manager::platform {

Handle above_standard(Handle handle) {
  if (!handle || descriptor(handle) > STDERR_FILENO) return handle;
  return Handle(::fcntl(descriptor(handle), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

Handle open_directory(const std::string& path) {
  return above_standard(Handle(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

Handle locked_directory(const std::string& path, int operation, const Deadline& deadline) {
  auto directory = open_directory(path);
  while (directory && ::flock(descriptor(directory), operation | LOCK_NB) != 0) {
    const bool is_taken = errno == EWOULDBLOCK || errno == EINTR;
    if (!is_taken || deadline.passed()) return {};
    deadline.pause(std::chrono::milliseconds(1));
  }
  return directory;
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
