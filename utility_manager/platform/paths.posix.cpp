#include "utility_manager/platform/paths.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "utility_manager/platform/failures.h"

namespace utility_manager::platform {
namespace {

std::size_t last_component_start(std::string_view path) {
  return path.rfind('/') + 1;  // npos + 1 is 0
}

/// Takes the first component and the separator behind it off `path`.
std::string_view take_component(std::string_view& path) {
  const std::size_t length = std::min(path.find('/'), path.size());
  const std::string_view component = path.substr(0, length);
  path.remove_prefix(std::min(length + 1, path.size()));
  return component;
}

std::size_t leading_slashes_kept(std::string_view path) {
  const std::size_t count = std::min(path.find_first_not_of('/'), path.size());
  return count == 2 ? 2 : std::min<std::size_t>(count, 1);
}

/// True only for a path that needs no change, and for nearly every such path.
bool is_plainly_normalised(std::string_view path) {
  if (path.empty() || path.starts_with('.')) return false;
  for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1)) {
    const std::string_view rest = path.substr(slash + 1);
    if (rest.empty() || rest.starts_with('/') || rest.starts_with('.')) return false;
  }
  return true;
}

}  // namespace

bool is_absolute_path(std::string_view path) {
  return path.starts_with('/');
}

std::string join_paths(std::string_view base, std::string_view path) {
  if (is_absolute_path(path)) return std::string(path);
  std::string joined;
  joined.reserve(base.size() + 1 + path.size());
  joined = base;
  if (!joined.empty() && !joined.ends_with('/')) joined += '/';
  joined += path;
  return joined;
}

std::string normalised_path(std::string path) {
  if (is_plainly_normalised(path)) return path;
  const std::size_t slashes = leading_slashes_kept(path);
  std::string result(slashes, '/');
  for (std::string_view rest = path; !rest.empty();) {
    const std::string_view part = take_component(rest);
    if (part.empty() || part == ".") continue;
    const std::string_view kept = std::string_view(result).substr(slashes);
    const std::string_view last = kept.substr(last_component_start(kept));
    if (part == ".." && !last.empty() && last != "..") {
      const std::size_t cut = last.size() < kept.size() ? last.size() + 1 : last.size();
      result.resize(result.size() - cut);
    } else if (part != ".." || slashes == 0) {
      if (!kept.empty()) result += '/';
      result += part;
    }
  }
  if (result.empty()) result = '.';
  return result;
}

std::string absolute_path(std::string path) {
  if (is_absolute_path(path)) return normalised_path(std::move(path));
  std::error_code failure;
  const std::string directory = std::filesystem::current_path(failure).native();
  if (failure) throw SystemError(failure.value());
  return normalised_path(join_paths(directory, path));
}

std::string directory_part(std::string_view path) {
  const std::string_view head = path.substr(0, last_component_start(path));
  const std::size_t last = head.find_last_not_of('/');
  return std::string(last == head.npos ? head : head.substr(0, last + 1));
}

std::string last_component(std::string_view path) {
  return std::string(path.substr(last_component_start(path)));
}

std::string extension(std::string_view path) {
  const std::string_view name = path.substr(last_component_start(path));
  const std::size_t dot = name.rfind('.');
  const std::size_t first_letter = name.find_first_not_of('.');
  if (dot == name.npos || first_letter > dot) return "";
  return std::string(name.substr(dot));
}

bool is_bare_file_name(std::string_view path) {
  return path.find('/') == path.npos;
}

}  // namespace utility_manager::platform
