#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

/// The system's process table, as /proc shows it.
namespace platform {

struct ProcessRow {
  pid_t pid = 0;
  pid_t parent = 0;
  std::uint64_t start_ticks = 0;  ///< since the system's start
  ino_t entry_number = 0;         ///< of the process's directory
};

/// All processes that can be seen, ended but uncollected ones included. Fails with `SystemError`
/// when the table can't be had.
std::vector<ProcessRow> process_rows();

/// Those of `rows` that descend from `root`, at every depth, parents before their children. A row
/// that is older than its parent's is no child: its parent had this id before.
std::vector<ProcessRow> descendants_in(const std::vector<ProcessRow>& rows, pid_t root);

/// Nothing where there is no such process, or where it can't be looked at.
std::optional<std::uint64_t> start_ticks(pid_t pid);

/// True unless the id of `row` belongs to nobody or to another process than the row tells of.
bool is_current(const ProcessRow& row);

struct ProcessDetails {
  double start_time = 0;                  ///< seconds since the Unix epoch
  std::vector<std::string> command_line;  ///< empty where it can't be read
};

std::optional<ProcessDetails> process_details(pid_t pid);

}  // namespace platform
