#include "tests/fakes/pipe_stream.h"

#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::fakes {

void PipeStream::write(std::string_view bytes) const {
  DWORD count = 0;
  ::WriteFile(platform::native(pipe_.write_end), bytes.data(), static_cast<DWORD>(bytes.size()),
              &count, nullptr);
}

}  // namespace utility_manager::fakes
