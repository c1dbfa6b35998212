#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/process_handle.h"
#include "platform/process_reference.h"

namespace platform {

/// A child that this process started. A handle that is dropped while its child runs leaves the
/// child to a later `spawn_child`, which collects it once it has ended.
class ChildProcess : public ProcessHandle {
 public:
  ChildProcess(pid_t pid, std::shared_ptr<Stream> output, std::shared_ptr<Stream> error);
  ~ChildProcess() override;

  std::int64_t pid() const override { return reference_.pid(); }
  std::optional<int> poll() override;
  void terminate() override;
  std::optional<int> wait(std::optional<double> seconds) override;
  std::optional<int> returncode() const override;
  std::shared_ptr<Stream> output_stream() const override { return output_; }
  std::shared_ptr<Stream> error_stream() const override { return error_; }
  bool id_has_new_owner() const override;

  /// Ends the child at once. Nothing happens to one that has ended.
  void kill();

 private:
  std::optional<int> poll_locked();
  void send(int signal);

  ProcessReference reference_;
  const std::shared_ptr<Stream> output_;
  const std::shared_ptr<Stream> error_;
  mutable std::mutex mutex_;
  std::optional<int> returncode_;  ///< guarded by `mutex_`
};

/// What `System::spawn` does.
std::shared_ptr<ChildProcess> spawn_child(const std::vector<std::string>& arguments);

/// The handle of the child with this id, where there still is one.
std::shared_ptr<ChildProcess> own_child(pid_t pid);

}  // namespace platform
