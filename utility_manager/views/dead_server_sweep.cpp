#include "utility_manager/supervision/instance_liveness.h"
#include "utility_manager/utility_manager.h"

namespace utility_manager {

void UtilityServerManager::sweep_dead_servers() {
  _load_persisted_states();
  auto dead = servers();
  std::erase_if(dead, [](const auto& record) { return !instance_is_dead(*record); });
  if (dead.empty()) return;
  const LockHeld held(lock);
  for (const auto& record : dead) forget_server(record->server_id);
}

}  // namespace utility_manager
