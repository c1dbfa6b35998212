#include "utility_manager/platform/process_reference.h"
#include "utility_manager/supervision/instance.h"
#include "utility_manager/utility_manager.h"

namespace utility_manager {
namespace {

/// Those whose process has gone. Most run, and are told so together.
ServerTable::Records dead_of(const ServerTable::Records& instances) {
  std::vector<const platform::ProcessReference*> watched;
  for (const auto& instance : instances) watched.push_back(Instance(*instance).watched());
  const auto may_have_ended = platform::may_have_ended(watched);
  ServerTable::Records dead;
  for (std::size_t i = 0; i < instances.size(); ++i) {
    if (may_have_ended[i] && Instance(*instances[i]).is_dead()) dead.push_back(instances[i]);
  }
  return dead;
}

}  // namespace

void UtilityServerManager::sweep_dead_servers() {
  _load_persisted_states();
  const auto dead = dead_of(*servers_now());
  if (dead.empty()) return;
  const LockHeld held(lock);
  for (const auto& instance : dead) forget_server(instance->server_id);
}

}  // namespace utility_manager
