#pragma once

#include <memory>
#include <string_view>

#include "utility_manager/platform/pipe.h"
#include "utility_manager/platform/stream.h"

namespace utility_manager::fakes {

/// A stream whose other end a test holds.
class PipeStream {
 public:
  const std::shared_ptr<platform::Stream>& stream() const { return stream_; }

  /// All at once, so that it is read at once: at most PIPE_BUF bytes where that matters.
  void write(std::string_view bytes) const;

  void end() { pipe_.write_end.close(); }

 private:
  platform::Pipe pipe_ = platform::make_pipe();
  std::shared_ptr<platform::Stream> stream_ =
      std::make_shared<platform::Stream>(std::move(pipe_.read_end));
};

}  // namespace utility_manager::fakes
