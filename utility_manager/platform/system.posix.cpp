#include "utility_manager/platform/system.h"

#include <atomic>
#include <cerrno>
#include <string>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/random.h>
#include <unistd.h>

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/platform/random_bytes.h"

namespace utility_manager::platform {
namespace {

/// The id of a thread is none, though `kill` takes it for its process's.
bool names_process(std::int64_t pid) {
  return is_process_id(pid) && process_exists(pid);
}

std::atomic<bool> are_reports_given_up = false;

}  // namespace

void give_up_reports() {
  are_reports_given_up = true;
}

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

bool System::report(const std::string& line) const {
  if (are_reports_given_up) return false;
  const std::string text = line + "\n";
  sigset_t broken_pipe;
  sigset_t before;
  sigemptyset(&broken_pipe);
  sigaddset(&broken_pipe, SIGPIPE);
  pollfd error{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
  if (::poll(&error, 1, 0) != 1 || error.revents != POLLOUT) return false;
  ::pthread_sigmask(SIG_BLOCK, &broken_pipe, &before);
  const auto count = ::write(STDERR_FILENO, text.data(), text.size());
  if (count < 0 && errno == EPIPE) {
    sigset_t pending;
    int taken = 0;
    ::sigpending(&pending);
    if (::sigismember(&pending, SIGPIPE) == 1) ::sigwait(&broken_pipe, &taken);
  }
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return count == static_cast<ssize_t>(text.size());
}

void fill_with_random_bytes(std::span<std::uint8_t> bytes) {
  if (::getentropy(bytes.data(), bytes.size()) != 0) throw SystemError(errno);
}

}  // namespace utility_manager::platform
