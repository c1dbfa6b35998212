#include "utility_manager/platform/directory_use.h"

#include <chrono>
#include <utility>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/win32.windows.h"

/// What is said of a directory is said by named objects of the system, which go with the last
/// process that holds them: a directory itself can't be locked, and a file in it would stay behind.
namespace utility_manager::platform {
namespace {

/// The object's name is the directory's place on its disk, however the path is spelt. Empty where
/// there is no such directory.
std::wstring object_name(const wchar_t* realm, const wchar_t* purpose, const std::string& path) {
  BY_HANDLE_FILE_INFORMATION place;
  const Handle directory =
      owned(::CreateFileW(native_path(path).c_str(), FILE_READ_ATTRIBUTES,
                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                          OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (!directory || !::GetFileInformationByHandle(native(directory), &place)) return {};
  if (!(place.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) return {};
  return std::wstring(realm).append(L"utility_manager.").append(purpose) + L'.' +
         std::to_wstring(place.dwVolumeSerialNumber) + L'.' +
         std::to_wstring(place.nFileIndexHigh) + L'.' + std::to_wstring(place.nFileIndexLow);
}

}  // namespace

std::shared_ptr<const void> use_directory(const std::string& path) {
  const auto name = object_name(L"Global\\", L"use", path);
  if (name.empty()) return nullptr;
  Handle use = owned(::CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
  return use ? std::make_shared<const Handle>(std::move(use)) : nullptr;
}

bool is_directory_used(const std::string& path) {
  const auto name = object_name(L"Global\\", L"use", path);
  if (name.empty()) return false;
  const Handle use = owned(::OpenEventW(SYNCHRONIZE, FALSE, name.c_str()));
  return use || last_error() == ERROR_ACCESS_DENIED;  // another user's
}

DirectoryLock::DirectoryLock(const std::string& path, double seconds) {
  const auto name = object_name(LR"(\\.\pipe\)", L"lock", path);
  if (name.empty()) return;
  const Deadline deadline(seconds);
  // The first instance of a pipe has one holder. A mutex would let its own thread in again.
  constexpr DWORD mode = PIPE_ACCESS_INBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE;
  const auto take = [&] {
    directory_ = owned(
        ::CreateNamedPipeW(name.c_str(), mode, PIPE_REJECT_REMOTE_CLIENTS, 1, 0, 0, 0, nullptr));
  };
  for (take(); !directory_ && !deadline.passed(); take()) {
    deadline.pause(std::chrono::milliseconds(1));
  }
}

DirectoryLock::~DirectoryLock() = default;

}  // namespace utility_manager::platform
