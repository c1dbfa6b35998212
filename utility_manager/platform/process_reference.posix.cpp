#include "utility_manager/platform/process_reference.h"

#include <limits>

#include <sys/types.h>

namespace utility_manager::platform {

bool is_process_id(std::int64_t pid) {
  return pid >= 1 && pid <= std::numeric_limits<pid_t>::max();
}

}  // namespace utility_manager::platform
