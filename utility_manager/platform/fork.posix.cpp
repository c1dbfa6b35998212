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

}  // namespace utility_manager::platform
