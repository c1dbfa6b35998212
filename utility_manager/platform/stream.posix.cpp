#include "utility_manager/platform/stream.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/descriptor.posix.h"

namespace utility_manager::platform {

Stream::Stream(Handle handle) : handle_(std::move(handle)) {
  const int number = descriptor(handle_);
  ::fcntl(number, F_SETFL, ::fcntl(number, F_GETFL) | O_NONBLOCK);
}

std::optional<std::size_t> Stream::read_before(std::span<char> buffer, const Deadline& deadline) {
  for (;;) {
    const ssize_t count = ::read(descriptor(handle_), buffer.data(), buffer.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return 0;
    if (!wait_until_ready(descriptor(handle_), POLLIN, deadline)) return std::nullopt;
  }
}

}  // namespace utility_manager::platform
