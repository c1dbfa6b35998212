#include "utility_manager/platform/failures.h"

#include "utility_manager/values/quoting.h"

namespace utility_manager::platform {

SystemError::SystemError(int code) : std::runtime_error(error_text(code)), code_(code) {}

SystemError::SystemError(int code, const std::string& path)
    : std::runtime_error(error_text(code) + ": " + values::quoted(path)),
      code_(code),
      path_(path) {}

}  // namespace utility_manager::platform
