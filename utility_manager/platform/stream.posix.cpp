#include "utility_manager/platform/stream.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/descriptor.h"

namespace utility_manager::platform {
namespace {

/// The descriptor doesn't block: between a look and a read another reader may take the bytes. Gives
/// nothing when the deadline has passed first; 0 at the end and for a failed read.
std::optional<std::size_t> read_before(int descriptor, std::span<char> buffer,
                                       const Deadline& deadline) {
  for (;;) {
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return 0;
    if (!wait_until_ready(descriptor, POLLIN, deadline)) return std::nullopt;
  }
}

}  // namespace

/// Keeps the descriptor open while a read is under way; false when the stream is closed.
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
    if (--stream_.readers_ == 0 && stream_.closed_) ::close(stream_.descriptor_);
  }

  explicit operator bool() const { return entered_; }

 private:
  Stream& stream_;
  bool entered_ = false;
};

Stream::Stream(int descriptor) : descriptor_(descriptor) {
  ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

Stream::~Stream() {
  close();
}

std::size_t Stream::read_some(std::span<char> buffer) {
  const Reading reading(*this);
  if (!reading) return 0;
  return read_before(descriptor_, buffer, Deadline(std::nullopt)).value_or(0);
}

std::optional<std::size_t> Stream::read_some(std::span<char> buffer, double seconds) {
  const Reading reading(*this);
  if (!reading) return 0;
  return read_before(descriptor_, buffer, Deadline(seconds));
}

std::string Stream::read_rest(std::size_t limit, double seconds) {
  std::string rest;
  const Reading reading(*this);
  if (!reading) return rest;
  const Deadline deadline(seconds);
  char buffer[4096];
  while (rest.size() < limit) {
    const std::size_t wanted = std::min(sizeof buffer, limit - rest.size());
    const auto count = read_before(descriptor_, {buffer, wanted}, deadline);
    if (count.value_or(0) == 0) break;
    rest.append(buffer, *count);
  }
  return rest;
}

void Stream::close() {
  const std::lock_guard guard(mutex_);
  if (closed_) return;
  closed_ = true;
  if (readers_ == 0) ::close(descriptor_);
}

bool Stream::closed() const {
  const std::lock_guard guard(mutex_);
  return closed_;
}

}  // namespace utility_manager::platform
