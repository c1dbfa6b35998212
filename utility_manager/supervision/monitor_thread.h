#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace utility_manager {

/// A detached thread that can be asked whether it still runs. It never holds up the end of the
/// process.
class MonitorThread {
 public:
  /// Runs `body` on a new thread, which ends silently with the interpreter or at a request to exit.
  /// Fails with `std::system_error` when no thread can be had.
  static std::shared_ptr<MonitorThread> start(std::function<void()> body);

  bool is_alive() const;

  /// Waits for the end of the thread, at most `seconds`.
  void join(double seconds) const;

 private:
  void finish();

  mutable std::mutex mutex_;
  mutable std::condition_variable ended_;
  bool alive_ = true;
};

}  // namespace utility_manager
