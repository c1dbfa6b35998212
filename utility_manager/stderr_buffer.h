#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace utility_manager {

/// The lines that a child wrote to its standard error, in the order of arrival; grows for as long
/// as the child writes. One reader thread appends, any thread reads.
class StderrBuffer : public std::enable_shared_from_this<StderrBuffer> {
 public:
  /// `lines` are whole, each with its line end.
  void append(std::string_view lines) {
    const std::lock_guard held(mutex_);
    if (blocks_.empty() || room_in(blocks_.back().text) < lines.size()) {
      blocks_.push_back({.text = {}, .first_line = size_});
      blocks_.back().text.reserve(std::max(lines.size(), block_bytes));
    }
    blocks_.back().text += lines;
    size_ += static_cast<std::size_t>(std::ranges::count(lines, '\n'));
    changed_.notify_all();
  }

  /// Says that no line will follow.
  void end() {
    const std::lock_guard held(mutex_);
    ended_ = true;
    changed_.notify_all();
  }

  /// The number of lines so far.
  std::size_t size() const {
    const std::lock_guard held(mutex_);
    return size_;
  }

  /// The lines from number `first` on, without their line ends: at most `count`, and none more once
  /// they have `enough` bytes.
  std::vector<std::string> lines(std::size_t first = 0, std::size_t count = SIZE_MAX,
                                 std::size_t enough = SIZE_MAX) const {
    const std::lock_guard held(mutex_);
    std::vector<std::string> result;
    std::size_t bytes = 0;
    for (auto block = block_of(first); block != blocks_.end(); ++block) {
      std::size_t number = block->first_line;
      for (std::string_view rest = block->text; !rest.empty(); ++number) {
        const auto end = rest.find('\n');
        if (number >= first) {
          if (result.size() >= count || bytes >= enough) return result;
          bytes += result.emplace_back(rest.substr(0, end)).size();
        }
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

  struct Block {
    std::string text;
    std::size_t first_line;
  };

  std::vector<Block>::const_iterator block_of(std::size_t line) const {
    const auto behind = std::ranges::upper_bound(blocks_, line, {}, &Block::first_line);
    return behind == blocks_.begin() ? behind : std::prev(behind);
  }

  static std::size_t room_in(const std::string& block) { return block.capacity() - block.size(); }

  static Clock::time_point moment_in(double seconds) {
    return Clock::now() +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::size_t size_ = 0;
  std::vector<Block> blocks_;  ///< texts are never copied to grow
  bool ended_ = false;
};

}  // namespace utility_manager
