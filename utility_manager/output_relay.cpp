#include "utility_manager/output_relay.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>
#include <thread>
#include <utility>

#include "utility_manager/limits.h"
#include "utility_manager/output.h"
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
    if (capacity_ - size_ < wanted) grow(std::max(size_ + wanted, 2 * capacity_));
    return bytes_.get() + size_;
  }
  void extend(std::size_t count) { size_ += count; }
  void remove_end(std::size_t count) { size_ -= count; }

  /// Gives unusually much memory back once little text is left.
  void remove_start(std::size_t count) {
    size_ -= count;
    const char* const rest = bytes_.get() + count;
    if (capacity_ > 4 * usual && size_ <= usual) {
      auto bytes = std::unique_ptr<char[]>(new (std::nothrow) char[usual]);
      if (bytes) {
        std::copy_n(rest, size_, bytes.get());
        bytes_ = std::move(bytes);
        capacity_ = usual;
        return;
      }
    }
    if (size_ > 0) std::memmove(bytes_.get(), rest, size_);
  }

  void clear() { remove_start(size_); }

 private:
  static constexpr std::size_t usual = limits::relay_chunk_bytes;

  void grow(std::size_t capacity) {
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity);
    std::copy_n(bytes_.get(), size_, bytes.get());
    bytes_ = std::move(bytes);
    capacity_ = capacity;
  }

  std::unique_ptr<char[]> bytes_;
  std::size_t capacity_ = 0;
  std::size_t size_ = 0;
};

/// How many bytes the start of a UTF-8 sequence has that ends a text before its own end.
std::size_t started_at_end(std::string_view text) {
  for (std::size_t count = 1; count <= std::min<std::size_t>(3, text.size()); ++count) {
    const auto byte = static_cast<unsigned char>(text[text.size() - count]);
    if (byte < 0x80) return 0;
    if (byte < 0xc0) continue;
    const std::size_t length = byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
    return length > count ? count : 0;
  }
  return 0;
}

/// What is read at a time of a child that hasn't written as much at once yet.
constexpr std::size_t small_chunk_bytes = 1024;

class OutputRelay {
 public:
  /// Has room for a small chunk, which it never gives back.
  OutputRelay(std::shared_ptr<platform::Stream> stream, const std::string& prefix,
              std::shared_ptr<StderrBuffer> buffer)
      : stream_(std::move(stream)), lead_("[" + prefix + "] "), buffer_(std::move(buffer)) {
    in_.room(small_chunk_bytes);
  }

  void run() {
    platform::block_write_signals();
    while (relay_some()) {
    }
    stream_->close();
    if (buffer_) buffer_->end();
  }

 private:
  /// False after the end of the stream. No memory costs what was read and not relayed yet.
  bool relay_some() {
    try {
      const auto count = read_chunk();
      if (count > 0) {
        take_new(count);
      } else if (!in_.empty()) {
        *in_.room(1) = '\n';
        take_new(1);
      }
      return count > 0;
    } catch (const std::bad_alloc&) {
      in_.clear();
      out_.clear();
      chunk_bytes_ = small_chunk_bytes;
      return true;
    }
  }

  /// Reads behind the start of a line that is there already; gives 0 at the end of the stream. Who
  /// says little costs little memory.
  std::size_t read_chunk() {
    const auto wanted = chunk_bytes_ - in_.size() % chunk_bytes_;
    const auto count = stream_->read_some({in_.room(wanted), wanted});
    if (count == wanted) chunk_bytes_ = limits::relay_chunk_bytes;
    return count;
  }

  /// Of a long line only what is new is searched for its end.
  void take_new(std::size_t count) {
    in_.extend(count);
    const auto end = in_.text().substr(in_.size() - count).rfind('\n');
    if (end == std::string_view::npos) {
      if (in_.size() > limits::longest_line_bytes) take_as_it_stands();
      return;
    }
    const auto lines = in_.text().substr(0, in_.size() - count + end + 1);
    take_lines(lines);
    in_.remove_start(lines.size());
  }

  /// The start of a line, but for a character of which not all has come, as if it ended here.
  void take_as_it_stands() {
    const auto whole = in_.size() - started_at_end(in_.text());
    const std::string rest(in_.text().substr(whole));
    in_.remove_end(rest.size());
    *in_.room(1) = '\n';
    in_.extend(1);
    take_lines(in_.text());
    in_.clear();
    std::ranges::copy(rest, in_.room(rest.size()));
    in_.extend(rest.size());
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
    write_output(out_.text());
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
  std::size_t chunk_bytes_ = small_chunk_bytes;
  TextBlock in_;   ///< what was read and isn't relayed yet: the start of a line
  TextBlock out_;  ///< lines with their leads
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
