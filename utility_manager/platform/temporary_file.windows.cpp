#include "utility_manager/platform/temporary_file.h"

#include <algorithm>
#include <array>

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {
namespace {

/// It has a name while it is open, and none to open it again.
Handle open_somewhere() {
  std::array<wchar_t, MAX_PATH + 1> directory;
  std::array<wchar_t, MAX_PATH + 1> path;
  const DWORD size = ::GetTempPathW(static_cast<DWORD>(directory.size()), directory.data());
  if (size == 0 || size >= directory.size()) return {};
  if (::GetTempFileNameW(directory.data(), L"utm", 0, path.data()) == 0) return {};
  Handle file = owned(::CreateFileW(path.data(), GENERIC_READ | GENERIC_WRITE | DELETE,
                                    FILE_SHARE_DELETE, nullptr, TRUNCATE_EXISTING,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  if (!file) ::DeleteFileW(path.data());
  return file;
}

OVERLAPPED at(std::uint64_t offset) {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(offset);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return place;
}

DWORD at_once(std::size_t size) {
  constexpr std::size_t most = 1 << 30;
  return static_cast<DWORD>(std::min(size, most));
}

}  // namespace

bool TemporaryFile::write(std::uint64_t offset, std::string_view bytes) {
  if (!file_) file_ = open_somewhere();
  if (!file_) return false;
  while (!bytes.empty()) {
    OVERLAPPED place = at(offset);
    DWORD count = 0;
    if (!::WriteFile(native(file_), bytes.data(), at_once(bytes.size()), &count, &place)) {
      return false;
    }
    bytes.remove_prefix(count);
    offset += count;
  }
  return true;
}

void TemporaryFile::read(std::uint64_t offset, std::span<char> bytes) const {
  while (!bytes.empty()) {
    OVERLAPPED place = at(offset);
    DWORD count = 0;
    if (!::ReadFile(native(file_), bytes.data(), at_once(bytes.size()), &count, &place)) {
      throw SystemError(last_error());
    }
    bytes = bytes.subspan(count);
    offset += count;
  }
}

}  // namespace utility_manager::platform
