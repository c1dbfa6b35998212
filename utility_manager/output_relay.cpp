#include "utility_manager/output_relay.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

#include "utility_manager/limits.h"
#include "utility_manager/platform/line_writer.h"
#include "utility_manager/stderr_buffer.h"
#include "utility_manager/values/text.h"

namespace utility_manager {
namespace {

/// Text in a row: a string whose growth costs next to nothing.
class TextBlock {
 public:
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::string_view text() const { return {bytes_.get(), size_}; }

  /// At least `wanted` bytes behind the text; what is written there becomes part of it by `extend`.
  char* room(std::size_t wanted) {
    if (capacity_ - size_ < wanted) {
      reallocate(std::max(size_ + wanted, 2 * capacity_), bytes_.get());
    }
    return bytes_.get() + size_;
  }
  void extend(std::size_t count) { size_ += count; }

  /// Gives unusually much memory back once little text is left.
  void remove_start(std::size_t count) {
    constexpr std::size_t usual = limits::relay_chunk_bytes;
    size_ -= count;
    const char* const rest = bytes_.get() + count;
    if (capacity_ > 4 * usual && size_ <= usual) {
      reallocate(usual, rest);
    } else if (size_ > 0) {
      std::memmove(bytes_.get(), rest, size_);
    }
  }

  void clear() { remove_start(size_); }

 private:
  void reallocate(std::size_t capacity, const char* text) {
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity);
    if (size_ != 0) std::memcpy(bytes.get(), text, size_);
    bytes_ = std::move(bytes);
    capacity_ = capacity;
  }

  std::unique_ptr<char[]> bytes_;
  std::size_t capacity_ = 0;
  std::size_t size_ = 0;
};

class OutputRelay {
 public:
  OutputRelay(std::shared_ptr<platform::Stream> stream, const std::string& prefix,
              std::shared_ptr<StderrBuffer> buffer)
      : stream_(std::move(stream)), lead_("[" + prefix + "] "), buffer_(std::move(buffer)) {}

  void run() {
    platform::block_broken_pipe_signal();
    while (const auto count = read_chunk()) take_new(count);
    if (!in_.empty()) {
      *in_.room(1) = '\n';
      take_new(1);
    }
    stream_->close();
    if (buffer_) buffer_->end();
  }

 private:
  /// Reads behind the start of a line that is there already; gives 0 at the end of the stream.
  std::size_t read_chunk() {
    const auto wanted = limits::relay_chunk_bytes - in_.size() % limits::relay_chunk_bytes;
    return stream_->read_some({in_.room(wanted), wanted});
  }

  /// Of a long line only what is new is searched for its end.
  void take_new(std::size_t count) {
    in_.extend(count);
    const auto end = in_.text().substr(in_.size() - count).rfind('\n');
    if (end == std::string_view::npos) return;
    const auto lines = in_.text().substr(0, in_.size() - count + end + 1);
    take_lines(lines);
    in_.remove_start(lines.size());
  }

  /// Whole lines, each with its line end. The relay comes first, the buffer second.
  void take_lines(std::string_view lines) {
    std::string decodable;
    if (!values::is_well_formed(lines)) {
      values::append_decodable(decodable, lines);
      lines = decodable;
    }
    const bool unchanged = add_lead(lines);
    if (out_.empty()) return;
    if (writable_) writable_ = platform::write_lines(out_.text());
    if (buffer_) buffer_->append(unchanged ? lines : without_lead(out_.text()));
    out_.clear();
  }

  /// True when no line was stripped or skipped.
  bool add_lead(std::string_view lines) {
    bool unchanged = true;
    while (!lines.empty()) {
      const auto end = lines.find('\n');
      const auto line = values::strip_end(lines.substr(0, end));
      unchanged = unchanged && end > 0 && line.size() == end;
      if (!line.empty()) add_line(line);
      lines.remove_prefix(end + 1);
    }
    return unchanged;
  }

  void add_line(std::string_view line) {
    char* const start = out_.room(lead_.size() + line.size() + 1);
    std::memcpy(start, lead_.data(), lead_.size());
    char* const text = start + lead_.size();
    std::memcpy(text, line.data(), line.size());
    text[line.size()] = '\n';
    out_.extend(lead_.size() + line.size() + 1);
  }

  std::string without_lead(std::string_view lines) const {
    std::string result;
    while (!lines.empty()) {
      const auto size = lines.find('\n') + 1;
      result += lines.substr(lead_.size(), size - lead_.size());
      lines.remove_prefix(size);
    }
    return result;
  }

  const std::shared_ptr<platform::Stream> stream_;
  const std::string lead_;
  const std::shared_ptr<StderrBuffer> buffer_;
  TextBlock in_;   ///< what was read and isn't relayed yet: the start of a line
  TextBlock out_;  ///< lines with their leads
  bool writable_ = true;
};

}  // namespace

void start_relay(std::shared_ptr<platform::Stream> stream, const std::string& prefix,
                 std::shared_ptr<StderrBuffer> buffer) {
  if (!stream) {
    if (buffer) buffer->end();
    return;
  }
  auto relay = std::make_unique<OutputRelay>(std::move(stream), prefix, std::move(buffer));
  std::thread([relay = std::move(relay)] { relay->run(); }).detach();
}

}  // namespace utility_manager
