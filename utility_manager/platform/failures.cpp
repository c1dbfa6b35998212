#include "utility_manager/platform/failures.h"

#include <cerrno>
#include <system_error>

#include "utility_manager/values/quoting.h"

namespace utility_manager::platform {
namespace {

std::string error_text(int code) {
  return "[Errno " + std::to_string(code) + "] " + std::generic_category().message(code);
}

}  // namespace

SystemError::SystemError(int code) : std::runtime_error(error_text(code)), code_(code) {}

SystemError::SystemError(int code, const std::string& path)
    : std::runtime_error(error_text(code) + ": " + values::quoted(path)),
      code_(code),
      path_(path) {}

NoSuchProcess::NoSuchProcess() : SystemError(ESRCH) {}

AccessDenied::AccessDenied() : SystemError(EPERM) {}

}  // namespace utility_manager::platform
