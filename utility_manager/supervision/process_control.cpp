#include "utility_manager/supervision/process_control.h"

#include <optional>
#include <string>
#include <utility>

#include "utility_manager/forked_child.h"
#include "utility_manager/limits.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/system.h"

namespace utility_manager {
namespace {

using platform::NoSuchProcess;
using platform::Process;
using platform::Processes;

bool is_alive(const Process& process) {
  try {
    return process.exists();
  } catch (const std::exception&) {
    return false;
  }
}

/// The descendants of `root` and, last, `root` itself; empty when they can't be had. Nothing when
/// the process has gone.
std::optional<Processes> tree_of(const std::shared_ptr<Process>& root) {
  try {
    auto targets = root->descendants();
    targets.push_back(root);
    return targets;
  } catch (const NoSuchProcess&) {
    return std::nullopt;
  } catch (const std::exception&) {
    return Processes();
  }
}

void kill_each(const Processes& targets) {
  for (const auto& target : targets) {
    try {
      target->kill();
    } catch (const NoSuchProcess&) {
    } catch (const platform::AccessDenied&) {
    }
  }
}

void kill_all(const Processes& targets) {
  kill_each(targets);
  kill_each(platform::processes().wait(targets, limits::tree_kill_wait));
}

/// The command ends the process and its descendants; only the liveness tells how it went.
void run_taskkill(std::int64_t pid) {
  try {
    platform::system().run_command({"taskkill", "/F", "/T", "/PID", std::to_string(pid)},
                                   limits::taskkill_limit,
                                   platform::creation_flags::create_no_window);
  } catch (const std::exception&) {
  }
}

/// Signals the process itself, politely first. True when it was found to have gone.
bool signal_until_gone(const Process& process) {
  const auto& system = platform::system();
  try {
    process.signal(platform::Signal::terminate);
    const platform::WallDeadline deadline(limits::signal_grace);
    while (!deadline.passed() && is_alive(process)) {
      system.sleep(limits::signal_probe_interval);
    }
    if (is_alive(process)) process.signal(platform::Signal::kill);
  } catch (const NoSuchProcess&) {
    return true;
  } catch (const std::exception&) {
  }
  return false;
}

/// Null when the process has gone.
std::shared_ptr<Process> find(std::int64_t pid) {
  try {
    return platform::processes().find(pid);
  } catch (const NoSuchProcess&) {
    return nullptr;
  } catch (const std::exception&) {
    return platform::bare_processes().find(pid);
  }
}

/// Asks an own child to end and waits for it. True when it has ended.
bool terminate_politely(platform::ProcessHandle& process) {
  try {
    process.terminate();
    process.wait(limits::terminate_wait);
  } catch (const std::exception&) {
  }
  return process.poll().has_value();
}

}  // namespace

bool is_process_alive(std::int64_t pid) {
  try {
    return pid != 0 && platform::processes().exists(pid);
  } catch (const std::exception&) {
    return false;
  }
}

bool kill_process_tree(std::int64_t pid) {
  refuse_forked_child();
  if (!is_process_alive(pid)) return true;
  const auto root = find(pid);
  return !root || kill_process_tree(root);
}

bool kill_process_tree(const std::shared_ptr<Process>& root) {
  const auto targets = tree_of(root);
  if (!targets) return true;
  if (!targets->empty()) {
    kill_all(*targets);
    if (!is_alive(*root)) return true;
  }
  if (platform::system().is_windows()) {
    run_taskkill(root->pid());
  } else if (signal_until_gone(*root)) {
    return true;
  }
  return !is_alive(*root);
}

bool stop_utility_process(const std::shared_ptr<platform::ProcessHandle>& process,
                          std::int64_t pid) {
  refuse_forked_child();
  const auto target = process && process->pid() != 0 ? process->pid() : pid;
  if (!is_process_alive(target)) return true;
  if (process && !process->poll()) {
    if (terminate_politely(*process)) return true;
  }
  if (process && process->id_has_new_owner()) return true;
  return kill_process_tree(target);
}

}  // namespace utility_manager
