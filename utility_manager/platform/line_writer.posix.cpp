#include "utility_manager/platform/line_writer.h"

#include <cerrno>
#include <climits>
#include <mutex>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/descriptor.posix.h"

namespace utility_manager::platform {
namespace {

struct Output {
  std::mutex mutex;
  bool given_up = false;
  bool within_line = false;  ///< a write has failed in the middle of a line
};

Output& output() {
  static Output* const output = new Output;  // readers outlive static destruction
  return *output;
}

/// As many whole lines as fit into PIPE_BUF bytes, at least one.
std::string_view first_piece(std::string_view lines) {
  if (lines.size() <= PIPE_BUF) return lines;
  std::size_t end = lines.rfind('\n', PIPE_BUF - 1);
  if (end == lines.npos) end = lines.find('\n');
  return lines.substr(0, end == lines.npos ? end : end + 1);
}

bool write_whole(std::string_view piece, bool& within_line) {
  while (!piece.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, piece.data(), piece.size());
    if (count > 0) {
      within_line = piece[static_cast<std::size_t>(count) - 1] != '\n';
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
  Output& out = output();
  const std::lock_guard guard(out.mutex);
  if (out.given_up) return false;
  if (out.within_line && !write_whole("\n", out.within_line)) return false;
  while (!lines.empty()) {
    const std::string_view piece = first_piece(lines);
    if (!write_whole(piece, out.within_line)) return false;
    lines.remove_prefix(piece.size());
  }
  return true;
}

void give_up_output() {
  const std::lock_guard guard(output().mutex);
  output().given_up = true;
}

void block_write_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  sigaddset(&signals, SIGXFSZ);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace utility_manager::platform
