#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "utility_manager/platform/temporary_file.h"

namespace utility_manager {

/// Bytes that grow at their end without filling the memory: the last `limits::spool_bytes` and
/// little more stay in it, what is older is moved to a temporary file. While that can't be written
/// all of it stays. To be protected by its owner, but that `write_oldest` may run beside `read`.
class Spool {
 public:
  static constexpr std::size_t page_bytes = 64 * 1024;

  std::uint64_t size() const { return size_; }

  /// Fails with `std::bad_alloc`, and has changed nothing then.
  void append(std::string_view bytes);

  /// Writes the oldest of what stays in memory without need to the file; false when there is
  /// nothing, or no room in the file. `drop_oldest` has to follow a success.
  bool write_oldest();
  void drop_oldest();

  /// The bytes from `offset` on, `count` of them where there are so many. Fails with
  /// `platform::SystemError` when the temporary file can't be read.
  std::string read(std::uint64_t offset, std::size_t count) const;

 private:
  void make_room(std::size_t count);

  std::uint64_t size_ = 0;
  std::uint64_t spilled_ = 0;      ///< so many lie in the file, in whole pages
  std::deque<std::string> pages_;  ///< what follows them; all but the last are full
  std::string spare_page_;
  platform::TemporaryFile file_;
};

}  // namespace utility_manager
