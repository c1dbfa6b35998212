#include "utility_manager/supervision/instance_liveness.h"
#include "utility_manager/utility_manager.h"

namespace utility_manager {

void UtilityServerManager::sweep_dead_servers() {
  _load_persisted_states();
  std::vector<std::string> dead;
  for (const auto& [server_id, record] : servers()) {
    if (instance_is_dead(*record)) dead.push_back(server_id);
  }
  if (dead.empty()) return;
  const LockHeld held(lock);
  for (const auto& server_id : dead) forget_server(server_id);
}

}  // namespace utility_manager
