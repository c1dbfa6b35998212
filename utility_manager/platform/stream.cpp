#include "utility_manager/platform/stream.h"

#include <algorithm>

#include "utility_manager/platform/deadline.h"

namespace utility_manager::platform {

/// Keeps the handle open while a read is under way; false when the stream is closed.
class Stream::Reading {
 public:
  explicit Reading(Stream& stream) : stream_(stream) {
    const std::lock_guard guard(stream_.mutex_);
    entered_ = !stream_.closed_;
    if (entered_) ++stream_.readers_;
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
  ~Reading() {
    if (!entered_) return;
    const std::lock_guard guard(stream_.mutex_);
    if (--stream_.readers_ == 0 && stream_.closed_) stream_.handle_.close();
  }

  explicit operator bool() const { return entered_; }

 private:
  Stream& stream_;
  bool entered_ = false;
};

Stream::~Stream() {
  close();
}

std::size_t Stream::read_some(std::span<char> buffer) {
  const Reading reading(*this);
  if (!reading) return 0;
  return read_before(buffer, Deadline(std::nullopt)).value_or(0);
}

std::optional<std::size_t> Stream::read_some(std::span<char> buffer, double seconds) {
  const Reading reading(*this);
  if (!reading) return 0;
  return read_before(buffer, Deadline(seconds));
}

std::string Stream::read_rest(std::size_t limit, double seconds) {
  std::string rest;
  const Reading reading(*this);
  if (!reading) return rest;
  const Deadline deadline(seconds);
  char buffer[4096];
  while (rest.size() < limit) {
    const std::size_t wanted = std::min(sizeof buffer, limit - rest.size());
    const auto count = read_before({buffer, wanted}, deadline);
    if (count.value_or(0) == 0) break;
    rest.append(buffer, *count);
  }
  return rest;
}

void Stream::close() {
  const std::lock_guard guard(mutex_);
  if (closed_) return;
  closed_ = true;
  if (readers_ == 0) handle_.close();
}

bool Stream::closed() const {
  const std::lock_guard guard(mutex_);
  return closed_;
}

}  // namespace utility_manager::platform
