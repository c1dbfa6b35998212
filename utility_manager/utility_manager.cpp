#include "utility_manager/utility_manager.h"

#include "utility_manager/output.h"
#include "utility_manager/persistence/start_record.h"
#include "utility_manager/persistence/state_directory.h"
#include "utility_manager/persistence/state_file_reader.h"
#include "utility_manager/platform/directory_use.h"
#include "utility_manager/platform/paths.h"
#include "utility_manager/platform/wakeup.h"
#include "utility_manager/supervision/monitor_thread.h"

namespace utility_manager {

UtilityServerManager::UtilityServerManager()
    : state_dir_(make_state_directory()),
      use_of_directory_(platform::use_directory(platform::directory_part(state_dir_))),
      state_files_(std::make_shared<StateFileReader>()),
      monitor_wakeup_(std::make_shared<platform::Wakeup>()) {
  _load_persisted_states();
  recover_starts();
  catalogue_.all();
}

void UtilityServerManager::shut_down() {
  cleanup_all_servers();
  const auto monitor = monitor_thread();
  while (monitor && monitor->is_alive()) monitor->join(limits::monitor_interval);
  drop_output();
}

std::shared_ptr<MonitorThread> UtilityServerManager::monitor_thread() const {
  const std::lock_guard held(monitor_mutex_);
  return monitor_thread_;
}

std::optional<std::int64_t> UtilityServerManager::_get_available_port() const {
  return ports_.available();
}

ServerTable::Record UtilityServerManager::server(const std::string& server_id) const {
  const LockHeld held(lock);
  return servers_.find(server_id);
}

std::shared_ptr<const ServerTable::Records> UtilityServerManager::servers_now() const {
  const LockHeld held(lock);
  return servers_.records();
}

void UtilityServerManager::forget_server(const std::string& server_id) {
  const auto instance = servers_.find(server_id);
  if (!instance) return;
  ports_.release(instance->port, lock);
  servers_.remove(server_id, lock);
  _remove_state_file(server_id);
  remove_start_record(state_dir_, server_id);
  unwritten_.erase(server_id);
}

const std::shared_ptr<UtilityServerManager>& utility_manager() {
  static auto* const manager =
      new std::shared_ptr<UtilityServerManager>(std::make_shared<UtilityServerManager>());
  return *manager;
}

}  // namespace utility_manager
