#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "utility_manager/platform/handle.h"

/// Files and directories. A path that holds a NUL byte names nothing. Failures are `SystemError`.
/// A file for its owner alone is on Windows for whom its directory is.
namespace utility_manager::platform {

/// Anything on disk; a regular file. Links are followed, and what can't be looked at isn't there.
bool path_exists(const std::string& path);
bool is_regular_file(const std::string& path);

std::string read_file(const std::string& path);

/// Creates or truncates the file and writes it in place.
void write_file(const std::string& path, std::string_view bytes);

/// Puts a file of these bytes, for its owner alone, in the place of `path`: nobody ever sees a part
/// of it. `beside` is the path that it has until then, which goes when that fails.
void replace_file(const std::string& path, const std::string& beside, std::string_view bytes);

/// Creates the file for its owner alone, with these bytes. Fails with `FileExists`.
void create_file(const std::string& path, std::string_view bytes);

/// Adds to the end of a file that exists.
void append_to_file(const std::string& path, std::string_view bytes);

void remove_file(const std::string& path);

/// Creates the directory and its parents; an existing directory is no failure.
void create_directories(const std::string& path);

/// The time of last modification in seconds since the Unix epoch, the float that Python gives;
/// nothing where `path_exists` is false.
std::optional<double> modification_time(const std::string& path);

/// A directory to look for many files in: the way to it is gone once.
class SearchedDirectory {
 public:
  /// One that can't be opened is looked into by its path.
  explicit SearchedDirectory(std::string path);

  const std::string& path() const { return path_; }

  /// The same for the relative path of a file below it; an empty one is the directory itself.
  std::optional<double> modification_time(const std::string& file) const;

 private:
  std::string path_;
  Handle handle_;
};

/// What tells a file from what it was before. Times in nanoseconds since the Unix epoch.
struct FileStamp {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size = 0;
  std::int64_t modified = 0;
  std::int64_t changed = 0;

  bool operator==(const FileStamp&) const = default;

  /// True when every later change must show in the stamp. File systems count time in steps, of up
  /// to two seconds: a file that has just changed may change again and look the same.
  bool is_settled(double now) const;
};

/// An open directory, to be walked once. A link stands for what it leads to.
class Directory {
 public:
  /// Fails when the directory can't be opened.
  explicit Directory(const std::string& path);
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory();

  /// The name of the next entry, in the system's order, valid until the next call; null at the end.
  /// Fails when the directory can't be read.
  const char* next();

  /// The directory's own, in which every entry shows that comes, goes or is replaced.
  FileStamp stamp() const;

  /// Nothing for what is no regular file.
  std::optional<FileStamp> stamp_of(const char* name) const;

  struct Content {
    FileStamp stamp;  ///< from before the bytes were read
    std::string bytes;
  };

  /// Nothing for what is no regular file, is larger than `limit` bytes or can't be read.
  std::optional<Content> read(const char* name, std::size_t limit) const;

 private:
  const std::string path_;
  void* const listing_;
};

/// Holds a directory's advisory lock for a scope, against every other holder on the system.
class DirectoryLock {
 public:
  /// Tries for up to `seconds`; the scope goes on without the lock where it can't be had.
  DirectoryLock(const std::string& path, double seconds);
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;
  ~DirectoryLock();

  bool is_held() const { return bool{directory_}; }

 private:
  Handle directory_;  ///< held while it is open
};

}  // namespace utility_manager::platform
