#include "utility_manager/platform/failures.h"

#include <array>

#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {
namespace {

/// In English; where a system hasn't learnt it, in its own language.
std::wstring message_of(DWORD code) {
  constexpr WORD english = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
  constexpr DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  std::array<wchar_t, 1024> text;
  for (const WORD language : {english, WORD{0}}) {
    const DWORD size = ::FormatMessageW(flags, nullptr, code, language, text.data(),
                                        static_cast<DWORD>(text.size()), nullptr);
    if (size != 0) return {text.data(), size};
  }
  return {};
}

}  // namespace

std::string error_text(int code) {
  std::wstring message = message_of(static_cast<DWORD>(code));
  while (!message.empty() && (message.back() <= L' ' || message.back() == L'.')) {
    message.pop_back();
  }
  if (message.empty()) message = L"Windows Error " + std::to_wstring(code);
  return "[WinError " + std::to_string(code) + "] " + narrow(message);
}

NoSuchProcess::NoSuchProcess() : SystemError(ERROR_INVALID_PARAMETER) {}

AccessDenied::AccessDenied() : SystemError(ERROR_ACCESS_DENIED) {}

FileExists::FileExists(const std::string& path) : SystemError(ERROR_FILE_EXISTS, path) {}

}  // namespace utility_manager::platform
