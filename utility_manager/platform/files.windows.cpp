#include "utility_manager/platform/files.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/paths.h"
#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {
namespace {

/// Nobody is kept from reading, writing or replacing what is open.
Handle open(const std::string& path, DWORD access, DWORD creation,
            DWORD flags = FILE_ATTRIBUTE_NORMAL) {
  constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  return owned(
      ::CreateFileW(native_path(path).c_str(), access, share, nullptr, creation, flags, nullptr));
}

constexpr std::int64_t ticks_per_second = 10'000'000;
constexpr std::int64_t unix_epoch = 11'644'473'600;  // in seconds

std::int64_t nanoseconds(const LARGE_INTEGER& time) {
  const auto ticks = static_cast<std::uint64_t>(time.QuadPart - unix_epoch * ticks_per_second);
  return static_cast<std::int64_t>(ticks * 100);
}

std::uint64_t joined(DWORD high, DWORD low) {
  return std::uint64_t{high} << 32 | low;
}

struct Status {
  FileStamp stamp;
  double modification_time = 0;
  bool is_directory = false;
  bool is_regular = false;
};

std::optional<Status> status_of(const Handle& file) {
  if (!file) return std::nullopt;
  if (::GetFileType(native(file)) != FILE_TYPE_DISK) return Status();
  BY_HANDLE_FILE_INFORMATION place;
  FILE_BASIC_INFO times;
  if (!::GetFileInformationByHandle(native(file), &place) ||
      !::GetFileInformationByHandleEx(native(file), FileBasicInfo, &times, sizeof times)) {
    return std::nullopt;
  }
  const auto written = times.LastWriteTime.QuadPart;
  const bool is_directory = (place.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  return Status{
      .stamp = {.device = place.dwVolumeSerialNumber,
                .inode = joined(place.nFileIndexHigh, place.nFileIndexLow),
                .size = static_cast<std::int64_t>(joined(place.nFileSizeHigh, place.nFileSizeLow)),
                .modified = nanoseconds(times.LastWriteTime),
                .changed = nanoseconds(times.ChangeTime)},
      .modification_time = static_cast<double>(written / ticks_per_second - unix_epoch) +
                           1e-9 * static_cast<double>(written % ticks_per_second * 100),
      .is_directory = is_directory,
      .is_regular = !is_directory};
}

/// Directories are opened, too; links are followed.
std::optional<Status> look_at(const std::string& path) {
  if (path.find('\0') != path.npos) return std::nullopt;
  return status_of(open(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
}

/// Appends to `bytes` until the end of the file; gives an error number, 0 for none.
int read_to_end(const Handle& file, std::size_t limit, std::string& bytes) {
  char buffer[16 * 1024];
  for (;;) {
    DWORD count = 0;
    if (!::ReadFile(native(file), buffer, sizeof buffer, &count, nullptr)) return last_error();
    if (count == 0) return 0;
    bytes.append(buffer, count);
    if (bytes.size() > limit) return ERROR_FILE_TOO_LARGE;
  }
}

/// Reads a regular file and nothing else, so that it never waits for a writer.
int read_regular_file(const std::string& path, std::size_t limit, Directory::Content& content) {
  const Handle file = open(path, GENERIC_READ, OPEN_EXISTING);
  const auto status = status_of(file);
  if (!status) return last_error();
  if (!status->is_regular) return ERROR_BAD_FILE_TYPE;
  content.stamp = status->stamp;
  return read_to_end(file, limit, content.bytes);
}

int write_all(const Handle& file, std::string_view bytes) {
  constexpr std::size_t most = 1 << 30;
  while (!bytes.empty()) {
    const auto wanted = static_cast<DWORD>(std::min(bytes.size(), most));
    DWORD count = 0;
    if (!::WriteFile(native(file), bytes.data(), wanted, &count, nullptr)) return last_error();
    bytes.remove_prefix(count);
  }
  return 0;
}

void write_to(const std::string& path, DWORD access, DWORD creation, std::string_view bytes) {
  Handle file = open(path, access, creation);
  if (!file && last_error() == ERROR_FILE_EXISTS) throw FileExists(path);
  if (!file) throw SystemError(last_error(), path);
  const int failure = write_all(file, bytes);
  if (failure != 0) throw SystemError(failure, path);
  if (!file.close()) throw SystemError(last_error(), path);
}

/// Makes a call until it succeeds; gives an error number, 0 for none. Where somebody has the file
/// open it can't be replaced, and perhaps not removed; most are read and closed at once.
template <typename Call>
int once_not_open(Call call) {
  constexpr double longest_wait = 0.25;
  const Deadline deadline(longest_wait);
  while (!call()) {
    const int failure = last_error();
    const bool may_be_open = failure == ERROR_ACCESS_DENIED || failure == ERROR_SHARING_VIOLATION;
    if (!may_be_open || deadline.passed()) return failure;
    deadline.pause(std::chrono::milliseconds(5));
  }
  return 0;
}

}  // namespace

bool path_exists(const std::string& path) {
  return look_at(path).has_value();
}

bool is_regular_file(const std::string& path) {
  const auto status = look_at(path);
  return status && status->is_regular;
}

std::string read_file(const std::string& path) {
  Directory::Content content;
  constexpr auto unlimited = std::numeric_limits<std::size_t>::max();
  const int failure = read_regular_file(path, unlimited, content);
  if (failure != 0) throw SystemError(failure, path);
  return std::move(content.bytes);
}

void write_file(const std::string& path, std::string_view bytes) {
  write_to(path, GENERIC_WRITE, CREATE_ALWAYS, bytes);
}

void replace_file(const std::string& path, const std::string& beside, std::string_view bytes) {
  try {
    write_file(beside, bytes);
    const int failure = once_not_open([from = native_path(beside), to = native_path(path)] {
      return ::MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING);
    });
    if (failure != 0) throw SystemError(failure);
  } catch (const SystemError& failure) {
    ::DeleteFileW(wide(beside).c_str());
    throw SystemError(failure.code(), path);
  }
}

void create_file(const std::string& path, std::string_view bytes) {
  write_to(path, GENERIC_WRITE, CREATE_NEW, bytes);
}

void append_to_file(const std::string& path, std::string_view bytes) {
  write_to(path, FILE_APPEND_DATA, OPEN_EXISTING, bytes);
}

void remove_file(const std::string& path) {
  const int failure =
      once_not_open([native = native_path(path)] { return ::DeleteFileW(native.c_str()); });
  if (failure != 0) throw SystemError(failure, path);
}

void create_directories(const std::string& path) {
  const auto create = [native = native_path(path)] {
    return ::CreateDirectoryW(native.c_str(), nullptr) ? 0 : last_error();
  };
  int failure = create();
  const std::string parent = directory_part(path);
  if (failure == ERROR_PATH_NOT_FOUND && !parent.empty() && parent != path) {
    create_directories(parent);
    failure = create();
  }
  if (failure == 0) return;
  const auto status = look_at(path);
  if (!status || !status->is_directory) throw SystemError(failure, path);
}

std::optional<double> modification_time(const std::string& path) {
  const auto status = look_at(path);
  return status ? std::optional(status->modification_time) : std::nullopt;
}

SearchedDirectory::SearchedDirectory(std::string path) : path_(std::move(path)) {}

std::optional<double> SearchedDirectory::modification_time(const std::string& file) const {
  return platform::modification_time(join_paths(path_, file));
}

namespace {

std::wstring pattern_of(const std::string& path) {
  if (path.empty()) throw SystemError(ERROR_PATH_NOT_FOUND, path);
  return native_path(join_paths(path, "*"));
}

/// A walk over a directory. The system finds its first entry at once.
struct Walk {
  explicit Walk(const std::string& path)
      : search(::FindFirstFileW(pattern_of(path).c_str(), &entry)) {
    const bool is_empty = search == INVALID_HANDLE_VALUE && last_error() == ERROR_FILE_NOT_FOUND;
    if (search == INVALID_HANDLE_VALUE && !is_empty) throw SystemError(last_error(), path);
    has_entry = !is_empty;
  }
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;
  ~Walk() { ::FindClose(search); }

  WIN32_FIND_DATAW entry;
  const HANDLE search;
  bool has_entry = false;
  std::string name;
};

Walk& walk_of(void* listing) {
  return *static_cast<Walk*>(listing);
}

}  // namespace

Directory::Directory(const std::string& path) : path_(path), listing_(new Walk(path)) {}

Directory::~Directory() {
  delete &walk_of(listing_);
}

const char* Directory::next() {
  Walk& walk = walk_of(listing_);
  if (!walk.has_entry) return nullptr;
  walk.name = narrow(walk.entry.cFileName);
  walk.has_entry = ::FindNextFileW(walk.search, &walk.entry) != 0;
  if (!walk.has_entry && last_error() != ERROR_NO_MORE_FILES) {
    throw SystemError(last_error(), path_);
  }
  return walk.name.c_str();
}

FileStamp Directory::stamp() const {
  const auto status = look_at(path_);
  if (!status) throw SystemError(last_error(), path_);
  return status->stamp;
}

std::optional<FileStamp> Directory::stamp_of(const char* name) const {
  const auto status = look_at(join_paths(path_, name));
  return status && status->is_regular ? std::optional(status->stamp) : std::nullopt;
}

std::optional<Directory::Content> Directory::read(const char* name, std::size_t limit) const {
  Content content;
  if (read_regular_file(join_paths(path_, name), limit, content) != 0) return std::nullopt;
  return content;
}

}  // namespace utility_manager::platform
