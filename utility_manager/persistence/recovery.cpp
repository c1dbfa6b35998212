#include <cmath>

#include "utility_manager/persistence/start_record.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/process_search.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/supervision/instance.h"
#include "utility_manager/utility_manager.h"
#include "utility_manager/values/members.h"

namespace utility_manager {
namespace {

/// Without a process of the name: true when the child has gone, or was never born.
bool is_over(const Orphan& orphan) {
  const auto& state = orphan.record.state;
  if (state.pid == 0) return !orphan.is_young;
  if (!platform::still_runs({.pid = state.pid})) return true;
  const auto& create_time = values::at_or_null(state.content, "create_time");
  return examine_for_adoption(state.pid, state.server_id, create_time).refuted;
}

/// Ends every tree; true when each could be.
bool end_trees(const platform::Processes& roots) {
  bool all = true;
  for (const auto& root : roots) {
    const bool may_end = !platform::is_client_or_ancestor(root->pid());
    all &= may_end && platform::end_tree(root, limits::orphan_end_wait);
  }
  return all;
}

}  // namespace

void UtilityServerManager::write_down(const ServerInfo& instance, const Keeping& keeping) {
  auto& unwritten = unwritten_[instance.server_id];  // remembered before anything can fail
  unwritten.is_persistent = keeping.is_persistent;
  unwritten.require_group_name = keeping.require_group_name;
  try {
    const platform::DirectoryLock alone(state_dir_, limits::directory_lock_wait);
    if (keeping.is_persistent) {
      turn_into_state_file(state_dir_, instance, keeping.require_group_name);
    } else if (!platform::path_exists(start_record_path(state_dir_, instance.server_id))) {
      write_start_record(state_dir_, instance, keeping);
    }
    unwritten_.erase(instance.server_id);
  } catch (const std::exception& failure) {
    if (unwritten.is_told) return;
    unwritten.is_told = platform::system().report(
        std::string("utility_manager: an instance can't be written down: ") + failure.what());
  }
}

void UtilityServerManager::write_unwritten() {
  const LockHeld held(lock);
  const auto unwritten = unwritten_;
  for (const auto& [server_id, how] : unwritten) {
    const auto instance = servers_.find(server_id);
    if (instance) write_down(*instance, {how.is_persistent, how.require_group_name});
  }
}

void UtilityServerManager::keep_running(const ServerInfo& instance) {
  const LockHeld held(lock);
  if (!platform::path_exists(start_record_path(state_dir_, instance.server_id))) return;
  const bool in_group = instance.group_name.has_value();
  write_down(instance, {.is_persistent = true, .require_group_name = in_group});
}

bool UtilityServerManager::owns(const std::string& server_id) const {
  const auto instance = servers_.find(server_id);
  return instance && instance->process;
}

void UtilityServerManager::recover_starts() {
  const auto orphans = orphaned_records(
      state_dir_, [this](const std::string& server_id) { return owns(server_id); });
  if (orphans.empty()) return;
  const auto holders = platform::processes_with_option("--server-id");
  for (const auto& orphan : orphans) {
    platform::Processes roots;
    for (const auto& holder : holders) {
      if (is_proven(orphan.record, holder)) roots.push_back(holder.process);
    }
    try {
      recover(orphan, roots);
    } catch (const std::exception&) {  // the next client tries again
    }
  }
}

void UtilityServerManager::recover(const Orphan& orphan, const platform::Processes& roots) {
  const auto& start = orphan.record;
  const auto& server_id = start.state.server_id;
  const bool is_known = servers_.find(server_id) != nullptr;
  if (!is_known && start.is_persistent && !roots.empty()) {
    adopt(start, *roots.front());
  } else if (is_known || (roots.empty() ? is_over(orphan) : end_trees(roots))) {
    remove_start_record(state_dir_, server_id);
  }
}

void UtilityServerManager::adopt(const StartRecord& start, const platform::Process& process) {
  auto state = start.state;
  state.pid = process.pid();
  auto record =
      state.record(static_cast<std::int64_t>(std::floor(platform::system().wall_clock())));
  auto adoption = examine_for_adoption(state.pid, state.server_id,
                                       values::at_or_null(state.content, "create_time"));
  if (!record || adoption.refuted || !process.exists()) return;
  record->adopted = std::move(adoption.process);
  const auto instance = std::make_shared<const ServerInfo>(*std::move(record));
  const LockHeld held(lock);
  if (servers_.find(instance->server_id)) return;  // another thread was quicker
  ports_.use(instance->port, lock);
  servers_.add(instance, lock);
  write_down(*instance, {.is_persistent = true, .require_group_name = start.require_group_name});
}

}  // namespace utility_manager
