#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "utility_manager/platform/handle.h"

namespace utility_manager::platform {

class Deadline;

/// The read end of a child's output. Owns its handle; all members may be called from any
/// thread, and the handle is given back only when no read is under way.
class Stream {
 public:
  explicit Stream(Handle handle);
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream();

  /// Waits for bytes and gives their number; 0 at the end of the stream, on a failed read, and when
  /// the stream is closed.
  std::size_t read_some(std::span<char> buffer);

  /// The same, waiting at most `seconds`; nothing when they have passed first.
  std::optional<std::size_t> read_some(std::span<char> buffer, double seconds);

  /// What can still be read until the end of the stream, at most `limit` bytes, waiting at most
  /// `seconds` in all: a descendant of the child may hold the stream open for ever.
  std::string read_rest(std::size_t limit, double seconds);

  void close();
  bool closed() const;

 private:
  class Reading;

  /// Between a look and a read another reader may take the bytes, and then the wait goes on. Gives
  /// nothing when the deadline has passed first; 0 at the end and for a failed read.
  std::optional<std::size_t> read_before(std::span<char> buffer, const Deadline& deadline);

  mutable std::mutex mutex_;
  Handle handle_;  ///< set up by the constructor so that a read doesn't block
  int readers_ = 0;
  bool closed_ = false;
};

}  // namespace utility_manager::platform
