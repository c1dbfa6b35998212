#include "utility_manager/platform/directory_use.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>

#include "utility_manager/platform/descriptor.posix.h"

namespace utility_manager::platform {
namespace {

Handle open_directory(const std::string& path) {
  return above_standard(Handle(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

}  // namespace

std::shared_ptr<const void> use_directory(const std::string& path) {
  auto directory = open_directory(path);
  if (!directory || ::flock(descriptor(directory), LOCK_SH | LOCK_NB) != 0) return nullptr;
  return std::make_shared<const Handle>(std::move(directory));
}

bool is_directory_used(const std::string& path) {
  const auto directory = open_directory(path);
  return directory && ::flock(descriptor(directory), LOCK_EX | LOCK_NB) != 0 &&
         errno == EWOULDBLOCK;
}

}  // namespace utility_manager::platform
