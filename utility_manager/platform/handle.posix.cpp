#include "utility_manager/platform/handle.h"

#include <cerrno>

#include <unistd.h>

#include "utility_manager/platform/descriptor.posix.h"

namespace utility_manager::platform {

bool Handle::close() {
  if (!*this) return true;
  const int number = descriptor(*this);
  release();
  return ::close(number) == 0 || errno == EINTR;  // it is closed after EINTR too
}

}  // namespace utility_manager::platform
