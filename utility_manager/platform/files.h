#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "utility_manager/platform/descriptor.h"

/// Files and directories. A path that holds a NUL byte names nothing. Failures are `SystemError`.
namespace utility_manager::platform {

/// Anything on disk; a regular file. Links are followed, and what can't be looked at isn't there.
bool path_exists(const std::string& path);
bool is_regular_file(const std::string& path);

std::string read_file(const std::string& path);

/// Creates or truncates the file and writes it in place.
void write_file(const std::string& path, std::string_view bytes);

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
  Descriptor descriptor_;
};

/// One file of a directory, read whole.
struct DirectoryFile {
  std::string name;
  std::optional<std::string> bytes;  ///< nothing when it couldn't be read
};

/// The files of `directory` whose names end in `suffix`, in directory order. Fails when the
/// directory can't be listed.
std::vector<DirectoryFile> read_directory(const std::string& directory, std::string_view suffix);

}  // namespace utility_manager::platform
