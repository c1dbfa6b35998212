#include "utility_manager/output_relay.h"

#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/line_writer.h"
#include "utility_manager/timings.h"
#include "values/text.h"

namespace utility_manager {
namespace {

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
      deliver();
    }
    take_line(std::exchange(pending_, {}));
    deliver();
    stream_->close();
    if (buffer_) buffer_->end();
  }

 private:
  void feed(std::string_view bytes) {
    for (;;) {
      const auto end = bytes.find('\n');
      if (end == bytes.npos) break;
      if (pending_.empty()) {
        take_line(bytes.substr(0, end));
      } else {
        pending_ += bytes.substr(0, end);
        take_line(std::exchange(pending_, {}));
      }
      bytes.remove_prefix(end + 1);
    }
    pending_ += bytes;
  }

  void take_line(std::string_view bytes) {
    const auto start = out_.size();
    out_ += lead_;
    const auto text = out_.size();
    values::append_decodable(out_, bytes);
    const auto line = values::strip_end(std::string_view(out_).substr(text));
    if (line.empty()) {
      out_.resize(start);
      return;
    }
    out_.resize(text + line.size());
    if (buffer_) lines_.emplace_back(out_, text);
    out_ += '\n';
  }

  /// The relay comes first, the buffer second.
  void deliver() {
    if (writable_ && !out_.empty()) writable_ = platform::write_lines(out_);
    if (out_.capacity() > 4 * timings::relay_chunk_bytes) out_ = {};
    out_.clear();
    if (!lines_.empty()) buffer_->append(std::exchange(lines_, {}));
  }

  const std::shared_ptr<platform::Stream> stream_;
  const std::string lead_;
  const std::shared_ptr<StderrBuffer> buffer_;
  std::string pending_;
  std::string out_;
  std::vector<std::string> lines_;
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
