#pragma once

#define WIN32_LEAN_AND_MEAN 1
#define NOMINMAX 1
#define UNICODE 1

#include <string>
#include <string_view>

// clang-format off
#include <winsock2.h>  // before all others
#include <windows.h>
#include <bcrypt.h>
#include <shellapi.h>
#include <tlhelp32.h>
#include <winternl.h>
// clang-format on

#include "utility_manager/platform/handle.h"

/// The system's own headers, and what every use of them wants.
namespace utility_manager::platform {

inline HANDLE native(const Handle& handle) {
  return reinterpret_cast<HANDLE>(handle.value());
}

/// Takes over what a call of the system has given; null, too, is none.
inline Handle owned(HANDLE handle) {
  return handle ? Handle(reinterpret_cast<std::intptr_t>(handle)) : Handle();
}

inline int last_error() {
  return static_cast<int>(::GetLastError());
}

/// Between the core's texts and the system's UTF-16, without loss: a lone surrogate, which a file
/// name may hold, stands in three bytes, and a byte that is no UTF-8 as the surrogate that Python
/// puts in its place.
std::wstring wide(std::string_view text);
std::string narrow(std::wstring_view text);

/// The path from the root of its drive on; empty where there is none.
std::wstring full_path(const std::wstring& path);

/// A path for the system's calls: beyond the length that they take as it is, in the form that has
/// no limit. Fails with `SystemError` for one that holds a NUL.
std::wstring native_path(const std::string& path);

/// True while the process, or whatever else the handle is of, isn't signalled.
inline bool is_pending(const Handle& handle) {
  return ::WaitForSingleObject(native(handle), 0) == WAIT_TIMEOUT;
}

}  // namespace utility_manager::platform
