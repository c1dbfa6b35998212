#include "host/services.h"
#include "platform/failures.h"
#include "platform/system.h"
#include "utility_manager/utility_manager.h"

namespace utility_manager {
namespace {

using Targets = std::vector<std::shared_ptr<host::InspectedProcess>>;

/// The descendants of a process and, last, the process itself; empty when they can't be had.
/// Nothing when the process has gone.
std::optional<Targets> tree_of(host::ProcessInspection& psutil, std::int64_t pid) {
  try {
    auto root = psutil.process(pid);
    auto targets = root->descendants();
    targets.push_back(std::move(root));
    return targets;
  } catch (const host::NoSuchProcess&) {
    return std::nullopt;
  } catch (const std::exception&) {
    return Targets();
  }
}

void kill_each(const Targets& targets) {
  for (const auto& target : targets) {
    try {
      target->kill();
    } catch (const host::NoSuchProcess&) {
    } catch (const host::AccessDenied&) {
    }
  }
}

void kill_tree(host::ProcessInspection& psutil, const Targets& targets) {
  kill_each(targets);
  kill_each(psutil.wait_procs(targets, timings::tree_kill_wait));
}

/// The command ends the process and its descendants; only the liveness tells how it went.
void run_taskkill(std::int64_t pid) {
  try {
    platform::system().run_command({"taskkill", "/F", "/T", "/PID", std::to_string(pid)},
                                   timings::taskkill_limit, platform::CREATE_NO_WINDOW);
  } catch (const std::exception&) {
  }
}

/// Signals the process itself, politely first. True when it was found to have gone.
bool signal_until_gone(std::int64_t pid) {
  const auto& system = platform::system();
  try {
    system.signal(pid, platform::Signal::terminate);
    const auto deadline = system.wall_clock() + timings::signal_grace;
    while (system.wall_clock() < deadline && UtilityServerManager::_is_process_alive(pid)) {
      system.sleep(timings::signal_probe_interval);
    }
    if (UtilityServerManager::_is_process_alive(pid)) system.signal(pid, platform::Signal::kill);
  } catch (const platform::ProcessLookupError&) {
    return true;
  } catch (const std::exception&) {
  }
  return false;
}

/// Asks an own child to end and waits for it. True when it has ended.
bool terminate_politely(platform::ProcessHandle& process) {
  try {
    process.terminate();
    process.wait(timings::terminate_wait);
  } catch (const std::exception&) {
  }
  return process.poll().has_value();
}

}  // namespace

bool UtilityServerManager::_is_process_alive(std::int64_t pid) {
  if (pid == 0) return false;
  auto* const psutil = host::services().psutil;
  if (!psutil) return platform::system().can_signal(pid);
  try {
    return psutil->pid_exists(pid) && psutil->process(pid)->is_running();
  } catch (const std::exception&) {
    return false;
  }
}

bool UtilityServerManager::_kill_process_tree(std::int64_t pid) {
  if (pid == 0 || !_is_process_alive(pid)) return true;
  if (auto* const psutil = host::services().psutil) {
    const auto targets = tree_of(*psutil, pid);
    if (!targets) return true;
    if (!targets->empty()) {
      kill_tree(*psutil, *targets);
      if (!_is_process_alive(pid)) return true;
    }
  }
  if (platform::system().is_windows()) {
    run_taskkill(pid);
  } else if (signal_until_gone(pid)) {
    return true;
  }
  return !_is_process_alive(pid);
}

bool UtilityServerManager::_stop_utility_process(
    const std::shared_ptr<platform::ProcessHandle>& process, std::int64_t pid) {
  const auto target = process && process->pid() != 0 ? process->pid() : pid;
  if (target == 0 || !_is_process_alive(target)) return true;
  if (process && !process->poll()) {
    if (terminate_politely(*process)) return true;
  }
  if (process && process->id_has_new_owner()) return true;
  return _kill_process_tree(target);
}

}  // namespace utility_manager
