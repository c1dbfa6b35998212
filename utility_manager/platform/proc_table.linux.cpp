#include "utility_manager/platform/proc_table.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/failures.h"

namespace utility_manager::platform {
namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};

template <typename Number>
std::optional<Number> number_of(std::string_view text) {
  Number number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The `index`-th of the fields that `text` begins with, counted from 0.
std::string_view field(std::string_view text, int index) {
  for (; index > 0; --index) {
    const std::size_t blank = text.find(' ');
    if (blank == text.npos) return {};
    text.remove_prefix(blank + 1);
  }
  return text.substr(0, text.find(' '));
}

/// A process's "stat": its id, its name in brackets (which may hold anything), then numbers.
std::optional<ProcessRow> parse_row(std::int64_t pid, std::string_view text) {
  const std::size_t name_end = text.rfind(')');
  if (name_end == text.npos || name_end + 2 > text.size()) return std::nullopt;
  const std::string_view fields = text.substr(name_end + 2);
  const auto parent = number_of<std::int64_t>(field(fields, 1));
  const auto ticks = number_of<std::uint64_t>(field(fields, 19));
  const auto threads = number_of<int>(field(fields, 17));
  if (!parent || !ticks || !threads) return std::nullopt;
  // A process whose first thread alone has ended shows the same letter.
  const bool has_ended = (fields[0] == 'Z' || fields[0] == 'X') && *threads <= 1;
  return ProcessRow{.pid = pid, .parent = *parent, .start_ticks = *ticks, .has_ended = has_ended};
}

std::optional<ProcessRow> read_row(int directory, const char* path, std::int64_t pid) {
  const Handle file(::openat(directory, path, O_RDONLY | O_CLOEXEC));
  if (!file) return std::nullopt;
  std::array<char, 1024> text;
  const ssize_t size = ::read(descriptor(file), text.data(), text.size());
  if (size <= 0) return std::nullopt;
  return parse_row(pid, {text.data(), static_cast<std::size_t>(size)});
}

std::array<char, 64> proc_path(std::int64_t pid, const char* rest) {
  std::array<char, 64> path;
  std::snprintf(path.data(), path.size(), "/proc/%lld%s", static_cast<long long>(pid), rest);
  return path;
}

/// Ticks count from the start of the system, on a clock that runs on while the machine sleeps.
double epoch_time(std::uint64_t ticks) {
  static const auto ticks_per_second = static_cast<double>(::sysconf(_SC_CLK_TCK));
  timespec now{};
  timespec since_start{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  ::clock_gettime(CLOCK_BOOTTIME, &since_start);
  const auto system_start = static_cast<double>(now.tv_sec - since_start.tv_sec) +
                            1e-9 * static_cast<double>(now.tv_nsec - since_start.tv_nsec);
  return system_start + static_cast<double>(ticks) / ticks_per_second;
}

std::vector<std::string> read_command_line(int process_directory) {
  const Handle file(::openat(process_directory, "cmdline", O_RDONLY | O_CLOEXEC));
  std::vector<std::string> arguments;
  std::string text;
  char buffer[4096];
  for (ssize_t count; file && (count = ::read(descriptor(file), buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t end = rest.find('\0');
    arguments.emplace_back(rest.substr(0, end));
    rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
  }
  return arguments;
}

}  // namespace

bool has_process_table() {
  return true;
}

std::vector<ProcessRow> process_rows() {
  const std::unique_ptr<DIR, CloseDirectory> table(::opendir("/proc"));
  if (!table) throw SystemError(errno, "/proc");
  std::vector<ProcessRow> rows;
  while (const dirent* const entry = ::readdir(table.get())) {
    const auto pid = number_of<std::int64_t>(entry->d_name);
    if (!pid) continue;
    const std::string path = std::string(entry->d_name) + "/stat";
    auto row = read_row(::dirfd(table.get()), path.c_str(), *pid);
    if (!row) continue;
    row->entry_number = entry->d_ino;
    rows.push_back(*row);
  }
  return rows;
}

std::optional<ProcessRow> row_of(std::int64_t pid) {
  return read_row(AT_FDCWD, proc_path(pid, "/stat").data(), pid);
}

std::optional<std::uint64_t> start_ticks(std::int64_t pid) {
  const auto row = row_of(pid);
  return row ? std::optional(row->start_ticks) : std::nullopt;
}

bool is_current(const ProcessRow& row) {
  // The directory of a later owner of the id has another number. One process may get several in
  // turn, when the system drops what it keeps of its table.
  struct stat directory {};
  if (::stat(proc_path(row.pid, "").data(), &directory) != 0) {
    return errno != ENOENT && errno != ESRCH;
  }
  return directory.st_ino == row.entry_number ||
         start_ticks(row.pid).value_or(row.start_ticks) == row.start_ticks;
}

std::optional<ProcessIdentity> process_identity(std::int64_t pid) {
  // The open directory belongs to this one process, so that both files tell of the same.
  const Handle directory(::open(proc_path(pid, "").data(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!directory) return std::nullopt;
  const auto row = read_row(descriptor(directory), "stat", pid);
  if (!row) return std::nullopt;
  return ProcessIdentity{.start_time = epoch_time(row->start_ticks),
                         .command_line = read_command_line(descriptor(directory))};
}

}  // namespace utility_manager::platform
