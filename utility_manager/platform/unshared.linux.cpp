#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "utility_manager/platform/unshared.posix.h"

namespace utility_manager::platform {

Handle open_socket(int domain, int type) {
  return Handle(::socket(domain, type | SOCK_CLOEXEC, 0));
}

bool open_pipe(Handle& read_end, Handle& write_end) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  read_end = Handle(ends[0]);
  write_end = Handle(ends[1]);
  return true;
}

Handle open_nameless_file(const std::string& directory) {
  constexpr int flags = O_TMPFILE | O_RDWR | O_CLOEXEC | O_EXCL;
  return Handle(::open(directory.c_str(), flags, S_IRUSR | S_IWUSR));
}

std::unique_lock<std::mutex> hold_openings() {
  return {};
}

int close_from(posix_spawn_file_actions_t& actions, int first) {
  return ::posix_spawn_file_actions_addclosefrom_np(&actions, first);
}

}  // namespace utility_manager::platform
