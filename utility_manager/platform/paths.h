#pragma once

#include <string>
#include <string_view>

/// Path operations on text, equal to Python's `os.path` of the system. A path is the file system's
/// bytes on POSIX, UTF-8 on Windows.
namespace utility_manager::platform {

bool is_absolute_path(std::string_view path);
std::string join_paths(std::string_view base, std::string_view path);

/// Resolves repeated separators, "." and ".." in the text alone; exactly two leading slashes stay,
/// and on Windows a drive.
std::string normalised_path(std::string path);

/// Joined to the working directory where relative, then normalised. Fails with `SystemError` when
/// the working directory can't be had.
std::string absolute_path(std::string path);

/// `os.path.split`: the directory part (without its trailing slashes) and the last component.
std::string directory_part(std::string_view path);
std::string last_component(std::string_view path);

/// `os.path.splitext`: the extension with its dot, empty when there is none (".svg" has none).
std::string extension(std::string_view path);

/// True when `path` holds no separator.
bool is_bare_file_name(std::string_view path);

}  // namespace utility_manager::platform
