#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace utility_manager::platform {

/// Ends the sleep of threads. Members may be called from any thread.
class Wakeup {
 public:
  using Count = std::uint64_t;

  /// How often it was called. To be asked before what is slept for is looked at, so that no call
  /// between the two is missed.
  Count count() const;

  void call();

  /// Sleeps, at most `seconds`; not at all when it was called since `count`.
  void sleep(double seconds, Count count) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable called_;
  Count count_ = 0;
};

}  // namespace utility_manager::platform
