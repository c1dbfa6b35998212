#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "utility_manager/platform/process.h"
#include "utility_manager/platform/system.h"

namespace utility_manager::fakes {

/// Binds itself for its life. Its clock moves by sleeps alone, and these cost nothing: the watch of
/// a child whose script's name begins with "dying" lasts until it has died, any other no time at
/// all; the monitor sleeps until it is woken or called. Commands are recorded and not run, ports
/// are free. All else is the real system, unless a member says otherwise.
class FakeSystem : public platform::System {
 public:
  bool windows = false;
  std::function<std::shared_ptr<platform::ProcessHandle>()> on_spawn;  ///< in place of the child
  std::function<void(double seconds)> on_sleep;  ///< after any sleep but the monitor's
  std::function<void(std::int64_t pid, platform::Signal signal)> on_signal;  ///< in place of it
  std::function<void()> on_command;
  std::set<std::int64_t> taken_ports;

  // What was asked of the system. A command is recorded with its time limit and its flags.
  mutable std::vector<std::vector<std::string>> spawned;
  mutable std::vector<std::uint32_t> spawn_flags;
  mutable std::vector<std::pair<std::int64_t, platform::Signal>> signals;
  mutable std::vector<std::string> commands;
  mutable std::vector<std::int64_t> asked_ports;
  mutable std::vector<std::string> reports;
  std::function<bool()> on_report = [] { return true; };

  /// Waits until the monitor sleeps.
  void await_monitor();

  /// Wakes the monitor as soon as it sleeps.
  void wake_monitor();

  /// The same, and waits until it sleeps again.
  void let_monitor_pass();

  /// From now on the monitor doesn't sleep any more.
  void keep_monitor_awake();

  bool is_windows() const override { return windows; }
  double wall_clock() const override;
  void sleep(double seconds) const override;
  void sleep_until_called(double seconds, platform::Wakeup& wakeup,
                          platform::Wakeup::Count count) const override;
  std::shared_ptr<platform::ProcessHandle> spawn(const std::vector<std::string>& arguments,
                                                 std::uint32_t flags) const override;
  void signal(std::int64_t pid, platform::Signal signal) const override;
  void run_command(const std::vector<std::string>& arguments, double seconds,
                   std::uint32_t flags) const override;
  bool report(const std::string& line) const override;
  bool can_bind(std::int64_t port) const override;
  std::optional<std::int64_t> first_bindable(std::int64_t first, std::int64_t last,
                                             const std::set<std::int64_t>& except) const override;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  mutable double clock_ = System::wall_clock();
  /// What each thread watches and is to die. Not `thread_local`: MinGW destroys that too late.
  mutable std::map<std::thread::id, std::weak_ptr<platform::ProcessHandle>> dying_children_;
  mutable platform::Wakeup* sleeping_monitor_ = nullptr;  ///< null while it's awake
  bool monitor_stays_awake_ = false;
  platform::BindSystem binding_{*this};
};

/// A child that exists only here.
class FakeHandle : public platform::ProcessHandle {
 public:
  explicit FakeHandle(std::int64_t pid) : pid_(pid) {}

  std::function<std::optional<std::int64_t>()> on_poll = [] { return std::nullopt; };
  std::function<void()> on_terminate;
  std::function<std::shared_ptr<platform::Stream>()> on_error_stream;
  std::vector<std::optional<double>> waits;
  bool gave_id_away = false;

  std::int64_t pid() const override { return pid_; }
  std::optional<std::int64_t> poll() override { return on_poll(); }
  void terminate() override {
    if (on_terminate) on_terminate();
  }
  void kill() override { terminate(); }
  std::optional<std::int64_t> wait(std::optional<double> seconds) override {
    waits.push_back(seconds);
    return on_poll();
  }
  std::optional<std::int64_t> returncode() const override { return on_poll(); }
  bool id_has_new_owner() const override { return gave_id_away; }
  std::shared_ptr<platform::Stream> output_stream() const override { return nullptr; }
  std::shared_ptr<platform::Stream> error_stream() const override {
    return on_error_stream ? on_error_stream() : nullptr;
  }

 private:
  std::int64_t pid_;
};

/// Processes that exist only here, by ids that no process has.
class FakeProcesses : public platform::ProcessTable {
 public:
  static constexpr std::int64_t first_pid = 1 << 23;

  /// The living, each with the moment of its start, by which a later owner of an id is known.
  mutable std::map<std::int64_t, double> living;
  std::map<std::int64_t, std::vector<std::int64_t>> descendants;
  std::map<std::int64_t, std::vector<std::string>> command_lines;
  std::set<std::int64_t> stubborn;  ///< they outlive being killed
  bool are_exact = true;

  /// Called before a call is answered; may throw.
  std::function<void(const std::string& call, std::int64_t pid)> before;
  mutable std::vector<std::string> kills;  ///< "kill 8388608", "wait 5.0"

  bool exists(std::int64_t pid) const override;
  std::shared_ptr<platform::Process> find(std::int64_t pid) const override;
  platform::Processes wait(const platform::Processes& targets, double seconds) const override;

 private:
  class Process;

  void asked(const std::string& call, std::int64_t pid) const {
    if (before) before(call, pid);
  }
};

}  // namespace utility_manager::fakes
