#include "tests/children/start_child.h"

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
