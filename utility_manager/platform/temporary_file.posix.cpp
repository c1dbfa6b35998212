#include "utility_manager/platform/temporary_file.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/platform/unshared.posix.h"

namespace utility_manager::platform {
namespace {

Handle nameless_file(const std::string& directory) {
  Handle nameless = open_nameless_file(directory);
  if (nameless) return nameless;
  const std::string path = directory + "/utility_manager." + system().random_uuid();
  constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
  Handle file(::open(path.c_str(), flags, S_IRUSR | S_IWUSR));
  if (file) ::unlink(path.c_str());
  return file;
}

Handle open_somewhere() {
  const char* const chosen = std::getenv("TMPDIR");
  for (const char* const directory : {chosen, "/tmp", "/var/tmp"}) {
    if (!directory || !*directory) continue;
    Handle file = above_standard(nameless_file(directory));
    if (file) return file;
  }
  return {};
}

}  // namespace

bool TemporaryFile::write(std::uint64_t offset, std::string_view bytes) {
  if (!file_) file_ = open_somewhere();
  if (!file_) return false;
  while (!bytes.empty()) {
    const ssize_t count =
        ::pwrite(descriptor(file_), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count <= 0) {
      if (count < 0 && errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
  return true;
}

void TemporaryFile::read(std::uint64_t offset, std::span<char> bytes) const {
  while (!bytes.empty()) {
    const ssize_t count =
        ::pread(descriptor(file_), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) throw SystemError(count < 0 ? errno : EIO);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
}

}  // namespace utility_manager::platform
