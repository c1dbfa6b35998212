// Stands in for Windows' program where Wine's own doesn't know /T yet: taskkill /F /T /PID ID.
#include <cstdlib>
#include <string_view>

#include "utility_manager/platform/proc_table.h"
#include "utility_manager/platform/win32.windows.h"

namespace platform = utility_manager::platform;

namespace {

bool end(std::int64_t pid) {
  const platform::Handle process =
      platform::owned(::OpenProcess(PROCESS_TERMINATE, FALSE, static_cast<DWORD>(pid)));
  return process && ::TerminateProcess(platform::native(process), 1);
}

}  // namespace

int main(int count, char** words) {
  constexpr int no_such_process = 128;
  for (int i = 1; i + 1 < count; ++i) {
    if (std::string_view(words[i]) != "/PID") continue;
    const auto root = std::strtoll(words[i + 1], nullptr, 10);
    const auto rows = platform::process_rows();
    if (!end(root)) return no_such_process;
    for (const auto& row : platform::descendants_in(rows, root)) end(row.pid);
    return 0;
  }
  return 1;
}
