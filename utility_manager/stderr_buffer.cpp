#include "utility_manager/stderr_buffer.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "utility_manager/values/text.h"

namespace utility_manager {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t page_bytes = Spool::page_bytes;

Clock::time_point moment_in(double seconds) {
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

std::size_t line_ends_in(std::string_view text) {
  std::size_t count = 0;
  for (auto end = text.find('\n'); end != text.npos; end = text.find('\n', end + 1)) ++count;
  return count;
}

void reserve(std::vector<std::size_t>& numbers, std::size_t count) {
  if (numbers.capacity() < count) numbers.reserve(std::max(count, 2 * numbers.capacity()));
}

}  // namespace

void StderrBuffer::append(std::string_view lines) {
  {
    const std::lock_guard held(mutex_);
    const auto start = text_.size();
    reserve(lines_before_, (start + lines.size()) / page_bytes + 1);
    text_.append(lines);
    if (start == 0)
      first_visible_ = static_cast<std::size_t>(values::strip(lines).data() - lines.data());
    for (auto offset = start; !lines.empty();) {
      if (offset % page_bytes == 0) lines_before_.push_back(size_);
      const auto part = lines.substr(0, page_bytes - offset % page_bytes);
      size_ += line_ends_in(part);
      offset += part.size();
      lines.remove_prefix(part.size());
    }
    changed_.notify_all();
  }
  while (text_.write_oldest()) {  // nobody waits for a slow disk
    const std::lock_guard held(mutex_);
    text_.drop_oldest();
  }
}

void StderrBuffer::end() {
  const std::lock_guard held(mutex_);
  ended_ = true;
  changed_.notify_all();
}

std::size_t StderrBuffer::size() const {
  const std::lock_guard held(mutex_);
  return size_;
}

std::vector<std::string> StderrBuffer::lines(std::size_t first, std::size_t count,
                                             std::size_t enough) const {
  std::vector<std::string> result;
  const auto size = this->size();
  if (first >= size) return result;
  count = std::min(count, size - first);
  std::string line;
  std::size_t bytes = 0;
  for (auto offset = start_of(first); result.size() < count && bytes < enough;) {
    const auto page = page_from(offset);
    offset += page.size();
    for (std::string_view rest = page; !rest.empty();) {
      const auto end = rest.find('\n');
      line += rest.substr(0, end);
      if (end == rest.npos) break;
      rest.remove_prefix(end + 1);
      bytes += line.size();
      result.push_back(std::exchange(line, {}));
      if (result.size() == count || bytes >= enough) break;
    }
  }
  return result;
}

/// Where a line begins that there is.
std::uint64_t StderrBuffer::start_of(std::size_t line) const {
  if (line == 0) return 0;
  std::size_t page = 0;
  std::size_t line_ends = 0;
  {
    const std::lock_guard held(mutex_);
    const auto behind = std::ranges::lower_bound(lines_before_, line);
    page = static_cast<std::size_t>(behind - lines_before_.begin()) - 1;
    line_ends = line - lines_before_[page];
  }
  const auto text = page_from(page * page_bytes);
  std::size_t place = 0;
  for (; line_ends > 0; --line_ends) place = text.find('\n', place) + 1;
  return page * page_bytes + place;
}

/// What is left of a page of the text.
std::string StderrBuffer::page_from(std::uint64_t offset) const {
  const std::lock_guard held(mutex_);
  return text_.read(offset, page_bytes - offset % page_bytes);
}

std::string StderrBuffer::tail(std::size_t count) const {
  constexpr std::size_t longest_code_point = 4;
  const std::lock_guard held(mutex_);
  if (size_ == 0 || count == 0) return {};
  const auto end = text_.size() - 1;
  const auto wanted = std::min<std::uint64_t>(count, end) * longest_code_point;
  const auto start = std::max(first_visible_, end - std::min(wanted, end));
  const auto text = text_.read(start, static_cast<std::size_t>(end - start));
  return std::string(values::last_code_points(text, count));
}

void StderrBuffer::wait_for_lines(double seconds, double settle) const {
  const auto limit = moment_in(seconds);
  std::unique_lock held(mutex_);
  changed_.wait_until(held, limit, [this] { return ended_ || size_ > 0; });
  changed_.wait_until(held, std::min(limit, moment_in(settle)), [this] { return ended_; });
}

std::optional<std::string> LineReader::next() {
  constexpr std::size_t enough = 64 * 1024;
  const std::lock_guard held(mutex_);
  if (place_ == ahead_.size()) {
    ahead_ = buffer_->lines(line_, SIZE_MAX, enough);
    line_ += ahead_.size();
    place_ = 0;
    if (ahead_.empty()) return std::nullopt;
  }
  return std::move(ahead_[place_++]);
}

}  // namespace utility_manager
