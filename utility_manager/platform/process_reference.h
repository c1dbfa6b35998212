#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/handle.h"
#include "utility_manager/platform/proc_table.h"

namespace utility_manager::platform {

/// Of the client.
std::int64_t own_process_id();

/// False for what is never the id of a process.
bool is_process_id(std::int64_t pid);

/// True when a process with this id stands in the process table. The id of a thread is none.
bool process_exists(std::int64_t pid);

enum class ChildState { running, ended, not_our_child };

/// What a look at a child found.
struct ChildStatus {
  ChildState state = ChildState::running;
  std::int64_t exit_code = 0;  ///< of an ended child; negative: the signal that killed it
};

/// One process, told from a later owner of its id: by a handle of it, or by its start time where no
/// handle can be had. Safe to use from several threads.
class ProcessReference {
 public:
  /// Refers to the process that has this id now, if there is one.
  explicit ProcessReference(std::int64_t pid);

  /// The handle is one of the process that has this id.
  ProcessReference(std::int64_t pid, Handle handle) : pid_(pid), handle_(std::move(handle)) {}

  std::int64_t pid() const { return pid_; }

  /// False when a later owner of the id can't be told from the process: no handle could be had, and
  /// the start time couldn't be read.
  bool is_exact() const { return handle_ || start_ticks_; }

  /// True while the process stands in the process table, ended but uncollected included.
  bool exists() const;

  /// Signals exactly this process. Fails with `NoSuchProcess`, `AccessDenied` or another
  /// `SystemError`.
  void send(Signal signal) const;

  /// Collects the exit status if the process is an ended child of the client.
  ChildStatus collect() const;

  /// Waits until the process has ended, collected or not; false when the deadline has passed first.
  /// Without a handle it can't wait and gives false at once; on a system that has none it looks
  /// again after 1 ms, then 2, up to every 16.
  bool wait_for_end(const Deadline& deadline) const;

 private:
  friend std::vector<bool> may_have_ended(std::span<const ProcessReference* const> references);

  std::int64_t pid_;
  Handle handle_;
  std::optional<std::uint64_t> start_ticks_;  ///< only where there is no handle
};

/// Asks many at once: false only for a process that runs for certain. A null may have ended. One
/// call of the system, however many there are.
std::vector<bool> may_have_ended(std::span<const ProcessReference* const> references);

/// Refers to the process that the row tells of; nothing when its id has come to belong to nobody or
/// to another process.
std::optional<ProcessReference> refer_to(const ProcessRow& row);

}  // namespace utility_manager::platform
