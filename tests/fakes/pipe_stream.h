#pragma once

#include <memory>
#include <string_view>

#include <unistd.h>

#include "utility_manager/platform/spawn.h"
#include "utility_manager/platform/stream.h"

namespace utility_manager::fakes {

/// A stream whose other end a test holds.
class PipeStream {
 public:
  const std::shared_ptr<platform::Stream>& stream() const { return stream_; }

  /// All at once, so that it is read at once: at most PIPE_BUF bytes where that matters.
  void write(std::string_view bytes) const {
    while (!bytes.empty()) {
      const auto count = ::write(pipe_.write_end.number(), bytes.data(), bytes.size());
      bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : bytes.size());
    }
  }

  void end() { pipe_.write_end.close(); }

 private:
  platform::Pipe pipe_ = platform::make_pipe();
  std::shared_ptr<platform::Stream> stream_ =
      std::make_shared<platform::Stream>(pipe_.read_end.release());
};

}  // namespace utility_manager::fakes
