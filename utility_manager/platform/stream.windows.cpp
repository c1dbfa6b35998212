#include "utility_manager/platform/stream.h"

#include <algorithm>
#include <utility>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {

Stream::Stream(Handle handle) : handle_(std::move(handle)) {}

std::optional<std::size_t> Stream::read_before(std::span<char> buffer, const Deadline& deadline) {
  constexpr std::size_t most = 1 << 30;
  const auto wanted = static_cast<DWORD>(std::min(buffer.size(), most));
  const Handle ended = owned(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!ended) return 0;
  for (;;) {
    OVERLAPPED reading{};
    reading.hEvent = native(ended);
    if (!::ReadFile(native(handle_), buffer.data(), wanted, nullptr, &reading) &&
        last_error() != ERROR_IO_PENDING) {
      return 0;
    }
    const auto limit = static_cast<DWORD>(deadline.milliseconds_left());
    if (::WaitForSingleObject(native(ended), limit) == WAIT_TIMEOUT) {
      ::CancelIoEx(native(handle_), &reading);
    }
    DWORD count = 0;
    if (::GetOverlappedResult(native(handle_), &reading, &count, TRUE)) {
      if (count > 0 || wanted == 0) return count;
    } else {
      if (last_error() != ERROR_OPERATION_ABORTED) return 0;
      return std::nullopt;
    }
    // The child has written nothing, in a write of its own.
  }
}

}  // namespace utility_manager::platform
