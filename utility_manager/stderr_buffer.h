#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace utility_manager {

/// The lines that a child wrote to its standard error, in the order of arrival; grows for as long
/// as the child writes. One reader thread appends, any thread reads.
class StderrBuffer {
 public:
  /// `lines` are whole, each with its line end.
  void append(std::string_view lines) {
    const std::lock_guard held(mutex_);
    if (blocks_.empty() || room_in(blocks_.back()) < lines.size()) {
      blocks_.emplace_back().reserve(std::max(lines.size(), block_bytes));
    }
    blocks_.back() += lines;
    changed_.notify_all();
  }

  /// Says that no line will follow.
  void end() {
    const std::lock_guard held(mutex_);
    ended_ = true;
    changed_.notify_all();
  }

  /// Without their line ends.
  std::vector<std::string> lines() const {
    const std::lock_guard held(mutex_);
    std::vector<std::string> result;
    for (std::string_view rest : blocks_) {
      while (!rest.empty()) {
        const auto end = rest.find('\n');
        result.emplace_back(rest.substr(0, end));
        rest.remove_prefix(end + 1);
      }
    }
    return result;
  }

  /// Waits for a first line, at most `seconds`, and then for the lines behind it, at most `settle`
  /// of them. Not at all once no line can follow.
  void wait_for_lines(double seconds, double settle) const {
    const auto limit = moment_in(seconds);
    std::unique_lock held(mutex_);
    changed_.wait_until(held, limit, [this] { return ended_ || !blocks_.empty(); });
    changed_.wait_until(held, std::min(limit, moment_in(settle)), [this] { return ended_; });
  }

 private:
  using Clock = std::chrono::steady_clock;

  static constexpr std::size_t block_bytes = 4096;

  static std::size_t room_in(const std::string& block) { return block.capacity() - block.size(); }

  static Clock::time_point moment_in(double seconds) {
    return Clock::now() +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<std::string> blocks_;  ///< never moved within: a long text is never copied to grow
  bool ended_ = false;
};

}  // namespace utility_manager
