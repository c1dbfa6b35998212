#pragma once

#include <cstdint>
#include <utility>

namespace utility_manager::platform {

/// Owns what the system gives for a file, a pipe, a directory or a process: a descriptor on POSIX,
/// a HANDLE on Windows. Empty at -1.
class Handle {
 public:
  Handle() = default;
  explicit Handle(std::intptr_t value) : value_(value) {}
  Handle(Handle&& other) noexcept : value_(other.release()) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Handle() { close(); }

  explicit operator bool() const { return value_ != -1; }
  std::intptr_t value() const { return value_; }
  std::intptr_t release() { return std::exchange(value_, -1); }

  /// Gives it back; false when what was written to it is lost.
  bool close();

 private:
  std::intptr_t value_ = -1;
};

}  // namespace utility_manager::platform
