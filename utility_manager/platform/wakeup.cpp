#include "utility_manager/platform/wakeup.h"

#include <chrono>

namespace utility_manager::platform {

Wakeup::Count Wakeup::count() const {
  const std::lock_guard held(mutex_);
  return count_;
}

void Wakeup::call() {
  const std::lock_guard held(mutex_);
  ++count_;
  called_.notify_all();
}

void Wakeup::sleep(double seconds, Count count) const {
  std::unique_lock held(mutex_);
  called_.wait_for(held, std::chrono::duration<double>(seconds), [&] { return count_ != count; });
}

}  // namespace utility_manager::platform
