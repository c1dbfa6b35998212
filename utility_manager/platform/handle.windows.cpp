#include "utility_manager/platform/handle.h"

#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {

bool Handle::close() {
  if (!*this) return true;
  return ::CloseHandle(reinterpret_cast<HANDLE>(release())) != 0;
}

}  // namespace utility_manager::platform
