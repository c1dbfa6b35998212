#include "utility_manager/output_relay.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/line_writer.h"
#include "utility_manager/timings.h"
#include "values/text.h"

namespace utility_manager {
namespace {

/// Lines in a row, each with its line end: a string whose growth costs a line next to nothing.
class LineBlock {
 public:
  void add(std::string_view lead, std::string_view line) {
    if (capacity_ - size_ <= lead.size() + line.size()) grow(lead.size() + line.size() + 1);
    append(lead);
    append(line);
    bytes_[size_++] = '\n';
  }

  bool empty() const { return size_ == 0; }
  std::string_view text() const { return {bytes_.get(), size_}; }

  /// Gives unusually much memory back.
  void clear() {
    size_ = 0;
    if (capacity_ <= 4 * timings::relay_chunk_bytes) return;
    bytes_.reset();
    capacity_ = 0;
  }

 private:
  void append(std::string_view text) {
    std::memcpy(bytes_.get() + size_, text.data(), text.size());
    size_ += text.size();
  }

  void grow(std::size_t needed) {
    capacity_ = std::max(size_ + needed, 2 * capacity_);
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity_);
    if (size_ != 0) std::memcpy(bytes.get(), bytes_.get(), size_);
    bytes_ = std::move(bytes);
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
    const auto chunk = std::make_unique_for_overwrite<char[]>(timings::relay_chunk_bytes);
    while (const auto count = stream_->read_some({chunk.get(), timings::relay_chunk_bytes})) {
      feed({chunk.get(), count});
    }
    if (!pending_.empty()) feed("\n");
    stream_->close();
    if (buffer_) buffer_->end();
  }

 private:
  void feed(std::string_view bytes) {
    const auto end = bytes.rfind('\n');
    auto lines = bytes.substr(0, end + 1);  // none without a line end
    if (!pending_.empty() && !lines.empty()) {
      const auto first = lines.find('\n') + 1;
      pending_ += lines.substr(0, first);
      take_lines(std::exchange(pending_, {}));
      lines.remove_prefix(first);
    }
    take_lines(lines);
    pending_ += bytes.substr(end + 1);
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
      if (!line.empty()) out_.add(lead_, line);
      lines.remove_prefix(end + 1);
    }
    return unchanged;
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
  std::string pending_;
  LineBlock out_;
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
