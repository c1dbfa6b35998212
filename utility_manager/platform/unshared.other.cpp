#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "utility_manager/platform/unshared.posix.h"

namespace utility_manager::platform {
namespace {

std::mutex& openings() {
  static std::mutex* const mutex = new std::mutex;  // threads outlive static destruction
  return *mutex;
}

Handle closed_to_children(int number) {
  Handle handle(number);
  if (handle && ::fcntl(number, F_SETFD, FD_CLOEXEC) != 0) handle.close();
  return handle;
}

}  // namespace

Handle open_socket(int domain, int type) {
  const auto held = hold_openings();
  return closed_to_children(::socket(domain, type, 0));
}

bool open_pipe(Handle& read_end, Handle& write_end) {
  const auto held = hold_openings();
  int ends[2];
  if (::pipe(ends) != 0) return false;
  read_end = closed_to_children(ends[0]);
  write_end = closed_to_children(ends[1]);
  return read_end && write_end;
}

Handle open_nameless_file(const std::string&) {
  return {};
}

std::unique_lock<std::mutex> hold_openings() {
  return std::unique_lock(openings());
}

int close_from(posix_spawn_file_actions_t& actions, int first) {
  const auto end = static_cast<int>(::sysconf(_SC_OPEN_MAX));
  for (int number = first; number < end; ++number) {
    const int flags = ::fcntl(number, F_GETFD);
    if (flags < 0 || (flags & FD_CLOEXEC) != 0) continue;
    const int failure = ::posix_spawn_file_actions_addclose(&actions, number);
    if (failure != 0) return failure;
  }
  return 0;
}

}  // namespace utility_manager::platform
