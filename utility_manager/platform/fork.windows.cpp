#include "utility_manager/platform/fork.h"

namespace utility_manager::platform {

bool is_forked_child() {
  return false;
}

int fork_depth() {
  return 0;
}

void around_forks(void (*)(), void (*)(), void (*)()) {}

}  // namespace utility_manager::platform
