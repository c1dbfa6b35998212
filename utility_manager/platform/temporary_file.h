#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "utility_manager/platform/handle.h"

namespace utility_manager::platform {

/// A file that nobody else can open, which goes with its object or with the process. It lies where
/// TMPDIR says, else in /tmp or /var/tmp, on Windows where the system keeps such files, and is made
/// when it's first written to. Writes belong to one thread at a time; reads may be made beside
/// them.
class TemporaryFile {
 public:
  /// False when the file can't be had or not all of `bytes` written; then it may be tried again.
  bool write(std::uint64_t offset, std::string_view bytes);

  /// Reads what has been written. Fails with `SystemError`.
  void read(std::uint64_t offset, std::span<char> bytes) const;

 private:
  Handle file_;
};

}  // namespace utility_manager::platform
