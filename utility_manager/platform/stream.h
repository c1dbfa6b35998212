#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <span>
#include <string>

namespace utility_manager::platform {

/// The read end of a child's output. Owns its descriptor; all members may be called from any
/// thread, and a descriptor is given back only when no read is under way.
class Stream {
 public:
  /// Takes over `descriptor`.
  explicit Stream(int descriptor);
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

  mutable std::mutex mutex_;
  int descriptor_;
  int readers_ = 0;
  bool closed_ = false;
};

}  // namespace utility_manager::platform
