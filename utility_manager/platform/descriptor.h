#pragma once

#include <utility>

namespace utility_manager::platform {

class Deadline;

/// Owns a file descriptor; empty when its number is negative.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }
  int release() { return std::exchange(number_, -1); }

  /// Gives the descriptor back; false when what was written to it is lost.
  bool close();

 private:
  int number_ = -1;
};

/// The same open file at a number from 3 up, since 0 to 2 are free in a client that has closed its
/// standard streams. Empty, with `errno` set, when there is no such number; passes an empty one on.
Descriptor above_standard(Descriptor descriptor);

/// Waits until `descriptor` is ready for `events` of `poll`, or has ended, or is in error; false
/// when the deadline has passed first.
bool wait_until_ready(int descriptor, short events, const Deadline& deadline);

}  // namespace utility_manager::platform
