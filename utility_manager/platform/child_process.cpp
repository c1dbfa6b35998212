#include "utility_manager/platform/child_process.h"

#include <cerrno>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/fork.h"
#include "utility_manager/platform/pipe.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/platform/spawn.h"
#include "utility_manager/platform/system.h"

namespace utility_manager::platform {
namespace {

class ChildProcess : public ProcessHandle {
 public:
  explicit ChildProcess(ProcessReference reference, std::shared_ptr<Stream> output = nullptr,
                        std::shared_ptr<Stream> error = nullptr)
      : reference_(std::move(reference)), output_(std::move(output)), error_(std::move(error)) {}
  ~ChildProcess() override;

  std::int64_t pid() const override { return reference_.pid(); }
  std::optional<std::int64_t> poll() override;
  void terminate() override { send(Signal::terminate); }
  void kill() override { send(Signal::kill); }
  std::optional<std::int64_t> wait(std::optional<double> seconds) override;
  std::optional<std::int64_t> returncode() const override;
  std::shared_ptr<Stream> output_stream() const override { return output_; }
  std::shared_ptr<Stream> error_stream() const override { return error_; }
  bool id_has_new_owner() const override;
  const ProcessReference* watched() const override { return &reference_; }

 private:
  std::optional<std::int64_t> poll_locked();
  void send(Signal signal);

  /// In a forked child the mutex may be held for ever, and the process looks like nobody's child.
  void refuse_other_process() const {
    if (fork_depth() != fork_depth_) throw SystemError(ECHILD);
  }

  const int fork_depth_ = fork_depth();
  ProcessReference reference_;
  const std::shared_ptr<Stream> output_;
  const std::shared_ptr<Stream> error_;
  mutable std::mutex mutex_;
  std::optional<std::int64_t> returncode_;  ///< guarded by `mutex_`
};

struct Children {
  std::mutex mutex;
  std::unordered_map<std::int64_t, std::weak_ptr<ChildProcess>> handles;
  std::vector<ProcessReference> dropped;  ///< they still ran when their handles went
};

Children& children() {
  static Children* const all = new Children;  // handles outlive static destruction
  return *all;
}

void collect_dropped_children() {
  Children& all = children();
  const std::lock_guard guard(all.mutex);
  std::erase_if(all.dropped, [](const ProcessReference& child) {
    return child.collect().state != ChildState::running;
  });
}

ChildProcess::~ChildProcess() {
  if (fork_depth() != fork_depth_) return;  // the parent has it still
  const bool ended = poll().has_value();
  Children& all = children();
  const std::lock_guard guard(all.mutex);
  const auto entry = all.handles.find(reference_.pid());
  if (entry != all.handles.end() && entry->second.expired()) all.handles.erase(entry);
  if (!ended) all.dropped.push_back(std::move(reference_));
}

std::optional<std::int64_t> ChildProcess::poll() {
  refuse_other_process();
  const std::lock_guard guard(mutex_);
  return poll_locked();
}

std::optional<std::int64_t> ChildProcess::poll_locked() {
  if (returncode_) return returncode_;
  const ChildStatus status = reference_.collect();
  if (status.state != ChildState::running) returncode_ = status.exit_code;
  return returncode_;
}

std::optional<std::int64_t> ChildProcess::wait(std::optional<double> seconds) {
  const Deadline deadline(seconds);
  bool seen_ended = false;
  for (;;) {
    const auto code = poll();
    if (code || deadline.passed()) return code;
    // No descriptor to wait on, or a tracer that still keeps the status from us.
    constexpr std::chrono::milliseconds between_looks(50);
    const bool look_again = seen_ended || !reference_.wait_for_end(deadline);
    if (look_again) deadline.pause(between_looks);
    seen_ended = true;
  }
}

std::optional<std::int64_t> ChildProcess::returncode() const {
  refuse_other_process();
  const std::lock_guard guard(mutex_);
  return returncode_;
}

void ChildProcess::send(Signal signal) {
  refuse_other_process();
  const std::lock_guard guard(mutex_);
  if (poll_locked()) return;
  try {
    reference_.send(signal);
  } catch (const NoSuchProcess&) {
  }
}

bool ChildProcess::id_has_new_owner() const {
  const bool is_another = !reference_.is_exact() || !reference_.exists();
  return returncode() && is_another && process_exists(reference_.pid());
}

}  // namespace

std::shared_ptr<ProcessHandle> spawn_child(const std::vector<std::string>& arguments,
                                           std::uint32_t flags) {
  collect_dropped_children();
  Pipe output = make_pipe();
  Pipe error = make_pipe();
  auto reference = start_program(arguments, output.write_end, error.write_end, flags);
  output.write_end.close();
  error.write_end.close();
  const auto child = std::make_shared<ChildProcess>(
      std::move(reference), std::make_shared<Stream>(std::move(output.read_end)),
      std::make_shared<Stream>(std::move(error.read_end)));
  Children& all = children();
  const std::lock_guard guard(all.mutex);
  all.handles.insert_or_assign(child->pid(), child);
  return child;
}

std::shared_ptr<ProcessHandle> own_child(std::int64_t pid) {
  Children& all = children();
  const std::lock_guard guard(all.mutex);
  const auto entry = all.handles.find(pid);
  return entry == all.handles.end() ? nullptr : entry->second.lock();
}

void collect_child(const ProcessReference& process) {
  const auto child = own_child(process.pid());
  if (child && !child->returncode()) {
    child->poll();
  } else {
    process.collect();
  }
}

std::shared_ptr<ProcessHandle> System::spawn(const std::vector<std::string>& arguments,
                                             std::uint32_t flags) const {
  return spawn_child(arguments, flags);
}

void System::run_command(const std::vector<std::string>& arguments, double seconds,
                         std::uint32_t flags) const {
  const Handle output = null_output();
  ChildProcess command(start_program(arguments, output, output, flags));
  if (command.wait(seconds)) return;
  command.kill();
  command.wait(std::nullopt);
  throw std::runtime_error("command '" + arguments.front() + "' took too long");
}

}  // namespace utility_manager::platform
