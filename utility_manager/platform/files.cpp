#include "utility_manager/platform/files.h"

#include <algorithm>

namespace utility_manager::platform {

bool FileStamp::is_settled(double now) const {
  constexpr double longest_step = 2;
  return 1e-9 * static_cast<double>(std::max(modified, changed)) < now - longest_step;
}

}  // namespace utility_manager::platform
