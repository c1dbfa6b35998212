#include "utility_manager/platform/failures.h"

#include <cerrno>
#include <system_error>

namespace utility_manager::platform {

std::string error_text(int code) {
  return "[Errno " + std::to_string(code) + "] " + std::generic_category().message(code);
}

NoSuchProcess::NoSuchProcess() : SystemError(ESRCH) {}

AccessDenied::AccessDenied() : SystemError(EPERM) {}

FileExists::FileExists(const std::string& path) : SystemError(EEXIST, path) {}

}  // namespace utility_manager::platform
