#include "utility_manager/platform/fork.h"

#include <atomic>

#include <pthread.h>

namespace utility_manager::platform {
namespace {

std::atomic<int> depth = 0;

[[maybe_unused]] const int registered = ::pthread_atfork(nullptr, nullptr, [] { ++depth; });

}  // namespace

bool is_forked_child() {
  return depth != 0;
}

int fork_depth() {
  return depth;
}

void around_forks(void (*before)(), void (*in_parent)(), void (*in_child)()) {
  ::pthread_atfork(before, in_parent, in_child);
}

}  // namespace utility_manager::platform
