#include "utility_manager/supervision/instance_liveness.h"
#include "utility_manager/utility_manager.h"
#include "values/truthiness.h"

namespace utility_manager {

bool UtilityServerManager::stop_utility_server(const std::string& server_id) {
  const LockHeld held(lock);
  const auto record = servers_.find(server_id);
  if (!record) return false;
  try {
    const bool gone = id_was_reused(*record) || _stop_utility_process(record->process, record->pid);
    if (gone) forget_server(server_id);
    return gone;
  } catch (const std::exception&) {
    return false;
  }
}

void UtilityServerManager::stop_all_utility_servers() {
  for (const auto& record : servers()) stop_utility_server(record->server_id);
}

void UtilityServerManager::cleanup_all_servers() {
  running_ = false;
  if (const auto monitor = monitor_thread()) monitor->join(timings::monitor_join);
  for (const auto& listed : servers()) {
    try {
      const auto record = server(listed->server_id);
      if (record && !is_persistent(*record)) stop_utility_server(record->server_id);
    } catch (const std::exception&) {  // the next one follows
    }
  }
}

/// By the registration at this moment. Fails with `TypeError` on a record without a name.
bool UtilityServerManager::is_persistent(const ServerInfo& record) {
  if (!record.utility_name) throw TypeError("utility_name must be a text");
  const auto info = _get_utility_info(*record.utility_name);
  return info && values::truthy_at(info->fields, "persistent");
}

}  // namespace utility_manager
