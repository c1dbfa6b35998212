#include "utility_manager/platform/directory_use.h"

#include <cerrno>
#include <utility>

#include <sys/file.h>

#include "utility_manager/limits.h"
#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/descriptor.posix.h"

namespace utility_manager::platform {

std::shared_ptr<const void> use_directory(const std::string& path) {
  // Who looks whether it is used has it alone for a moment.
  auto directory = locked_directory(path, LOCK_SH, Deadline(limits::directory_lock_wait));
  if (!directory) return nullptr;
  return std::make_shared<const Handle>(std::move(directory));
}

bool is_directory_used(const std::string& path) {
  const auto directory = open_directory(path);
  return directory && ::flock(descriptor(directory), LOCK_EX | LOCK_NB) != 0 &&
         errno == EWOULDBLOCK;
}

}  // namespace utility_manager::platform
