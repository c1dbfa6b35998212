#include "utility_manager/platform/standard_output.h"

#include <cerrno>
#include <climits>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/line_writer.h"

namespace utility_manager::platform {

const std::size_t longest_whole_write = PIPE_BUF;

std::size_t write_output(std::string_view bytes) {
  for (;;) {
    const ssize_t count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    const bool is_full = errno == EAGAIN || errno == EWOULDBLOCK;
    if (!is_full && errno != EINTR) return 0;
    if (is_full && !wait_until_ready(STDOUT_FILENO, POLLOUT, Deadline(std::nullopt))) return 0;
  }
}

void block_write_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  sigaddset(&signals, SIGXFSZ);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace utility_manager::platform
