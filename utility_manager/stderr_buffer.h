#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace utility_manager {

/// The lines that a child wrote to its standard error, in the order of arrival; grows for as long
/// as the child writes. One reader thread appends, any thread reads.
class StderrBuffer {
 public:
  void append(std::vector<std::string> lines) {
    const std::lock_guard held(mutex_);
    for (auto& line : lines) lines_.push_back(std::move(line));
    changed_.notify_all();
  }

  /// Says that no line will follow.
  void end() {
    const std::lock_guard held(mutex_);
    ended_ = true;
    changed_.notify_all();
  }

  std::vector<std::string> lines() const {
    const std::lock_guard held(mutex_);
    return lines_;
  }

  /// Waits for a first line, at most `seconds`, and then for the lines behind it, at most `settle`
  /// of them. Not at all once no line can follow.
  void wait_for_lines(double seconds, double settle) const {
    const auto limit = moment_in(seconds);
    std::unique_lock held(mutex_);
    changed_.wait_until(held, limit, [this] { return ended_ || !lines_.empty(); });
    changed_.wait_until(held, std::min(limit, moment_in(settle)), [this] { return ended_; });
  }

 private:
  using Clock = std::chrono::steady_clock;

  static Clock::time_point moment_in(double seconds) {
    return Clock::now() +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<std::string> lines_;
  bool ended_ = false;
};

}  // namespace utility_manager
