#include "utility_manager/launch.h"

#include "utility_manager/failures.h"
#include "utility_manager/limits.h"
#include "utility_manager/output_relay.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/start_error.h"
#include "utility_manager/stderr_buffer.h"

namespace utility_manager {
namespace {

std::uint32_t spawn_flags() {
  if (!platform::system().is_windows()) return 0;
  return platform::creation_flags::create_new_process_group |
         platform::creation_flags::create_no_window;
}

/// Ends a child whose relays could not be started.
class KillUnlessRelayed {
 public:
  explicit KillUnlessRelayed(platform::ProcessHandle& process) : process_(&process) {}
  KillUnlessRelayed(const KillUnlessRelayed&) = delete;
  KillUnlessRelayed& operator=(const KillUnlessRelayed&) = delete;

  ~KillUnlessRelayed() {
    if (!process_) return;
    try {
      platform::system().signal(process_->pid(), platform::Signal::kill);
      process_->wait(std::nullopt);
    } catch (const platform::SystemError&) {  // it has ended
    }
  }

  void relayed() { process_ = nullptr; }

 private:
  platform::ProcessHandle* process_;
};

LaunchedProcess spawn_relayed(const std::vector<std::string>& process_args,
                              const std::function<void(std::int64_t pid)>& spawned) {
  LaunchedProcess child;
  child.stderr_buffer = std::make_shared<StderrBuffer>();
  child.process = platform::system().spawn(process_args, spawn_flags());
  if (spawned) spawned(child.process->pid());
  KillUnlessRelayed guard(*child.process);
  start_relay(child.process->output_stream(), "UTILITY-STDOUT", nullptr);
  start_relay(child.process->error_stream(), "UTILITY-STDERR", child.stderr_buffer);
  guard.relayed();
  return child;
}

void watch(const LaunchedProcess& child) {
  platform::system().sleep(limits::start_watch);
  const auto code = child.process->poll();
  if (!code) return;
  child.stderr_buffer->wait_for_lines(limits::stderr_grace, limits::stderr_settle);
  StartErrorDigest digest;
  LineReader lines(child.stderr_buffer);
  while (const auto line = lines.next()) digest.add(*line);
  const auto reason = "Process exited with code " + std::to_string(*code);
  if (child.stderr_buffer->size() == 0) digest.add(reason);
  throw RuntimeError(digest.text(reason));
}

}  // namespace

LaunchedProcess launch(const std::vector<std::string>& process_args,
                       const std::function<void(std::int64_t pid)>& spawned) {
  try {
    auto child = spawn_relayed(process_args, spawned);
    watch(child);
    return child;
  } catch (const platform::SubprocessError& failure) {
    throw RuntimeError(std::string("Failed to start utility server process: ") + failure.what());
  } catch (const std::exception& failure) {
    throw RuntimeError(std::string("Failed to start utility server: ") + failure.what());
  }
}

}  // namespace utility_manager
