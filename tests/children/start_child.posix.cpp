#include "tests/children/start_child.h"

#include <cmath>
#include <filesystem>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/failures.h"

namespace utility_manager {

int code_of(platform::Signal end) {
  return end == platform::Signal::kill ? -SIGKILL : -SIGTERM;
}

void wait_until_ended(const platform::ProcessHandle& child) {
  siginfo_t result{};
  ::waitid(P_PID, static_cast<id_t>(child.pid()), &result, WEXITED | WNOWAIT);
}

bool is_collected_late() {
  return true;
}

void set_modification_time(const std::string& path, double time) {
  const double second = std::floor(time);
  const timespec moment = {static_cast<time_t>(second), static_cast<long>((time - second) * 1e9)};
  const timespec times[] = {moment, moment};
  if (::utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) throw platform::SystemError(errno, path);
}

void change_unseen(const std::string& path, const std::function<void()>& change) {
  const auto time = std::filesystem::last_write_time(path);
  change();
  std::filesystem::last_write_time(path, time);
}

bool has_no_children() {
  return ::waitpid(-1, nullptr, WNOHANG) == -1;
}

bool make_link(const std::string& target, const std::string& path) {
  std::filesystem::create_symlink(target, path);
  return true;
}

bool make_special_file(const std::string& path) {
  if (::mkfifo(path.c_str(), 0600) != 0) throw platform::SystemError(errno, path);
  return true;
}

const char* interpreter() {
  return "/usr/bin/python3";
}

bool FullDisk::is_possible() {
  return true;
}

std::uint64_t FullDisk::limit_files(std::uint64_t size) {
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  const auto before = limit.rlim_cur;
  limit.rlim_cur = size;
  ::setrlimit(RLIMIT_FSIZE, &limit);
  return before;
}

StandardStream::StandardStream(int number, const platform::Handle& target)
    : number_(number), original_(::fcntl(number, F_DUPFD_CLOEXEC, 3)) {
  change(target);
}

StandardStream::~StandardStream() {
  change(original_);
}

void StandardStream::change(const platform::Handle& target) const {
  ::dup2(platform::descriptor(target), number_);
}

void StandardStream::refuse_to_wait() const {
  ::fcntl(number_, F_SETFL, O_WRONLY | O_NONBLOCK);
}

int open_handles() {
  const std::filesystem::directory_iterator entries("/dev/fd");
  return static_cast<int>(std::distance(begin(entries), end(entries)));
}

}  // namespace utility_manager
