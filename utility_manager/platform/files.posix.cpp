#include "utility_manager/platform/files.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <limits>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/paths.h"

namespace utility_manager::platform {
namespace {

void refuse_nul(const std::string& path) {
  if (path.find('\0') != path.npos) throw SystemError(ENOENT, path);
}

bool look_at(const std::string& path, struct stat& status, int directory = AT_FDCWD) {
  return path.find('\0') == path.npos && ::fstatat(directory, path.c_str(), &status, 0) == 0;
}

std::optional<double> modification_time_below(int directory, const std::string& path) {
  struct stat status;
  if (!look_at(path, status, directory)) return std::nullopt;
  return static_cast<double>(status.st_mtim.tv_sec) +
         1e-9 * static_cast<double>(status.st_mtim.tv_nsec);
}

std::int64_t nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

FileStamp stamp_of(const struct stat& status) {
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .size = status.st_size,
          .modified = nanoseconds(status.st_mtim),
          .changed = nanoseconds(status.st_ctim)};
}

/// Appends to `bytes` until the end of the file; gives an error number, 0 for none.
int read_to_end(const Handle& file, std::size_t limit, std::string& bytes) {
  char buffer[16 * 1024];
  for (;;) {
    const ssize_t count = ::read(descriptor(file), buffer, sizeof buffer);
    if (count == 0) return 0;
    if (count > 0) bytes.append(buffer, static_cast<std::size_t>(count));
    if (bytes.size() > limit) return EFBIG;
    if (count < 0 && errno != EINTR) return errno;
  }
}

/// Reads a regular file and nothing else, so that it never waits for a writer.
int read_regular_file(int directory, const char* path, std::size_t limit,
                      Directory::Content& content) {
  const Handle file(::openat(directory, path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file) return errno;
  struct stat status;
  if (::fstat(descriptor(file), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  content.stamp = stamp_of(status);
  return read_to_end(file, limit, content.bytes);
}

int write_all(const Handle& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor(file), bytes.data(), bytes.size());
    if (count >= 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    if (count < 0 && errno != EINTR) return errno;
  }
  return 0;
}

constexpr mode_t owner_only = 0600;

void write_to(const std::string& path, int flags, mode_t mode, std::string_view bytes) {
  refuse_nul(path);
  Handle file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | flags, mode));
  if (!file && (flags & O_EXCL) && errno == EEXIST) throw FileExists(path);
  if (!file) throw SystemError(errno, path);
  const int failure = write_all(file, bytes);
  if (failure != 0) throw SystemError(failure, path);
  if (!file.close()) throw SystemError(errno, path);
}

}  // namespace

bool path_exists(const std::string& path) {
  struct stat status;
  return look_at(path, status);
}

bool is_regular_file(const std::string& path) {
  struct stat status;
  return look_at(path, status) && S_ISREG(status.st_mode);
}

std::string read_file(const std::string& path) {
  refuse_nul(path);
  Directory::Content content;
  constexpr auto unlimited = std::numeric_limits<std::size_t>::max();
  const int failure = read_regular_file(AT_FDCWD, path.c_str(), unlimited, content);
  if (failure != 0) throw SystemError(failure, path);
  return std::move(content.bytes);
}

void write_file(const std::string& path, std::string_view bytes) {
  write_to(path, O_CREAT | O_TRUNC | O_NONBLOCK, 0666, bytes);
}

void replace_file(const std::string& path, const std::string& beside, std::string_view bytes) {
  try {
    write_to(beside, O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK, owner_only, bytes);
    if (::rename(beside.c_str(), path.c_str()) != 0) throw SystemError(errno);
  } catch (const SystemError& failure) {
    ::unlink(beside.c_str());
    throw SystemError(failure.code(), path);
  }
}

void create_file(const std::string& path, std::string_view bytes) {
  write_to(path, O_CREAT | O_EXCL, owner_only, bytes);
}

void append_to_file(const std::string& path, std::string_view bytes) {
  write_to(path, O_APPEND | O_NOFOLLOW | O_NONBLOCK, 0, bytes);
}

void remove_file(const std::string& path) {
  refuse_nul(path);
  if (::unlink(path.c_str()) != 0) throw SystemError(errno, path);
}

void create_directories(const std::string& path) {
  refuse_nul(path);
  constexpr mode_t mode = 0777;
  if (::mkdir(path.c_str(), mode) == 0) return;
  int failure = errno;
  const std::string parent = directory_part(path);
  if (failure == ENOENT && !parent.empty() && parent != path) {
    create_directories(parent);
    if (::mkdir(path.c_str(), mode) == 0) return;
    failure = errno;
  }
  struct stat status;
  if (!look_at(path, status) || !S_ISDIR(status.st_mode)) throw SystemError(failure, path);
}

std::optional<double> modification_time(const std::string& path) {
  return modification_time_below(AT_FDCWD, path);
}

SearchedDirectory::SearchedDirectory(std::string path) : path_(std::move(path)) {
  if (path_.find('\0') != path_.npos) return;
  handle_ = above_standard(Handle(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

std::optional<double> SearchedDirectory::modification_time(const std::string& file) const {
  if (file.empty() || !handle_) return platform::modification_time(join_paths(path_, file));
  return modification_time_below(descriptor(handle_), file);
}

Directory::Directory(const std::string& path)
    : path_(path), listing_(path.find('\0') == path.npos ? ::opendir(path.c_str()) : nullptr) {
  refuse_nul(path);
  if (listing_ == nullptr) throw SystemError(errno, path);
}

Directory::~Directory() {
  ::closedir(static_cast<DIR*>(listing_));
}

const char* Directory::next() {
  errno = 0;
  const dirent* const entry = ::readdir(static_cast<DIR*>(listing_));
  if (entry == nullptr && errno != 0) throw SystemError(errno, path_);
  return entry ? entry->d_name : nullptr;
}

FileStamp Directory::stamp() const {
  struct stat status;
  if (::fstat(::dirfd(static_cast<DIR*>(listing_)), &status) != 0) throw SystemError(errno, path_);
  return platform::stamp_of(status);
}

std::optional<FileStamp> Directory::stamp_of(const char* name) const {
  struct stat status;
  const int directory = ::dirfd(static_cast<DIR*>(listing_));
  if (::fstatat(directory, name, &status, 0) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return platform::stamp_of(status);
}

std::optional<Directory::Content> Directory::read(const char* name, std::size_t limit) const {
  Content content;
  const int directory = ::dirfd(static_cast<DIR*>(listing_));
  if (read_regular_file(directory, name, limit, content) != 0) return std::nullopt;
  return content;
}

DirectoryLock::DirectoryLock(const std::string& path, double seconds)
    : directory_(locked_directory(path, LOCK_EX, Deadline(seconds))) {}

DirectoryLock::~DirectoryLock() {
  // A forked child may have the descriptor, too.
  if (is_held()) ::flock(descriptor(directory_), LOCK_UN);
}

}  // namespace utility_manager::platform
