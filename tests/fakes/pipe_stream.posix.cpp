#include "tests/fakes/pipe_stream.h"

#include <unistd.h>

#include "utility_manager/platform/descriptor.posix.h"

namespace utility_manager::fakes {

void PipeStream::write(std::string_view bytes) const {
  while (!bytes.empty()) {
    const auto count = ::write(platform::descriptor(pipe_.write_end), bytes.data(), bytes.size());
    bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : bytes.size());
  }
}

}  // namespace utility_manager::fakes
