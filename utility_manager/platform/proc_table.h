#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "utility_manager/platform/process.h"

/// The system's process table, where it shows one.
namespace utility_manager::platform {

struct ProcessRow {
  std::int64_t pid = 0;
  std::int64_t parent = 0;
  std::uint64_t start_ticks = 0;   ///< of the system's clock for it
  std::uint64_t entry_number = 0;  ///< of its place in the table
  bool has_ended = false;          ///< and waits to be collected
};

/// False on a system that shows none, or none that we know to read. Then nothing is known of any
/// process but the client's own parent, and there are no rows.
bool has_process_table();

/// All processes that can be seen, ended but uncollected ones included. Fails with `SystemError`
/// when the table can't be had.
std::vector<ProcessRow> process_rows();

/// Those of `rows` that descend from `root`, at every depth, parents before their children. A row
/// that is older than its parent's is no child: its parent had this id before.
std::vector<ProcessRow> descendants_in(const std::vector<ProcessRow>& rows, std::int64_t root);

/// Nothing where there is no such process, or where it can't be looked at. Without entry number.
std::optional<ProcessRow> row_of(std::int64_t pid);

/// The same.
std::optional<std::uint64_t> start_ticks(std::int64_t pid);

/// True unless the id of `row` belongs to nobody or to another process than the row tells of.
bool is_current(const ProcessRow& row);

/// Nothing where there is no such process, or where it can't be looked at.
std::optional<ProcessIdentity> process_identity(std::int64_t pid);

}  // namespace utility_manager::platform
