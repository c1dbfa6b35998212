#include "utility_manager/platform/directory_use.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>

#include "utility_manager/platform/descriptor.h"

namespace utility_manager::platform {
namespace {

Descriptor open_directory(const std::string& path) {
  return above_standard(Descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

}  // namespace

std::shared_ptr<const void> use_directory(const std::string& path) {
  auto directory = open_directory(path);
  if (!directory || ::flock(directory.number(), LOCK_SH | LOCK_NB) != 0) return nullptr;
  return std::make_shared<const Descriptor>(std::move(directory));
}

bool is_directory_used(const std::string& path) {
  const auto directory = open_directory(path);
  return directory && ::flock(directory.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

}  // namespace utility_manager::platform
