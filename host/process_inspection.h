#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// What the client offers to the system. Interfaces only: each is implemented by the client's
/// binding, or by a test.
namespace host {

/// The process has gone.
struct NoSuchProcess : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The operating system refuses.
struct AccessDenied : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// One process as it was found, told from a later owner of its id.
class InspectedProcess {
 public:
  virtual ~InspectedProcess() = default;

  /// True while the process exists, ended but uncollected included.
  virtual bool is_running() const = 0;

  /// Every descendant at the time of the call, at every depth. Fails with `NoSuchProcess`.
  virtual std::vector<std::shared_ptr<InspectedProcess>> descendants() const = 0;

  /// Ends the process at once. Fails with `NoSuchProcess` and with `AccessDenied`.
  virtual void kill() const = 0;
};

/// Holds on to one process by more than its id, at the cost of a descriptor at most.
class PinnedProcess {
 public:
  virtual ~PinnedProcess() = default;

  /// True while the process exists, ended but uncollected included; a later owner of its id is
  /// another process.
  virtual bool exists() const = 0;
};

/// What tells an instance from an unrelated process that was given its id.
struct ProcessIdentity {
  double start_time = 0;                  ///< seconds since the Unix epoch
  std::vector<std::string> command_line;  ///< empty where it can't be read
};

/// The process-inspection layer, which the system calls `psutil`. Optional: where there is none the
/// platform branches run. Members may be called from any thread, with any lock of the manager held.
class ProcessInspection {
 public:
  virtual ~ProcessInspection() = default;

  /// True when a process with this id stands in the process table, ended but uncollected included.
  /// The id of a thread is none; a pid below 1 or beyond the system's range names no process.
  virtual bool pid_exists(std::int64_t pid) = 0;

  /// Fails with `NoSuchProcess`.
  virtual std::shared_ptr<InspectedProcess> process(std::int64_t pid) = 0;

  /// Waits until all `targets` have left the process table, at most `seconds`, collecting those
  /// that are children of the client; gives those that are still there.
  virtual std::vector<std::shared_ptr<InspectedProcess>> wait_procs(
      const std::vector<std::shared_ptr<InspectedProcess>>& targets, double seconds) = 0;

  /// Start time and command line; nothing where the layer can't tell.
  virtual std::optional<ProcessIdentity> identity(std::int64_t) { return std::nullopt; }

  /// Null where the layer can't pin or there is no such process.
  virtual std::shared_ptr<PinnedProcess> pin(std::int64_t) { return nullptr; }
};

}  // namespace host
