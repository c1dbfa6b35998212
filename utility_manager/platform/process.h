#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Processes that aren't necessarily children of the client.
namespace utility_manager::platform {

enum class Signal { terminate, kill };

class ProcessReference;

/// What tells an instance from an unrelated process that was given its id.
struct ProcessIdentity {
  double start_time = 0;                  ///< seconds since the Unix epoch
  std::vector<std::string> command_line;  ///< empty where it can't be read
};

/// One process as it was found: told from a later owner of its id, or known by that number alone.
/// Holds a descriptor at most. Members may be called from any thread.
class Process {
 public:
  virtual ~Process() = default;

  virtual std::int64_t pid() const = 0;

  /// False when a later owner of the id can't be told from the process.
  virtual bool is_exact() const = 0;

  /// True while the process exists, ended but uncollected included.
  virtual bool exists() const = 0;

  /// Collects the exit status if the process is an ended child of the client. One that a handle is
  /// held of is collected by that.
  virtual void collect() const {}

  /// Every descendant at the time of the call, at every depth. Fails with `NoSuchProcess`, and with
  /// `NotInspected` where there is no process inspection.
  virtual std::vector<std::shared_ptr<Process>> descendants() const = 0;

  /// Ends the process at once. Fails with `NoSuchProcess` and with `AccessDenied`.
  virtual void kill() const = 0;

  /// The same by a signal of the system's own. By default asks whether the process exists, and
  /// then signals its id.
  virtual void signal(Signal signal) const;

  /// Start time and command line; nothing where they can't be known.
  virtual std::optional<ProcessIdentity> identity() const { return std::nullopt; }

  /// For `may_have_ended`; null where the process has to be asked itself.
  virtual const ProcessReference* watched() const { return nullptr; }
};

using Processes = std::vector<std::shared_ptr<Process>>;

/// The processes of the system. A process that has ended but that nobody has collected is one; a
/// thread is none, and a pid below 1 or beyond the system's range names none. Members may be called
/// from any thread, with any lock of the manager held.
class ProcessTable {
 public:
  virtual ~ProcessTable() = default;

  virtual bool exists(std::int64_t pid) const = 0;

  /// Never null. Fails with `NoSuchProcess`.
  virtual std::shared_ptr<Process> find(std::int64_t pid) const = 0;

  /// Waits until all `targets`, which this table has found, have left it, at most `seconds`,
  /// collecting those that are children of the client; gives those that are still there.
  virtual Processes wait(const Processes& targets, double seconds) const = 0;
};

/// The table of a system with process inspection; `bare_processes` where we know of none. Never
/// destroyed.
const ProcessTable& native_processes();

/// The table without process inspection: a process exists if it can be signalled, and nobody knows
/// its descendants. What the system tells of a process serves to know it again, and for that alone.
/// Never destroyed.
const ProcessTable& bare_processes();

/// True for the client itself, for what it descends from, and for the system's first process.
bool is_client_or_ancestor(std::int64_t pid);

/// The table in use, `bare_processes` unless another one is bound.
const ProcessTable& processes();

/// Binds the table, which is never destroyed. Call it before the first manager is made, and while
/// no thread uses one.
void bind_processes(const ProcessTable& table);

/// Puts `replacement` in place of the table for a scope. For tests, as `BindSystem`.
class BindProcesses {
 public:
  explicit BindProcesses(const ProcessTable& replacement);
  BindProcesses(const BindProcesses&) = delete;
  BindProcesses& operator=(const BindProcesses&) = delete;
  ~BindProcesses();

 private:
  const ProcessTable* previous_;
};

}  // namespace utility_manager::platform
