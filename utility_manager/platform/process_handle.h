#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "utility_manager/platform/stream.h"

namespace utility_manager::platform {

class ProcessReference;

/// A child process of the client. All members may be called from any thread; every caller sees the
/// same exit code. Destroying a handle leaves the process alone. In a process that was forked since
/// it was made, `SystemError` is what all but `pid` and the streams give.
class ProcessHandle {
 public:
  virtual ~ProcessHandle() = default;

  virtual std::int64_t pid() const = 0;

  /// The exit code once the child has ended (negative: the signal that killed it; on Windows 32
  /// bits without a sign), nothing while it runs. Collects the exit status. A child that somebody
  /// else collected has ended with 0.
  virtual std::optional<std::int64_t> poll() = 0;

  /// Asks the child to end. Nothing happens to one that has ended.
  virtual void terminate() = 0;

  /// Ends the child at once. Nothing happens to one that has ended.
  virtual void kill() = 0;

  /// Waits for the end, woken by it; nothing when `seconds` have passed first. Without `seconds` it
  /// waits as long as the child runs.
  virtual std::optional<std::int64_t> wait(std::optional<double> seconds) = 0;

  /// What the last `poll` or `wait` saw.
  virtual std::optional<std::int64_t> returncode() const = 0;

  /// The child's streams, as pipes; null where there is none.
  virtual std::shared_ptr<Stream> output_stream() const = 0;
  virtual std::shared_ptr<Stream> error_stream() const = 0;

  /// True when the process that has this child's id now is not this child: the child was collected
  /// and its id given to another. False where that can't be known.
  virtual bool id_has_new_owner() const { return false; }

  /// For `may_have_ended`; null where the child has to be asked itself.
  virtual const ProcessReference* watched() const { return nullptr; }
};

}  // namespace utility_manager::platform
