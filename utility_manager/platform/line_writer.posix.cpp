#include "utility_manager/platform/line_writer.h"

#include <cerrno>
#include <climits>
#include <mutex>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/descriptor.h"

namespace utility_manager::platform {
namespace {

std::mutex& output_mutex() {
  static std::mutex* const mutex = new std::mutex;  // readers outlive static destruction
  return *mutex;
}

/// As many whole lines as fit into PIPE_BUF bytes, at least one.
std::string_view first_piece(std::string_view lines) {
  if (lines.size() <= PIPE_BUF) return lines;
  std::size_t end = lines.rfind('\n', PIPE_BUF - 1);
  if (end == lines.npos) end = lines.find('\n');
  return lines.substr(0, end == lines.npos ? end : end + 1);
}

bool write_whole(std::string_view piece) {
  while (!piece.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, piece.data(), piece.size());
    if (count > 0) {
      piece.remove_prefix(static_cast<std::size_t>(count));
    } else if (count == 0) {
      return false;
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (!wait_until_ready(STDOUT_FILENO, POLLOUT, Deadline(std::nullopt))) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool write_lines(std::string_view lines) {
  const std::lock_guard guard(output_mutex());
  while (!lines.empty()) {
    const std::string_view piece = first_piece(lines);
    if (!write_whole(piece)) return false;
    lines.remove_prefix(piece.size());
  }
  return true;
}

void block_broken_pipe_signal() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace utility_manager::platform
