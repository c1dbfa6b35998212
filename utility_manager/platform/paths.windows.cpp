#include "utility_manager/platform/paths.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/win32.windows.h"
#include "utility_manager/values/text.h"

namespace utility_manager::platform {
namespace {

constexpr std::string_view separators = "\\/";

bool is_separator(char character) {
  return separators.find(character) != separators.npos;
}

bool is_rooted(std::string_view path) {
  return !path.empty() && is_separator(path.front());
}

/// `\\?\UNC\`, however it is spelt.
bool has_long_share_prefix(std::string_view path) {
  std::string head = values::upper_case(path.substr(0, 8));
  std::ranges::replace(head, '/', '\\');
  return head == R"(\\?\UNC\)";
}

/// `ntpath.splitdrive`: "C:", or server and share, and what follows.
std::pair<std::string_view, std::string_view> split_drive(std::string_view path) {
  std::size_t length = 0;
  if (is_rooted(path) && is_rooted(path.substr(1))) {
    const auto server = path.find_first_of(separators, has_long_share_prefix(path) ? 8 : 2);
    const auto share = server == path.npos ? path.npos : path.find_first_of(separators, server + 1);
    length = std::min(share, path.size());
  } else if (path.substr(0, 2).ends_with(':') && path.size() > 1) {
    length = 2;
  }
  return {path.substr(0, length), path.substr(length)};
}

std::size_t last_component_start(std::string_view path) {
  const auto [drive, rest] = split_drive(path);
  return drive.size() + (rest.find_last_of(separators) + 1);  // npos + 1 is 0
}

std::vector<std::string_view> normalised_parts(std::string_view path, bool is_from_root) {
  std::vector<std::string_view> parts;
  while (!path.empty()) {
    const auto part = path.substr(0, path.find('\\'));
    path.remove_prefix(std::min(part.size() + 1, path.size()));
    if (part.empty() || part == ".") continue;
    if (part != "..") {
      parts.push_back(part);
    } else if (!parts.empty() && parts.back() != "..") {
      parts.pop_back();
    } else if (!parts.empty() || !is_from_root) {
      parts.push_back(part);
    }
  }
  return parts;
}

}  // namespace

bool is_absolute_path(std::string_view path) {
  return is_rooted(path) || (path.size() > 2 && path[1] == ':' && is_separator(path[2]));
}

std::string join_paths(std::string_view base, std::string_view path) {
  auto [drive, joined_start] = split_drive(base);
  const auto [other_drive, rest] = split_drive(path);
  if (is_rooted(rest)) {
    return std::string(other_drive.empty() ? drive : other_drive).append(rest);
  }
  if (!other_drive.empty()) {
    if (values::lower_case(other_drive) != values::lower_case(drive)) return std::string(path);
    drive = other_drive;
  }
  std::string joined(joined_start);
  if (!joined.empty() && !is_separator(joined.back())) joined += '\\';
  joined += rest;
  const bool is_below_share = !drive.empty() && !drive.ends_with(':');
  const bool wants_root = is_below_share && !joined.empty() && !is_rooted(joined);
  return std::string(drive).append(wants_root ? "\\" : "").append(joined);
}

std::string normalised_path(std::string path) {
  std::ranges::replace(path, '/', '\\');
  const auto [drive, rest] = split_drive(path);
  std::string result(drive);
  if (is_rooted(rest)) result += '\\';
  const std::size_t prefix = result.size();
  for (const auto part : normalised_parts(rest, result.ends_with('\\'))) {
    if (result.size() > prefix) result += '\\';
    result += part;
  }
  if (result.empty()) result = '.';
  return result;
}

std::string absolute_path(std::string path) {
  const std::wstring full = full_path(wide(normalised_path(std::move(path))));
  if (full.empty()) throw SystemError(last_error());
  return narrow(full);
}

std::string directory_part(std::string_view path) {
  const auto drive = split_drive(path).first.size();
  const auto head = path.substr(0, last_component_start(path));
  const auto last = head.find_last_not_of(separators);
  const bool is_root = last == head.npos || last < drive;
  return std::string(is_root ? head : head.substr(0, last + 1));
}

std::string last_component(std::string_view path) {
  return std::string(path.substr(last_component_start(path)));
}

std::string extension(std::string_view path) {
  const auto name = path.substr(path.find_last_of(separators) + 1);
  const auto dot = name.rfind('.');
  const auto first_letter = name.find_first_not_of('.');
  if (dot == name.npos || first_letter > dot) return "";
  return std::string(name.substr(dot));
}

bool is_bare_file_name(std::string_view path) {
  return path.find_first_of(separators) == path.npos;
}

}  // namespace utility_manager::platform
