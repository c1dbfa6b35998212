#pragma once

#include <chrono>
#include <optional>

namespace utility_manager::platform {

/// A moment on a clock that nobody sets, so many seconds from now. Without seconds, and with more
/// than a lifetime of them, it never comes.
class Deadline {
 public:
  explicit Deadline(std::optional<double> seconds);

  bool passed() const;

  /// The time left, rounded up; -1 for ever.
  int milliseconds_left() const;

  /// Sleeps, but not beyond the deadline.
  void pause(std::chrono::milliseconds time) const;

 private:
  using Clock = std::chrono::steady_clock;

  std::optional<Clock::time_point> moment_;
};

}  // namespace utility_manager::platform
