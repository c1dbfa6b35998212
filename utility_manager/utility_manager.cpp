#include "utility_manager/utility_manager.h"

#include <cmath>

#include "host/services.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/system.h"

namespace utility_manager {
namespace {

std::optional<std::string> unless_empty(const std::optional<std::string>& text) {
  return text && !text->empty() ? text : std::nullopt;
}

}  // namespace

UtilityServerManager::UtilityServerManager() : state_dir_(_get_state_dir()) {
  _load_persisted_states();
  _get_all_utilities();
}

std::string UtilityServerManager::_get_state_dir() {
  const auto path =
      platform::join_paths(host::services().local->get_default_config_dir(), "utility_states");
  platform::create_directories(path);
  return path;
}

ServerInfo UtilityServerManager::_create_server_info(
    const std::string& server_id, const std::string& utility_name, std::int64_t port,
    const std::shared_ptr<platform::ProcessHandle>& process, const values::Value& utility_config,
    const std::string& group_name, bool require_group_name, const std::optional<std::string>& lang,
    const std::optional<std::string>& studio_url) {
  if (!process) throw TypeError("process must be the handle of a child process");
  ServerInfo info;
  info.server_id = server_id;
  info.utility_name = utility_name;
  info.port = port;
  info.pid = process->pid();
  info.process = process;
  info.config = utility_config;
  info.create_time = static_cast<std::int64_t>(std::floor(platform::system().wall_clock()));
  info.lang = unless_empty(lang);
  info.studio_url = unless_empty(studio_url);
  if (require_group_name) info.group_name = group_name;
  return info;
}

std::vector<ServerTable::Record> UtilityServerManager::servers() const {
  const LockHeld held(lock);
  return servers_.records();
}

std::set<std::int64_t> UtilityServerManager::used_ports() const {
  const LockHeld held(lock);
  return used_ports_;
}

std::shared_ptr<MonitorThread> UtilityServerManager::monitor_thread() const {
  const std::lock_guard held(monitor_mutex_);
  return monitor_thread_;
}

bool UtilityServerManager::running() const {
  return running_;
}

std::shared_ptr<const UtilityMap> UtilityServerManager::utility_registry() const {
  return registry_.snapshot();
}

bool UtilityServerManager::_utility_registry_complete() const {
  return registry_.whole() != nullptr;
}

const std::string& UtilityServerManager::state_dir() const {
  return state_dir_;
}

ServerTable::Record UtilityServerManager::server(const std::string& server_id) const {
  const LockHeld held(lock);
  return servers_.find(server_id);
}

void UtilityServerManager::release_port(std::int64_t port) {
  if (port != 0) used_ports_.erase(port);
}

void UtilityServerManager::forget_server(const std::string& server_id) {
  const auto record = servers_.find(server_id);
  if (!record) return;
  release_port(record->port);
  servers_.remove(server_id);
  _remove_state_file(server_id);
}

const std::shared_ptr<UtilityServerManager>& utility_manager() {
  static auto* const manager =
      new std::shared_ptr<UtilityServerManager>(std::make_shared<UtilityServerManager>());
  return *manager;
}

}  // namespace utility_manager
