#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "utility_manager/platform/process.h"
#include "utility_manager/platform/process_handle.h"
#include "utility_manager/platform/wakeup.h"

namespace utility_manager::platform {

/// Windows' process creation flags. Its header has macros of the same names in capitals.
namespace creation_flags {
inline constexpr std::uint32_t create_new_process_group = 0x00000200;
inline constexpr std::uint32_t create_no_window = 0x08000000;
}  // namespace creation_flags

/// The door to what a test wants to move or to make fail: clock, children, signals, ports.
/// The base class is the real system; a fake derives from it and overrides what it needs.
/// Members may be called from any thread, and block only where they say so.
class System {
 public:
  virtual ~System() = default;

  /// True selects the Windows branches.
  virtual bool is_windows() const;

  /// Seconds since the Unix epoch.
  virtual double wall_clock() const;

  /// Blocks the calling thread.
  virtual void sleep(double seconds) const;

  /// `wakeup.sleep`.
  virtual void sleep_until_called(double seconds, Wakeup& wakeup, Wakeup::Count count) const;

  /// Starts a child with its output and error streams on pipes; standard input, environment and
  /// working directory are inherited, no other descriptor is. `flags` has a meaning on Windows
  /// only. Fails with `SystemError` in the text that Python gives for it.
  virtual std::shared_ptr<ProcessHandle> spawn(const std::vector<std::string>& arguments,
                                               std::uint32_t flags) const;

  /// Signals the one process that has this id. Fails with `NoSuchProcess` when there is none (a pid
  /// below 1 or beyond the system's range never names one), with `SystemError` when it is refused.
  virtual void signal(std::int64_t pid, Signal signal) const;

  /// True when a signal could be sent to the process; nothing is delivered.
  virtual bool can_signal(std::int64_t pid) const;

  /// Runs a command to its end with its output captured and dropped; ends it and fails with
  /// `std::runtime_error` when it takes longer than `seconds`. Blocks.
  virtual void run_command(const std::vector<std::string>& arguments, double seconds,
                           std::uint32_t flags) const;

  /// True when a TCP socket can be bound to 127.0.0.1 and this port. Fails with `SystemError` when
  /// no socket can be made.
  virtual bool can_bind(std::int64_t port) const;

  /// The first port from `first` to `last` that isn't in `except` and can be bound in the same way;
  /// nothing when there is none. Fails with `SystemError` when it has to ask and no socket can be
  /// made.
  virtual std::optional<std::int64_t> first_bindable(std::int64_t first, std::int64_t last,
                                                     const std::set<std::int64_t>& except) const;

  /// Writes a line to the client's standard error, if it takes one at once; false otherwise, and
  /// after `give_up_reports`.
  virtual bool report(const std::string& line) const;

  /// A random UUID of version 4 in its canonical text. Fails with `SystemError`.
  virtual std::string random_uuid() const;
};

/// For a client that has no standard error: descriptor 2 may be one of its files.
void give_up_reports();

/// The system in use.
const System& system();

/// A moment by the wall clock of the system in use, so many seconds from now. A clock that is set
/// back doesn't put it off.
class WallDeadline {
 public:
  explicit WallDeadline(double seconds);

  /// The seconds left; not above 0 when it has passed.
  double left() const;
  bool passed() const { return !(left() > 0); }

 private:
  double by_wall_clock_;
  double by_steady_clock_;
};

/// Puts `replacement` in place of the system for a scope. For tests: no thread may be using the
/// system when the scope begins or ends.
class BindSystem {
 public:
  explicit BindSystem(const System& replacement);
  BindSystem(const BindSystem&) = delete;
  BindSystem& operator=(const BindSystem&) = delete;
  ~BindSystem();

 private:
  const System* previous_;
};

}  // namespace utility_manager::platform
