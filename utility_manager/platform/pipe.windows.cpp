#include "utility_manager/platform/pipe.h"

#include <atomic>
#include <string>

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {
namespace {

/// Only a pipe with a name can be waited for; nobody else can be the first to make this one.
std::wstring new_name() {
  static std::atomic<std::uint64_t> number = 0;
  return LR"(\\.\pipe\utility_manager.)" + std::to_wstring(::GetCurrentProcessId()) + L'.' +
         std::to_wstring(::GetTickCount64()) + L'.' + std::to_wstring(++number);
}

}  // namespace

Pipe make_pipe() {
  constexpr DWORD buffer_bytes = 64 * 1024;
  const std::wstring name = new_name();
  Pipe pipe;
  pipe.read_end = owned(::CreateNamedPipeW(
      name.c_str(), PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
      PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, 0, buffer_bytes, 0, nullptr));
  if (!pipe.read_end) throw SystemError(last_error());
  pipe.write_end =
      owned(::CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!pipe.write_end) throw SystemError(last_error());
  return pipe;
}

}  // namespace utility_manager::platform
