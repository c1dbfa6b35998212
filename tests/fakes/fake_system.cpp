#include "tests/fakes/fake_system.h"

#include <algorithm>

#include "platform/native_inspection.h"
#include "utility_manager/timings.h"
#include "values/text_form.h"

namespace fakes {
namespace {

namespace timings = utility_manager::timings;

constexpr double patience = 60;  ///< seconds to wait for what comes at once

/// The child that this thread watches, if it is to die.
thread_local std::weak_ptr<platform::ProcessHandle> dying_child;

bool is_to_die(const std::vector<std::string>& arguments) {
  return std::any_of(arguments.begin(), arguments.end(),
                     [](const auto& text) { return text.find("/dying") != text.npos; });
}

}  // namespace

double FakeSystem::wall_clock() const {
  const std::lock_guard held(mutex_);
  return clock_;
}

void FakeSystem::sleep(double seconds) const {
  if (seconds == timings::monitor_interval) return sleep_as_monitor();
  const auto child = dying_child.lock();
  if (seconds == timings::start_watch && child) child->wait(patience);
  {
    const std::lock_guard held(mutex_);
    clock_ += seconds;
  }
  if (on_sleep) on_sleep(seconds);
}

void FakeSystem::sleep_as_monitor() const {
  std::unique_lock held(mutex_);
  monitor_sleeps_ = true;
  changed_.notify_all();
  changed_.wait(held, [this] { return !monitor_sleeps_ || monitor_stays_awake_; });
}

void FakeSystem::await_monitor() {
  std::unique_lock held(mutex_);
  changed_.wait(held, [this] { return monitor_sleeps_; });
}

void FakeSystem::wake_monitor() {
  std::unique_lock held(mutex_);
  changed_.wait(held, [this] { return monitor_sleeps_; });
  monitor_sleeps_ = false;
  changed_.notify_all();
}

void FakeSystem::let_monitor_pass() {
  wake_monitor();
  await_monitor();
}

void FakeSystem::keep_monitor_awake() {
  const std::lock_guard held(mutex_);
  monitor_stays_awake_ = true;
  changed_.notify_all();
}

std::shared_ptr<platform::ProcessHandle> FakeSystem::spawn(
    const std::vector<std::string>& arguments, std::uint32_t flags) const {
  {
    const std::lock_guard held(mutex_);
    spawned.push_back(arguments);
    spawn_flags.push_back(flags);
  }
  auto child = on_spawn ? on_spawn() : System::spawn(arguments, flags);
  dying_child.reset();
  if (is_to_die(arguments)) dying_child = child;
  return child;
}

void FakeSystem::signal(std::int64_t pid, platform::Signal signal) const {
  {
    const std::lock_guard held(mutex_);
    signals.emplace_back(pid, signal);
  }
  if (on_signal) {
    on_signal(pid, signal);
  } else {
    System::signal(pid, signal);
  }
}

void FakeSystem::run_command(const std::vector<std::string>& arguments, double seconds,
                             std::uint32_t flags) const {
  std::string command;
  for (const auto& argument : arguments) command += argument + " ";
  commands.push_back(command + values::real_form(seconds) + " " + std::to_string(flags));
  if (on_command) on_command();
}

bool FakeSystem::can_bind(std::int64_t port) const {
  const std::lock_guard held(mutex_);
  asked_ports.push_back(port);
  return !taken_ports.contains(port);
}

class FakeInspection::Process : public host::InspectedProcess {
 public:
  Process(FakeInspection& layer, std::int64_t pid) : layer_(layer), pid_(pid) {}

  bool is_running() const override {
    layer_.asked("is_running", pid_);
    return layer_.processes.contains(pid_);
  }

  std::vector<std::shared_ptr<InspectedProcess>> descendants() const override {
    layer_.asked("descendants", pid_);
    std::vector<std::shared_ptr<InspectedProcess>> found;
    for (const auto pid : layer_.descendants[pid_]) {
      found.push_back(std::make_shared<Process>(layer_, pid));
    }
    return found;
  }

  void kill() const override {
    layer_.kills.push_back("kill " + std::to_string(pid_));
    layer_.asked("kill", pid_);
    if (!layer_.processes.contains(pid_)) throw host::NoSuchProcess("gone");
    if (!layer_.stubborn.contains(pid_)) layer_.processes.erase(pid_);
  }

 private:
  FakeInspection& layer_;
  const std::int64_t pid_;
};

class FakeInspection::Pin : public host::PinnedProcess {
 public:
  Pin(const FakeInspection& layer, std::int64_t pid)
      : layer_(layer), pid_(pid), start_(layer.processes.at(pid)) {}

  bool exists() const override {
    layer_.asked("exists", pid_);
    const auto owner = layer_.processes.find(pid_);
    return owner != layer_.processes.end() && owner->second == start_;
  }

 private:
  const FakeInspection& layer_;
  const std::int64_t pid_;
  const double start_;
};

bool FakeInspection::pid_exists(std::int64_t pid) {
  asked("pid_exists", pid);
  return processes.contains(pid);
}

std::shared_ptr<host::InspectedProcess> FakeInspection::process(std::int64_t pid) {
  asked("process", pid);
  if (!processes.contains(pid)) throw host::NoSuchProcess("gone");
  return std::make_shared<Process>(*this, pid);
}

std::vector<std::shared_ptr<host::InspectedProcess>> FakeInspection::wait_procs(
    const std::vector<std::shared_ptr<host::InspectedProcess>>& targets, double seconds) {
  kills.push_back("wait " + values::real_form(seconds));
  asked("wait_procs", 0);
  auto left = targets;
  std::erase_if(left, [](const auto& target) { return !target->is_running(); });
  return left;
}

std::optional<host::ProcessIdentity> FakeInspection::identity(std::int64_t pid) {
  asked("identity", pid);
  const auto process = processes.find(pid);
  if (process == processes.end()) return std::nullopt;
  return host::ProcessIdentity{.start_time = process->second, .command_line = command_lines[pid]};
}

std::shared_ptr<host::PinnedProcess> FakeInspection::pin(std::int64_t pid) {
  asked("pin", pid);
  return processes.contains(pid) ? std::make_shared<Pin>(*this, pid) : nullptr;
}

bool LibraryInspection::pid_exists(std::int64_t pid) {
  return platform::native_inspection()->pid_exists(pid);
}

std::shared_ptr<host::InspectedProcess> LibraryInspection::process(std::int64_t pid) {
  return platform::native_inspection()->process(pid);
}

std::vector<std::shared_ptr<host::InspectedProcess>> LibraryInspection::wait_procs(
    const std::vector<std::shared_ptr<host::InspectedProcess>>& targets, double seconds) {
  return platform::native_inspection()->wait_procs(targets, seconds);
}

}  // namespace fakes
