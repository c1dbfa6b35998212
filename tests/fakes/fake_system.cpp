#include "tests/fakes/fake_system.h"

#include <algorithm>
#include <filesystem>

#include "utility_manager/limits.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/values/text_form.h"

namespace utility_manager::fakes {
namespace {

namespace limits = utility_manager::limits;

constexpr double patience = 60;  ///< seconds to wait for what comes at once

bool is_to_die(const std::vector<std::string>& arguments) {
  return std::any_of(arguments.begin(), arguments.end(), [](const std::string& text) {
    return std::filesystem::path(text).filename().string().starts_with("dying");
  });
}

}  // namespace

double FakeSystem::wall_clock() const {
  const std::lock_guard held(mutex_);
  return clock_;
}

void FakeSystem::sleep(double seconds) const {
  std::shared_ptr<platform::ProcessHandle> child;
  {
    const std::lock_guard held(mutex_);
    child = dying_children_[std::this_thread::get_id()].lock();
  }
  if (seconds == limits::start_watch && child) child->wait(patience);
  {
    const std::lock_guard held(mutex_);
    clock_ += seconds;
  }
  if (on_sleep) on_sleep(seconds);
}

void FakeSystem::sleep_until_called(double /*seconds*/, platform::Wakeup& wakeup,
                                    platform::Wakeup::Count count) const {
  {
    const std::lock_guard held(mutex_);
    if (monitor_stays_awake_) return;
    sleeping_monitor_ = &wakeup;
    changed_.notify_all();
  }
  constexpr double for_ever = 1e9;
  wakeup.sleep(for_ever, count);
  const std::lock_guard held(mutex_);
  sleeping_monitor_ = nullptr;
}

void FakeSystem::await_monitor() {
  std::unique_lock held(mutex_);
  changed_.wait(held, [this] { return sleeping_monitor_; });
}

void FakeSystem::wake_monitor() {
  std::unique_lock held(mutex_);
  changed_.wait(held, [this] { return sleeping_monitor_; });
  std::exchange(sleeping_monitor_, nullptr)->call();
}

void FakeSystem::let_monitor_pass() {
  wake_monitor();
  await_monitor();
}

void FakeSystem::keep_monitor_awake() {
  const std::lock_guard held(mutex_);
  monitor_stays_awake_ = true;
  if (sleeping_monitor_) sleeping_monitor_->call();
}

std::shared_ptr<platform::ProcessHandle> FakeSystem::spawn(
    const std::vector<std::string>& arguments, std::uint32_t flags) const {
  {
    const std::lock_guard held(mutex_);
    spawned.push_back(arguments);
    spawn_flags.push_back(flags);
  }
  auto child = on_spawn ? on_spawn() : System::spawn(arguments, flags);
  const std::lock_guard held(mutex_);
  auto& dying = dying_children_[std::this_thread::get_id()];
  dying.reset();
  if (is_to_die(arguments)) dying = child;
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

bool FakeSystem::report(const std::string& line) const {
  const std::lock_guard held(mutex_);
  reports.push_back(line);
  return on_report();
}

bool FakeSystem::can_bind(std::int64_t port) const {
  const std::lock_guard held(mutex_);
  asked_ports.push_back(port);
  return !taken_ports.contains(port);
}

std::optional<std::int64_t> FakeSystem::first_bindable(std::int64_t first, std::int64_t last,
                                                       const std::set<std::int64_t>& except) const {
  for (auto port = first; port <= last; ++port) {
    if (!except.contains(port) && can_bind(port)) return port;
  }
  return std::nullopt;
}

class FakeProcesses::Process : public platform::Process {
 public:
  Process(const FakeProcesses& table, std::int64_t pid)
      : table_(table), pid_(pid), start_(table.living.at(pid)) {}

  std::int64_t pid() const override { return pid_; }
  bool is_exact() const override { return table_.are_exact; }

  bool exists() const override {
    table_.asked("exists", pid_);
    const auto owner = table_.living.find(pid_);
    return owner != table_.living.end() && (!is_exact() || owner->second == start_);
  }

  platform::Processes descendants() const override {
    table_.asked("descendants", pid_);
    platform::Processes found;
    const auto pids = table_.descendants.find(pid_);
    if (pids == table_.descendants.end()) return found;
    for (const auto pid : pids->second) found.push_back(std::make_shared<Process>(table_, pid));
    return found;
  }

  void kill() const override {
    table_.kills.push_back("kill " + std::to_string(pid_));
    table_.asked("kill", pid_);
    if (!exists()) throw platform::NoSuchProcess();
    if (!table_.stubborn.contains(pid_)) table_.living.erase(pid_);
  }

  std::optional<platform::ProcessIdentity> identity() const override {
    table_.asked("identity", pid_);
    const auto line = table_.command_lines.find(pid_);
    const bool is_readable = line != table_.command_lines.end();
    return platform::ProcessIdentity{
        .start_time = start_,
        .command_line = is_readable ? line->second : std::vector<std::string>()};
  }

 private:
  const FakeProcesses& table_;
  const std::int64_t pid_;
  const double start_;
};

bool FakeProcesses::exists(std::int64_t pid) const {
  asked("pid_exists", pid);
  return living.contains(pid);
}

std::shared_ptr<platform::Process> FakeProcesses::find(std::int64_t pid) const {
  asked("find", pid);
  if (!living.contains(pid)) throw platform::NoSuchProcess();
  return std::make_shared<Process>(*this, pid);
}

platform::Processes FakeProcesses::wait(const platform::Processes& targets, double seconds) const {
  kills.push_back("wait " + values::real_form(seconds));
  asked("wait", 0);
  auto left = targets;
  std::erase_if(left, [](const auto& target) { return !target->exists(); });
  return left;
}

}  // namespace utility_manager::fakes
