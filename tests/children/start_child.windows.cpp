#include "tests/children/start_child.h"

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/proc_table.h"
#include "utility_manager/platform/win32.windows.h"

namespace utility_manager {

int code_of(platform::Signal) {
  return 1;
}

void wait_until_ended(const platform::ProcessHandle& child) {
  const HANDLE process = ::OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(child.pid()));
  if (!process) return;
  ::WaitForSingleObject(process, INFINITE);
  ::CloseHandle(process);
}

bool is_collected_late() {
  return false;
}

namespace {

/// A file or directory whose times are to be had.
platform::Handle opened(const std::string& path) {
  return platform::owned(
      ::CreateFileW(platform::wide(path).c_str(), FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

void set_time(const std::string& path, const FILETIME& time) {
  if (!::SetFileTime(platform::native(opened(path)), nullptr, nullptr, &time)) {
    throw platform::SystemError(platform::last_error(), path);
  }
}

}  // namespace

void set_modification_time(const std::string& path, double time) {
  constexpr double from_1601_to_1970 = 11'644'473'600;
  ULARGE_INTEGER ticks{};
  ticks.QuadPart = static_cast<ULONGLONG>((time + from_1601_to_1970) * 1e7);
  set_time(path, {.dwLowDateTime = ticks.LowPart, .dwHighDateTime = ticks.HighPart});
}

void change_unseen(const std::string& path, const std::function<void()>& change) {
  FILETIME time{};
  ::GetFileTime(platform::native(opened(path)), nullptr, nullptr, &time);
  change();
  set_time(path, time);
}

bool has_no_children() {
  return platform::descendants_in(platform::process_rows(), own_id()).empty();
}

bool make_link(const std::string&, const std::string&) {
  return false;  // for administrators alone
}

bool make_special_file(const std::string&) {
  return false;
}

const char* interpreter() {
  return "python";
}

namespace {

DWORD name_of(int number) {
  return STD_INPUT_HANDLE - static_cast<DWORD>(number);
}

}  // namespace

bool FullDisk::is_possible() {
  return false;
}

std::uint64_t FullDisk::limit_files(std::uint64_t) {
  return 0;
}

StandardStream::StandardStream(int number, const platform::Handle& target)
    : number_(number), original_(reinterpret_cast<std::intptr_t>(::GetStdHandle(name_of(number)))) {
  change(target);
}

StandardStream::~StandardStream() {
  change(original_);
  original_.release();
}

void StandardStream::change(const platform::Handle& target) const {
  ::SetStdHandle(name_of(number_), reinterpret_cast<HANDLE>(target.value()));
}

void StandardStream::refuse_to_wait() const {}

int open_handles() {
  DWORD count = 0;
  ::GetProcessHandleCount(::GetCurrentProcess(), &count);
  return static_cast<int>(count);
}

void Reaper::take_orphans(bool) {}

}  // namespace utility_manager
